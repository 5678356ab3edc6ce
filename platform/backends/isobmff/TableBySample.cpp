#include "platform/backends/isobmff/TableBySample.h"

#include "platform/backends/isobmff/ByteReader.h"

#include <algorithm>

namespace isobmff {

namespace {

/// A table that does not speak of all samples up to the last one in the cut is damaged, and would be blown up by those
/// it lacks. A last packet may stand there once more, under the next number.
void requireAll(std::uint64_t entries, const std::vector<SampleRun>& runs) {
  for (const SampleRun& run : runs) {
    if (std::uint64_t(run.index) + run.count > entries + 1) failDamaged("too short");
  }
}

/// Two bytes a sample.
void cutPriorities(ByteReader& in, const std::vector<SampleRun>& runs, ByteWriter& out) {
  const ByteSpan table = in.rest();
  requireAll(table.size() / 2, runs);
  for (const SampleRun& run : runs) {
    for (std::uint32_t i = 0; i < run.count; ++i) {
      const std::size_t at = (std::size_t(run.index) + i) * 2;
      out.u16(at + 2 <= table.size() ? loadU16(table.data() + at) : 0);
    }
  }
}

/// Four bits a sample, the first in the higher ones.
void cutPadding(ByteReader& in, const std::vector<SampleRun>& runs, ByteWriter& out) {
  const std::uint32_t count = in.u32();
  const ByteSpan table = in.take((std::uint64_t(count) + 1) / 2);
  requireAll(count, runs);
  std::uint32_t written = 0;
  std::uint8_t pair = 0;
  const std::size_t countPlace = out.size();
  out.u32(0);
  for (const SampleRun& run : runs) {
    for (std::uint32_t i = 0; i < run.count; ++i, ++written) {
      const std::size_t sample = std::size_t(run.index) + i;
      const int bits = sample >= count ? 0 : sample % 2 == 0 ? table[sample / 2] >> 4 : table[sample / 2] & 0xF;
      pair = written % 2 == 0 ? std::uint8_t(bits << 4) : std::uint8_t(pair | bits);
      if (written % 2 == 1) out.append(&pair, 1);
    }
  }
  if (written % 2 == 1) out.append(&pair, 1);
  out.setU32(countPlace, written);
}

/// Entries for some samples, each with the distance to the one before.
void cutParts(ByteReader& in, bool longSizes, const std::vector<SampleRun>& runs, ByteWriter& out) {
  const std::uint32_t count = in.u32();
  const ByteReader table = in;
  const std::size_t countPlace = out.size();
  out.u32(0);
  std::uint32_t written = 0;
  std::uint64_t before = 0;  // sample of the last entry, counted from 1, in the cut
  std::uint64_t passed = 0;  // samples of the cut in the runs that have been passed
  for (auto run = runs.begin(); run != runs.end();) {
    // As far as the numbers rise; an edit may go back.
    const auto end = std::adjacent_find(
        run, runs.end(), [](const SampleRun& a, const SampleRun& b) { return b.index < a.index + a.count; });
    const auto until = end == runs.end() ? end : std::next(end);
    in = table;
    std::uint64_t sample = 0;  // counted from 1
    for (std::uint32_t i = 0; i < count; ++i) {
      sample += in.u32();
      const std::uint16_t parts = in.u16();
      const ByteSpan bytes = in.take(std::uint64_t(parts) * (longSizes ? 10 : 8));
      while (run != until && sample > std::uint64_t(run->index) + run->count) passed += (run++)->count;
      if (run == until) break;
      if (sample <= run->index) continue;
      const std::uint64_t number = passed + (sample - run->index);
      out.u32(std::uint32_t(number - before));
      out.u16(parts);
      out.append(bytes.data(), bytes.size());
      before = number;
      ++written;
    }
    for (; run != until; ++run) passed += run->count;
  }
  out.setU32(countPlace, written);
}

}  // namespace

bool isTableBySample(FourCC type) {
  return type == fourCC("subs") || type == fourCC("stdp") || type == fourCC("padb");
}

void cutTableBySample(const Box& box, const std::vector<SampleRun>& runs, ByteWriter& out) {
  const std::size_t start = out.size();
  try {
    ByteReader in(box.payload, "a table of samples");
    const std::uint32_t header = in.u32();
    out.begin(box.type);
    out.u32(header);
    if (box.type == fourCC("stdp")) cutPriorities(in, runs, out);
    if (box.type == fourCC("padb")) cutPadding(in, runs, out);
    if (box.type == fourCC("subs")) cutParts(in, header >> 24 != 0, runs, out);
    out.end(start);
  } catch (const ReadFailure&) {
    out.shrink(start);
  }
}

}  // namespace isobmff
