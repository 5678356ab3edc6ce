#include "platform/backends/isobmff/SampleTableReader.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace isobmff {

namespace {

constexpr std::uint32_t kEndless = std::numeric_limits<std::uint32_t>::max();

/// Where one stands in a table of pairs of count and value.
class PairCursor {
 public:
  /// Behind the table's end: `atEnd` for ever, or its last value.
  PairCursor(TableView table, bool keepLast) : table_(table), keepLast_(keepLast) { load(); }

  std::uint32_t left() const { return left_; }
  std::uint32_t value() const { return value_; }
  void advance(std::uint32_t count) {
    if (left_ == kEndless) return;
    left_ -= count;
    if (left_ == 0) load();
  }

 private:
  void load() {
    while (next_ < table_.count) {
      left_ = loadU32(table_.data + std::size_t(next_) * 8);
      value_ = loadU32(table_.data + std::size_t(next_) * 8 + 4);
      ++next_;
      if (left_ > 0) return;
    }
    left_ = kEndless;
    if (!keepLast_) value_ = 0;
  }

  TableView table_;
  bool keepLast_;
  std::uint32_t next_ = 0, left_ = 0, value_ = 0;
};

/// Where one stands in an ascending list of sample numbers.
class NumberCursor {
 public:
  NumberCursor() = default;
  explicit NumberCursor(TableView table) : data_(table.data), count_(table.count) {
    for (std::uint32_t i = 1; i < count_; ++i) {
      if (number(i) <= number(i - 1)) {
        sort();
        break;
      }
    }
    // Some writers count from 0.
    base_ = count_ > 0 && number(0) == 0 ? 0 : 1;
  }

  /// Whether `sample` (from 0) is listed, and for how many samples from it on the answer is the same at least.
  bool contains(std::uint32_t sample, std::uint32_t& alike) {
    const std::uint64_t wanted = std::uint64_t(sample) + base_;
    while (next_ < count_ && number(next_) < wanted) ++next_;
    if (next_ == count_) {
      alike = kEndless;
      return false;
    }
    if (number(next_) == wanted) {
      alike = 1;
      return true;
    }
    alike = std::uint32_t(number(next_) - wanted);
    return false;
  }

 private:
  std::uint32_t number(std::uint32_t i) const {
    return sorted_.empty() ? loadU32(data_ + std::size_t(i) * 4) : sorted_[i];
  }
  void sort() {
    std::vector<std::uint32_t> numbers(count_);
    for (std::uint32_t i = 0; i < count_; ++i) numbers[i] = number(i);
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    count_ = std::uint32_t(numbers.size());
    sorted_ = std::move(numbers);
  }

  const std::uint8_t* data_ = nullptr;
  std::uint32_t count_ = 0, next_ = 0, base_ = 1;
  std::vector<std::uint32_t> sorted_;
};

/// Where one stands in the runs of a sample group.
class GroupCursor {
 public:
  explicit GroupCursor(const std::vector<SampleGroup::Run>& runs) : runs_(runs) {
    if (!runs_.empty()) left_ = runs_[0].count;
    settle();
  }
  bool inGroup(std::uint32_t& alike) const {
    alike = next_ < runs_.size() ? left_ : kEndless;
    return next_ < runs_.size() && runs_[next_].description != 0;
  }
  void advance(std::uint32_t count) {
    if (next_ == runs_.size()) return;
    left_ -= count;
    settle();
  }

 private:
  void settle() {
    while (next_ < runs_.size() && left_ == 0) {
      if (++next_ < runs_.size()) left_ = runs_[next_].count;
    }
  }
  const std::vector<SampleGroup::Run>& runs_;
  std::size_t next_ = 0;
  std::uint32_t left_ = 0;
};

/// Where one stands in the table that says how many samples each chunk has.
class ChunkCursor {
 public:
  ChunkCursor(TableView table, std::uint32_t descriptions) : table_(table), descriptions_(descriptions) {
    if (table.count > 0 && first(0) != 1) failDamaged("stsc");
    load(0);
  }

