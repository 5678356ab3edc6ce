#include "platform/backends/isobmff/TrackReader.h"

#include "platform/backends/isobmff/SampleTableReader.h"
#include "platform/backends/isobmff/SampleTables.h"
#include "platform/backends/isobmff/SoundDescription.h"

#include <algorithm>

namespace isobmff {

namespace {

/// Known packets of constant rate have 160 frames at most.
constexpr std::uint32_t kMaximumPacketFrames = 0x10000;

/// The bits of a byte of sdtp that say more than whether a sample needs others.
constexpr std::uint8_t kMoreThanSync = 0xCF;

}  // namespace

bool TrackReader::read(ByteSpan trak, bool quickTimeFile) {
  const auto trackHeader = findBox(trak, fourCC("tkhd"));
  const auto mediaHeader = findBox(trak, {fourCC("mdia"), fourCC("mdhd")});
  const auto handler = findBox(trak, {fourCC("mdia"), fourCC("hdlr")});
  const auto minf = findBox(trak, {fourCC("mdia"), fourCC("minf")});
  const auto stbl = minf ? findBox(minf->payload, fourCC("stbl")) : std::nullopt;
  if (!trackHeader || !mediaHeader || !handler || !stbl) return false;
  {
    ByteReader reader(trackHeader->payload, "tkhd");
    const bool longTimes = reader.version() == 1;
    reader.skip(longTimes ? 16 : 8);
    track_.identifier = reader.u32();
    reader.skip(longTimes ? 12 : 8);
  }
  {
    ByteReader reader(mediaHeader->payload, "mdhd");
    const bool longTimes = reader.version() == 1;
    reader.skip(longTimes ? 16 : 8);
    track_.timescale = reader.u32();
    reader.skip(longTimes ? 8 : 4);
    // More than 32 bits with a sign can't be told from damage, and no player takes it.
    if (track_.timescale == 0 || track_.timescale > 0x7FFFFFFF) return false;
  }
  {
    ByteReader reader(handler->payload, "hdlr");
    reader.skip(8);
    track_.handler = reader.u32();
  }
  readEdits(trak);

  const SampleTables tables(stbl->payload);
  if (!readDescriptions(stbl->payload, minf->payload, tables, quickTimeFile)) return false;
  groups_.addTables(stbl->payload, tables.sampleCount);
  SampleTableReader reader(tables, std::uint32_t(track_.formats.size()), {packetBytes_, packetFrames_},
                           groups_.openSync(), track_.handler == fourCC("soun"));
  if (tables.uniformSize == 0) track_.runs.reserve(std::min<std::uint64_t>(tables.sampleCount, limits_.runsLeft));
  reader.read(builder_);
  if (track_.runs.size() < track_.runs.capacity() / 2) track_.runs.shrink_to_fit();
  const std::size_t dependencies = std::min<std::uint64_t>(tables.dependencies.size(), track_.sampleCount);
  if (dependencies <= limits_.dependenciesLeft && dependencies > 0) {
    limits_.dependenciesLeft -= dependencies;
    track_.dependencies.assign(tables.dependencies.begin(), tables.dependencies.begin() + std::ptrdiff_t(dependencies));
    dependenciesMatter_ = true;
  }
  return true;
}

bool TrackReader::readDescriptions(ByteSpan stbl, ByteSpan minf, const SampleTables& tables, bool quickTimeFile) {
  const auto stsd = findBox(stbl, fourCC("stsd"));
  if (!stsd || stsd->payload.size() < 8) return false;
  quickTimeFile = quickTimeFile || stsd->payload[0] == 0;
  std::vector<BoxView> entries;
  BoxParser parser(stsd->payload.subspan(8));
  while (const auto entry = parser.next()) {
    if (entries.size() == 0xFFFF) failDamaged("stsd");
    entries.push_back(*entry);
    track_.formats.push_back(entry->type);
  }
  if (entries.empty()) return false;

  // Which data references are in use: a description that no chunk has may point anywhere.
  std::vector<bool> used(entries.size(), tables.sampleToChunk.count == 0);
  for (std::uint32_t i = 0; i < tables.sampleToChunk.count; ++i) {
    const std::uint32_t description = loadU32(tables.sampleToChunk.data + std::size_t(i) * 12 + 8);
    used[description >= 1 && description <= entries.size() ? description - 1 : 0] = true;
  }
  std::vector<bool> references(0x10000);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (used[i] && entries[i].payload.size() >= 8) references[loadU16(entries[i].payload.data() + 6)] = true;
  }
  track_.selfContained = !isExternal(minf, references);

