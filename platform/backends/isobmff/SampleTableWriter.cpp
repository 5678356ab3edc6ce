#include "platform/backends/isobmff/SampleTableWriter.h"

#include "platform/backends/isobmff/TableBySample.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace isobmff {

namespace {

/// What belongs together stays in one chunk up to this size.
constexpr std::uint64_t kChunkBytes = 1 << 20;

/// Writes a table of entries behind their number, which is filled in at the end.
class CountedTable {
 public:
  explicit CountedTable(ByteWriter& out) : out_(out), at_(out.size()) { out.u32(0); }
  ~CountedTable() { out_.setU32(at_, count); }

  std::uint32_t count = 0;

 private:
  ByteWriter& out_;
  std::size_t at_;
};

}  // namespace

std::uint64_t sampleTableBytes(const Track& source, const TrackPlan& plan) {
  std::uint64_t times = 0, offsets = 0, sync = 0, partial = 0, samples = 0, chunks = 1, bytes = 0;
  bool allSync = true, alike = true;
  const SampleRun* before = nullptr;
  for (const SampleRun& run : plan.runs) {
    const std::uint64_t length = std::uint64_t(run.count) * run.size;
    times += !before || run.duration != before->duration;
    offsets += !before || run.compositionOffset != before->compositionOffset;
    sync += run.sync ? run.count : 0;
    partial += run.partialSync ? run.count : 0;
    allSync = allSync && run.sync;
    alike = alike && run.size == plan.runs.front().size && run.size > 0;
    // What lies together in the source does in the new file.
    chunks += before && (run.description != before->description ||
                         run.offset != before->offset + std::uint64_t(before->count) * before->size);
    samples += run.count;
    bytes += length;
    before = &run;
  }
  chunks += bytes / kChunkBytes;
  std::uint64_t total = 8 * (times + offsets) + 4 * partial + (12 + 8) * chunks;
  if (!allSync) total += 4 * sync;
  if (!alike) total += 4 * samples;
  if (!source.dependencies.empty()) total += samples;
  for (const SampleGroup& group : source.groups) total += 8 * (group.runs.size() + 1) + 24;
  return total + 256;
}

SampleTableWriter::SampleTableWriter(const Track& source, const TrackPlan& plan, const MediaLayout& layout, bool wide,
                                     ByteWriter& out)
    : source_(source), plan_(plan), layout_(layout), wide_(wide), out_(out) {}

SampleTableWriter::Table SampleTableWriter::tableFor(FourCC type, bool& known) {
  known = true;
  switch (type) {
    case fourCC("stts"):
      return Table::Times;
    case fourCC("ctts"):
      return Table::Offsets;
    case fourCC("cslg"):
      return Table::OffsetRange;
    case fourCC("stss"):
      return Table::Sync;
    case fourCC("stps"):
      return Table::PartialSync;
    case fourCC("stsc"):
      return Table::Chunks;
    case fourCC("stsz"):
    case fourCC("stz2"):
      return Table::Sizes;
    case fourCC("stco"):
    case fourCC("co64"):
      return Table::Places;
    case fourCC("sdtp"):
      return Table::Dependencies;
    case fourCC("sbgp"):
    case fourCC("csgp"):
      return Table::Groups;
    default:
      known = false;
      return Table::Count;
  }
}

ChunkOffsets SampleTableWriter::write(const Box& box) {
  const std::size_t start = out_.begin(box.type);
  // The tables that the source has go where they were, the others where they usually stand; descriptions are kept as
  // they are. Boxes that are not known here may speak of samples by number, and stay out.
  std::array<bool, std::size_t(Table::Count)> had{}, done{};
  for (const Box& child : box.children) {
    bool known = false;
    const Table table = tableFor(child.type, known);
    if (known) had[std::size_t(table)] = true;
  }
  // Only where the source has them: one is for old readers, the other may say what a sample group says already.
  done[std::size_t(Table::OffsetRange)] = !had[std::size_t(Table::OffsetRange)];
  done[std::size_t(Table::PartialSync)] = !had[std::size_t(Table::PartialSync)];
  const auto writeOnce = [&](std::size_t table) {
    if (!std::exchange(done[table], true)) write(Table(table));
  };
  for (const Box& child : box.children) {
    bool known = false;
    const Table table = tableFor(child.type, known);
    if (known) {
      for (std::size_t i = 0; i < std::size_t(table); ++i) {
        if (!had[i]) writeOnce(i);
      }
      writeOnce(std::size_t(table));
    } else if (child.type == fourCC("stsd") || child.type == fourCC("sgpd")) {
      out_.append(child);
    } else if (isTableBySample(child.type)) {
      cutTableBySample(child, plan_.runs, out_);
    }
  }
  for (std::size_t i = 0; i < std::size_t(Table::Count); ++i) writeOnce(i);
  out_.end(start);
  return places_;
}

