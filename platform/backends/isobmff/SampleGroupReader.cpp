#include "platform/backends/isobmff/SampleGroupReader.h"

#include "platform/backends/isobmff/BitReader.h"

#include <algorithm>
#include <map>

namespace isobmff {

namespace {

/// Descriptions of a fragment are counted from here on.
constexpr std::uint32_t kLocal = 0x10000;
constexpr std::size_t kMaximumGroups = 64, kMaximumDescriptions = 1024;

void appendU32(Bytes& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(std::uint8_t(value >> shift));
}

void storeU32(std::uint8_t* bytes, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[i] = std::uint8_t(value >> (24 - 8 * i));
}

/// Length of a description in a box of version 0, which does not say it.
std::uint32_t knownLength(FourCC grouping) {
  if (grouping == fourCC("roll") || grouping == fourCC("prol")) return 2;
  if (grouping == fourCC("rap ")) return 1;
  return 0;
}

}  // namespace

/// A box sgpd, not copied.
struct SampleGroupReader::Descriptions {
  FourCC grouping = 0;
  ByteSpan header;           // up to the number of entries
  std::uint32_t length = 0;  // of each; 0: each says its own
  std::vector<ByteSpan> entries;
};

std::optional<SampleGroupReader::Descriptions> SampleGroupReader::readDescriptions(ByteSpan sgpd) {
  ByteReader reader(sgpd, "sgpd");
  Descriptions descriptions;
  const int version = reader.version();
  descriptions.grouping = reader.u32();
  if (version > 1) return std::nullopt;
  descriptions.length = version == 1 ? reader.u32() : knownLength(descriptions.grouping);
  if (version == 0 && descriptions.length == 0) return std::nullopt;
  descriptions.header = sgpd.first(sgpd.size() - reader.remaining());
  const std::uint32_t count = reader.u32();
  for (std::uint32_t i = 0; i < count && i < kMaximumDescriptions; ++i) {
    const std::uint32_t length = descriptions.length != 0 ? descriptions.length : reader.u32();
    descriptions.entries.push_back(reader.take(length));
  }
  return descriptions;
}

SampleGroup SampleGroupReader::read(ByteSpan sbgp) {
  ByteReader reader(sbgp, "sbgp");
  SampleGroup group;
  const int version = reader.version();
  group.grouping = reader.u32();
  if (version >= 1) group.parameter = reader.u32();
  const std::uint32_t count = reader.u32();
  if (reader.remaining() / 8 < count) failDamaged("sbgp");
  limits_.takeRuns(count);
  group.runs.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    SampleGroup::Run run;
    run.count = reader.u32();
    run.description = reader.u32();
    if (run.count > 0) group.runs.push_back(run);
  }
  return group;
}

/// Patterns of descriptions, each repeated over so many samples, in numbers of 4 to 32 bits.
std::optional<SampleGroup> SampleGroupReader::readCompact(ByteSpan csgp) {
  ByteReader reader(csgp, "csgp");
  SampleGroup group;
  const std::uint32_t flags = reader.u32();
  if (flags >> 24 != 0) return std::nullopt;
  group.grouping = reader.u32();
  if ((flags & 0x40) != 0) group.parameter = reader.u32();
  const std::uint32_t patterns = reader.u32();
  BitReader bits(reader.rest());
  const int lengthBits = 4 << (flags >> 4 & 3), countBits = 4 << (flags >> 2 & 3), indexBits = 4 << (flags & 3);
  struct Pattern {
    std::uint32_t length = 0, samples = 0;
  };
  if (patterns > csgp.size()) return std::nullopt;  // each has a byte at least
  limits_.takeRuns(patterns);
  std::vector<Pattern> list(patterns);
  for (Pattern& pattern : list) pattern = {bits.bits(lengthBits), bits.bits(countBits)};
  const std::uint32_t localBit = (flags & 0x80) != 0 ? 1U << (indexBits - 1) : 0;
  std::vector<SampleGroup::Run> steps;
  for (const Pattern& pattern : list) {
    if (pattern.length == 0 || pattern.length > 2 * csgp.size()) return std::nullopt;
    steps.clear();
    for (std::uint32_t i = 0; i < pattern.length; ++i) {
      std::uint32_t description = bits.bits(indexBits);
      if ((description & localBit) != 0) description = kLocal + (description & ~localBit);
      if (!steps.empty() && steps.back().description == description) {
        ++steps.back().count;
      } else {
        limits_.takeRuns(1);
        steps.push_back({1, description});
      }
    }
    if (bits.isOver()) return std::nullopt;
    if (steps.size() == 1) steps[0].count = pattern.samples;
    std::uint32_t left = pattern.samples;
    for (std::size_t i = 0; left > 0; i = (i + 1) % steps.size()) {
      limits_.takeRuns(1);
      const std::uint32_t count = std::min(steps[i].count, left);
      group.runs.push_back({count, steps[i].description});
      left -= count;
    }
  }
  return group;
}

std::optional<SampleGroup> SampleGroupReader::readGroup(const BoxView& box) {
  if (box.type == fourCC("sbgp")) return read(box.payload);
  if (box.type == fourCC("csgp")) return readCompact(box.payload);
  return std::nullopt;
}

SampleGroupReader::Collected& SampleGroupReader::collected(const SampleGroup& like) {
  const auto found = std::find_if(groups_.begin(), groups_.end(), [&](const Collected& collected) {
    return collected.group.grouping == like.grouping && collected.group.parameter == like.parameter;
  });
  if (found != groups_.end()) return *found;
  if (groups_.size() >= kMaximumGroups) failDamaged("sbgp");
  groups_.push_back({{like.grouping, like.parameter, {}}, 0});
  return groups_.back();
}