  /// Chunks are asked for in order, from 0.
  void moveTo(std::uint32_t chunk) {
    while (entry_ + 1 < table_.count && std::uint64_t(chunk) + 1 >= first(entry_ + 1)) load(entry_ + 1);
  }
  std::uint32_t samples() const { return samples_; }
  std::uint16_t description() const { return description_; }

 private:
  std::uint32_t first(std::uint32_t entry) const { return loadU32(table_.data + std::size_t(entry) * 12); }
  void load(std::uint32_t entry) {
    entry_ = entry;
    if (entry >= table_.count) return;
    const std::uint8_t* data = table_.data + std::size_t(entry) * 12;
    if (entry > 0 && loadU32(data) <= first(entry - 1)) failDamaged("stsc");
    samples_ = loadU32(data + 4);
    // Players take a description that is not there for the first one.
    const std::uint32_t description = loadU32(data + 8);
    description_ = std::uint16_t(description >= 1 && description <= descriptions_ ? description : 1);
  }

  TableView table_;
  std::uint32_t descriptions_;
  std::uint32_t entry_ = 0, samples_ = 0;
  std::uint16_t description_ = 1;
};

}  // namespace

void SampleTableReader::read(SampleRunBuilder& builder) {
  if (tables_.sampleCount == 0 || tables_.chunkOffsets.count == 0) return;
  if (tables_.timeToSample.count == 0) failDamaged("stts");
  if (tables_.sampleToChunk.count == 0) failDamaged("stsc");

  const std::uint32_t unit = std::max(packets_.frames, 1U);
  const std::uint32_t sampleCount = tables_.sampleCount / unit;
  PairCursor durations(tables_.timeToSample, true), offsets(tables_.compositionOffset, false);
  ChunkCursor chunks(tables_.sampleToChunk, descriptions_);
  // An empty list: decoding starts at the beginning; sound starts anywhere.
  const bool listed = unit == 1 && tables_.syncSamples && (tables_.syncSamples->count > 0 || !isSound_);
  NumberCursor syncSamples, partialSyncSamples(tables_.partialSyncSamples);
  if (listed) syncSamples = NumberCursor(*tables_.syncSamples);
  GroupCursor openSync(openSync_);

  std::uint32_t sample = 0;
  for (std::uint32_t chunk = 0; chunk < tables_.chunkOffsets.count && sample < sampleCount; ++chunk) {
    chunks.moveTo(chunk);
    std::uint32_t left = std::min(chunks.samples() / unit, sampleCount - sample);
    SampleRun run;
    run.offset = tables_.chunkOffset(chunk);
    run.description = chunks.description();
    while (left > 0) {
      std::uint32_t alike = kEndless;
      run.count = left;
      if (unit == 1) {
        run.count = std::min({run.count, durations.left(), offsets.left()});
        run.duration = SampleTables::duration(durations.value());
        run.compositionOffset = std::int32_t(offsets.value());
      } else {
        run.duration = unit;
      }
      if (packets_.bytes != 0) {
        run.size = packets_.bytes;
      } else {
        run.size = tables_.size(sample);
        if (tables_.uniformSize == 0) run.count = 1;
      }
      run.sync = true;
      run.partialSync = false;
      if (listed) {
        run.sync = tables_.syncSamples->count == 0 ? sample == 0 : syncSamples.contains(sample, alike);
        run.count = std::min(run.count, tables_.syncSamples->count == 0 && sample == 0 ? 1U : alike);
        if (!run.sync && tables_.partialSyncSamples.count > 0) {
          run.partialSync = partialSyncSamples.contains(sample, alike);
          run.count = std::min(run.count, alike);
        }
        if (!openSync_.empty()) {
          const bool inGroup = openSync.inGroup(alike);
          run.partialSync = run.partialSync || (inGroup && !run.sync);
          run.count = std::min(run.count, alike);
        }
      }
      builder.append(run);
      if (builder.isCutOff()) return;
      // Of single frames that make packets, each lasts a tick.
      if (unit == 1) durations.advance(run.count);
      offsets.advance(run.count);
      openSync.advance(run.count);
      run.offset += std::uint64_t(run.count) * run.size;
      sample += run.count;
      left -= run.count;
    }
  }
}

}  // namespace isobmff