void SampleTableWriter::write(Table table) {
  switch (table) {
    case Table::Times:
      return writeTimes();
    case Table::Offsets:
      return writeOffsets();
    case Table::OffsetRange:
      return writeOffsetRange();
    case Table::Sync:
      return writeSync(fourCC("stss"), &SampleRun::sync);
    case Table::PartialSync:
      return writeSync(fourCC("stps"), &SampleRun::partialSync);
    case Table::Chunks:
      return writeChunks();
    case Table::Sizes:
      return writeSizes();
    case Table::Places:
      return writePlaces();
    case Table::Dependencies:
      return writeDependencies();
    case Table::Groups:
      for (const SampleGroup& group : source_.groups) writeGroup(group);
      return;
    case Table::Count:
      return;
  }
}

void SampleTableWriter::writeTimes() {
  const std::size_t start = out_.begin(fourCC("stts"), 0);
  {
    CountedTable table(out_);
    std::uint32_t count = 0, duration = 0;
    const auto flush = [&] {
      if (count == 0) return;
      out_.u32(count);
      out_.u32(duration);
      ++table.count;
    };
    for (const SampleRun& run : plan_.runs) {
      if (count > 0 && run.duration == duration) {
        count += run.count;
        continue;
      }
      flush();
      count = run.count;
      duration = run.duration;
    }
    flush();
  }
  out_.end(start);
}

void SampleTableWriter::writeOffsets() {
  bool any = false, negative = false;
  for (const SampleRun& run : plan_.runs) {
    any = any || run.compositionOffset != 0;
    negative = negative || run.compositionOffset < 0;
  }
  if (!any) return;
  const std::size_t start = out_.begin(fourCC("ctts"), negative ? 1 : 0);
  {
    CountedTable table(out_);
    std::uint32_t count = 0;
    std::int32_t offset = 0;
    const auto flush = [&] {
      if (count == 0) return;
      out_.u32(count);
      out_.u32(std::uint32_t(offset));
      ++table.count;
    };
    for (const SampleRun& run : plan_.runs) {
      if (count > 0 && run.compositionOffset == offset) {
        count += run.count;
        continue;
      }
      flush();
      count = run.count;
      offset = run.compositionOffset;
    }
    flush();
  }
  out_.end(start);
}

void SampleTableWriter::writeOffsetRange() {
  if (plan_.runs.empty()) return;
  std::int64_t least = std::numeric_limits<std::int32_t>::max(), greatest = std::numeric_limits<std::int32_t>::min();
  std::int64_t first = std::numeric_limits<std::int64_t>::max(), end = std::numeric_limits<std::int64_t>::min();
  for (const SampleRun& run : plan_.runs) {
    least = std::min<std::int64_t>(least, run.compositionOffset);
    greatest = std::max<std::int64_t>(greatest, run.compositionOffset);
    first = std::min(first, run.presentationTime());
    end = std::max(end, run.presentationTime() + std::int64_t(run.count) * run.duration);
  }
  const std::int64_t shift = std::max<std::int64_t>(-least, 0);
  const bool wideTimes = end > std::numeric_limits<std::int32_t>::max();
  const std::size_t start = out_.begin(fourCC("cslg"), wideTimes ? 1 : 0);
  for (const std::int64_t value : {shift, least, greatest, first, end}) {
    if (wideTimes)
      out_.u64(std::uint64_t(value));
    else
      out_.u32(std::uint32_t(value));
  }
  out_.end(start);
}

/// Not written when every sample is one: that is what a missing table says (and none when no sample is, for stps).
void SampleTableWriter::writeSync(FourCC type, bool SampleRun::*flag) {
  const bool partial = type == fourCC("stps");
  const auto has = [flag](const SampleRun& run) { return run.*flag; };
  if (partial ? std::none_of(plan_.runs.begin(), plan_.runs.end(), has)
              : std::all_of(plan_.runs.begin(), plan_.runs.end(), has)) {
    return;
  }
  const std::size_t start = out_.begin(type, 0);
  {
    CountedTable table(out_);
    std::uint32_t number = 1;
    for (const SampleRun& run : plan_.runs) {
      for (std::uint32_t i = 0; i < run.count && run.*flag; ++i, ++table.count) out_.u32(number + i);
      number += run.count;
    }
  }
  out_.end(start);
}