void SampleGroupReader::Collected::append(std::uint64_t count, std::uint32_t description) {
  if (count == 0) return;
  samples += count;
  if (!group.runs.empty() && group.runs.back().description == description)
    group.runs.back().count += std::uint32_t(count);
  else
    group.runs.push_back({std::uint32_t(count), description});
}

void SampleGroupReader::addTables(ByteSpan stbl, std::uint32_t sampleCount) {
  BoxParser parser(stbl);
  while (const auto box = parser.next()) {
    const std::optional<SampleGroup> group = readGroup(*box);
    if (!group) continue;
    Collected& collected = this->collected(*group);
    if (collected.samples > 0) continue;
    for (const SampleGroup::Run& run : group->runs)
      collected.append(std::min<std::uint64_t>(run.count, sampleCount - collected.samples), run.description);
  }
}

const std::vector<SampleGroup::Run>& SampleGroupReader::openSync() const {
  static const std::vector<SampleGroup::Run> none;
  const auto found = std::find_if(groups_.begin(), groups_.end(), [](const Collected& collected) {
    return collected.group.grouping == fourCC("rap ");
  });
  return found == groups_.end() ? none : found->group.runs;
}

void SampleGroupReader::addFragment(ByteSpan traf, std::uint64_t firstSample, std::uint64_t sampleCount, Box& stbl) {
  BoxParser parser(traf);
  std::vector<Descriptions> local;
  std::vector<SampleGroup> found;
  while (const auto box = parser.next()) {
    if (auto group = readGroup(*box)) {
      found.push_back(std::move(*group));
    } else if (box->type == fourCC("sgpd")) {
      if (auto descriptions = readDescriptions(box->payload)) local.push_back(std::move(*descriptions));
    }
    if (found.size() + local.size() > kMaximumGroups) failDamaged("sbgp");
  }
  for (const SampleGroup& group : found) {
    Collected& collected = this->collected(group);
    if (collected.samples > firstSample) continue;  // another box has spoken of these samples already
    collected.append(firstSample - collected.samples, 0);
    const auto descriptions = std::find_if(local.begin(), local.end(), [&](const Descriptions& candidate) {
      return candidate.grouping == group.grouping;
    });
    std::map<std::uint32_t, std::uint32_t> moved;  // numbers of the fragment's descriptions in stbl
    std::uint64_t left = sampleCount;
    for (const SampleGroup::Run& run : group.runs) {
      std::uint32_t description = run.description;
      if (description > kLocal) {
        const std::uint32_t entry = description - kLocal - 1;
        const bool there = descriptions != local.end() && entry < descriptions->entries.size();
        description = 0;
        if (there) {
          const auto [known, isNew] = moved.try_emplace(entry, 0);
          if (isNew) known->second = addDescription(stbl, *descriptions, descriptions->entries[entry]);
          description = known->second;
        }
      }
      const std::uint64_t count = std::min<std::uint64_t>(run.count, left);
      collected.append(count, description);
      left -= count;
    }
  }
}

std::vector<SampleGroup> SampleGroupReader::take(std::uint64_t sampleCount) {
  std::vector<SampleGroup> groups;
  for (Collected& collected : groups_) {
    // A recording that was cut off has fewer samples than its tables speak of.
    std::uint64_t left = sampleCount;
    std::size_t kept = 0;
    for (SampleGroup::Run& run : collected.group.runs) {
      if (left == 0) break;
      run.count = std::uint32_t(std::min<std::uint64_t>(run.count, left));
      left -= run.count;
      ++kept;
    }
    collected.group.runs.resize(kept);
    groups.push_back(std::move(collected.group));
  }
  return groups;
}

std::uint32_t SampleGroupReader::addDescription(Box& stbl, const Descriptions& from, ByteSpan entry) {
  for (Box& box : stbl.children) {
    if (box.type != fourCC("sgpd") || box.payload.size() < 8 || loadU32(box.payload.data() + 4) != from.grouping)
      continue;
    const auto there = readDescriptions(box.payload);
    if (!there) return 0;
    ReadLimits::take(limits_.comparisonsLeft, there->entries.size() + 1, "sgpd");
    const auto same = std::find_if(there->entries.begin(), there->entries.end(), [&](ByteSpan candidate) {
      return std::equal(candidate.begin(), candidate.end(), entry.begin(), entry.end());
    });
    if (same != there->entries.end()) return std::uint32_t(same - there->entries.begin()) + 1;
    if (there->entries.size() >= kMaximumDescriptions) return 0;
    if (there->length != 0 && there->length != entry.size()) return 0;
    const std::uint32_t count = std::uint32_t(there->entries.size()) + 1;
    const std::size_t countPosition = there->header.size();
    const bool ownLength = there->length == 0;
    ReadLimits::take(limits_.keptBytesLeft, entry.size() + 4, "sgpd");
    if (ownLength) appendU32(box.payload, std::uint32_t(entry.size()));
    box.payload.insert(box.payload.end(), entry.begin(), entry.end());
    storeU32(box.payload.data() + countPosition, count);
    return count;
  }
  ReadLimits::take(limits_.keptBytesLeft, from.header.size() + entry.size() + 8, "sgpd");
  Box box{fourCC("sgpd"), Bytes(from.header.begin(), from.header.end()), {}};
  appendU32(box.payload, 1);
  if (from.length == 0) appendU32(box.payload, std::uint32_t(entry.size()));
  box.payload.insert(box.payload.end(), entry.begin(), entry.end());
  stbl.children.push_back(std::move(box));
  return 1;
}

}  // namespace isobmff