  const bool constantRate = track_.handler == fourCC("soun") && tables.uniformSize != 0 && tables.isDurationOne();
  if (!constantRate) return true;
  const auto sound = SoundDescription::read(entries[0], quickTimeFile);
  if (sound && sound->packetBytes != 0 && sound->packetFrames != 0 && sound->packetFrames <= kMaximumPacketFrames &&
      (tables.uniformSize == 1 || sound->uncompressed)) {
    packetBytes_ = sound->packetBytes;
    packetFrames_ = sound->packetFrames;
  }
  return true;
}

bool TrackReader::isExternal(ByteSpan minf, const std::vector<bool>& usedReferences) const {
  const auto dref = findBox(minf, {fourCC("dinf"), fourCC("dref")});
  if (!dref || dref->payload.size() < 8) return false;
  BoxParser parser(dref->payload.subspan(8));
  std::size_t number = 0;
  while (const auto reference = parser.next()) {
    ++number;
    if (number >= usedReferences.size()) break;
    const bool inThisFile = reference->payload.size() < 4 || (reference->payload[3] & 1) != 0;
    if (usedReferences[number] && !inThisFile) return true;
  }
  return false;
}

void TrackReader::readEdits(ByteSpan trak) {
  const auto elst = findBox(trak, {fourCC("edts"), fourCC("elst")});
  if (!elst) return;
  ByteReader reader(elst->payload, "elst");
  const bool longTimes = reader.version() == 1;
  const std::uint32_t count = reader.u32();
  if (reader.remaining() / (longTimes ? 20 : 12) < count) failDamaged("elst");
  ReadLimits::take(limits_.editsLeft, count, "elst");
  std::uint64_t total = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    EditSegment edit;
    edit.duration = longTimes ? reader.u64() : reader.u32();
    edit.mediaTime = longTimes ? reader.s64() : reader.s32();
    reader.skip(4);  // the rate
    constexpr std::uint64_t limit = std::uint64_t(SampleRunBuilder::maximumTime);
    if (edit.duration > limit || edit.mediaTime > std::int64_t(limit) || (total += edit.duration) > limit)
      failDamaged("elst");
    edit.mediaTime = std::max<std::int64_t>(edit.mediaTime, -1);
    track_.edits.push_back(edit);
  }
}

void TrackReader::addDependencies(std::uint8_t dependencies, std::uint64_t count) {
  if (dependenciesDropped_) return;
  const std::uint64_t added = track_.sampleCount - track_.dependencies.size();
  if (added > limits_.dependenciesLeft) {
    limits_.dependenciesLeft += track_.dependencies.size();
    Bytes().swap(track_.dependencies);
    dependenciesMatter_ = false;
    dependenciesDropped_ = true;
    return;
  }
  limits_.dependenciesLeft -= added;
  if ((dependencies & kMoreThanSync) != 0) dependenciesMatter_ = true;
  track_.dependencies.resize(std::size_t(track_.sampleCount - count));  // 0 for those before that said nothing
  track_.dependencies.resize(std::size_t(track_.sampleCount), dependencies);
}

void TrackReader::shift(std::int64_t ticks) {
  for (SampleRun& run : track_.runs) run.decodeTime += ticks;
  for (EditSegment& edit : track_.edits) {
    if (edit.mediaTime >= 0) edit.mediaTime += ticks;
  }
}

Track TrackReader::take() {
  if (!track_.runs.empty()) {
    const SampleRun& last = track_.runs.back();
    track_.mediaDuration = last.decodeTime + std::int64_t(last.count) * last.duration - track_.runs.front().decodeTime;
  }
  track_.groups = groups_.take(track_.sampleCount);
  if (!dependenciesMatter_) track_.dependencies = {};
  return std::move(track_);
}

}  // namespace isobmff