/// Calls `visit` with the offset of each chunk in the new media, its number of samples and their description.
template <class Visit>
void SampleTableWriter::forEachChunk(Visit visit) const {
  MediaLayout::Cursor cursor(layout_);
  std::uint64_t begin = 0, end = 0;
  std::uint32_t samples = 0;
  std::uint16_t description = 0;
  for (const SampleRun& run : plan_.runs) {
    const std::uint64_t target = run.size > 0 ? cursor.target(run.offset) : end;
    std::uint32_t taken = 0;
    while (taken < run.count) {
      const std::uint64_t at = target + std::uint64_t(taken) * run.size;
      if (samples > 0 && (at != end || run.description != description || end - begin >= kChunkBytes)) {
        visit(begin, samples, description);
        samples = 0;
      }
      if (samples == 0) begin = end = at, description = run.description;
      std::uint64_t room = run.count - taken;
      if (run.size > 0) {
        room = std::min(room, std::max<std::uint64_t>((kChunkBytes - (end - begin)) / run.size, 1));
      }
      samples += std::uint32_t(room);
      taken += std::uint32_t(room);
      end = at + room * run.size;
    }
  }
  if (samples > 0) visit(begin, samples, description);
}

void SampleTableWriter::writeChunks() {
  const std::size_t start = out_.begin(fourCC("stsc"), 0);
  {
    CountedTable table(out_);
    std::uint32_t chunk = 0, lastSamples = 0;
    std::uint16_t lastDescription = 0;
    forEachChunk([&](std::uint64_t, std::uint32_t samples, std::uint16_t description) {
      ++chunk;
      if (samples == lastSamples && description == lastDescription) return;
      out_.u32(chunk);
      out_.u32(samples);
      out_.u32(description);
      ++table.count;
      lastSamples = samples;
      lastDescription = description;
    });
  }
  out_.end(start);
}

void SampleTableWriter::writeSizes() {
  const std::size_t start = out_.begin(fourCC("stsz"), 0);
  std::uint32_t count = 0;
  bool alike = true;
  for (const SampleRun& run : plan_.runs) {
    alike = alike && run.size == plan_.runs.front().size;
    count += run.count;
  }
  // A common size of 0 would announce a table.
  alike = alike && count > 0 && plan_.runs.front().size > 0;
  out_.u32(alike ? plan_.runs.front().size : 0);
  out_.u32(count);
  for (const SampleRun& run : plan_.runs) {
    for (std::uint32_t i = 0; i < run.count && !alike; ++i) out_.u32(run.size);
  }
  out_.end(start);
}

void SampleTableWriter::writePlaces() {
  const std::size_t start = out_.begin(wide_ ? fourCC("co64") : fourCC("stco"), 0);
  {
    CountedTable table(out_);
    places_.position = out_.size();
    forEachChunk([&](std::uint64_t offset, std::uint32_t, std::uint16_t) {
      if (wide_)
        out_.u64(offset);
      else
        out_.u32(std::uint32_t(offset));
      ++table.count;
    });
    places_.count = table.count;
  }
  out_.end(start);
}

void SampleTableWriter::writeDependencies() {
  if (source_.dependencies.empty()) return;
  const std::size_t start = out_.begin(fourCC("sdtp"), 0);
  for (const SampleRun& run : plan_.runs) {
    const std::size_t first = std::min<std::size_t>(run.index, source_.dependencies.size());
    const std::size_t there = std::min<std::size_t>(run.count, source_.dependencies.size() - first);
    out_.append(source_.dependencies.data() + first, there);
    for (std::size_t i = there; i < run.count; ++i) out_.append(Bytes{0});
  }
  out_.end(start);
}

void SampleTableWriter::writeGroup(const SampleGroup& group) {
  const std::size_t start = out_.begin(fourCC("sbgp"), group.parameter ? 1 : 0);
  out_.u32(group.grouping);
  if (group.parameter) out_.u32(*group.parameter);
  {
    CountedTable table(out_);
    std::uint32_t count = 0, description = 0;
    const auto add = [&](std::uint32_t samples, std::uint32_t kind) {
      if (count > 0 && kind != description) {
        out_.u32(count);
        out_.u32(description);
        ++table.count;
        count = 0;
      }
      description = kind;
      count += samples;
    };
    std::size_t at = 0;
    std::uint64_t begin = 0;    // index of the first sample of entry `at`
    std::uint32_t unnamed = 0;  // samples since the last one that the table speaks of: it may end early
    for (const SampleRun& run : plan_.runs) {
      std::uint64_t sample = run.index;
      const std::uint64_t end = sample + run.count;
      if (sample < begin) at = 0, begin = 0;  // an edit that goes back
      while (sample < end) {
        while (at < group.runs.size() && begin + group.runs[at].count <= sample) begin += group.runs[at++].count;
        if (at == group.runs.size()) {
          unnamed += std::uint32_t(end - sample);
          break;
        }
        if (unnamed > 0) add(std::exchange(unnamed, 0), 0);
        const std::uint64_t until = std::min(end, begin + group.runs[at].count);
        add(std::uint32_t(until - sample), group.runs[at].description);
        sample = until;
      }
    }
    if (count > 0) {
      out_.u32(count);
      out_.u32(description);
      ++table.count;
    }
  }
  out_.end(start);
}

}  // namespace isobmff
