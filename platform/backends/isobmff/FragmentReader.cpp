#include "platform/backends/isobmff/FragmentReader.h"

#include <algorithm>

namespace isobmff {

namespace {

enum TrackFlags : std::uint32_t {
  HasBaseOffset = 0x01,
  HasDescription = 0x02,
  HasDuration = 0x08,
  HasSize = 0x10,
  HasFlags = 0x20,
  BaseIsMoof = 0x20000,
};

enum RunFlags : std::uint32_t {
  RunHasOffset = 0x001,
  RunHasFirstFlags = 0x004,
  RunHasDurations = 0x100,
  RunHasSizes = 0x200,
  RunHasFlags = 0x400,
  RunHasCompositionOffsets = 0x800,
};

/// Players take a sample for a place to start from when neither bit says that it needs others.
bool isSync(std::uint32_t flags) {
  const bool nonSync = (flags & 0x10000) != 0, needsOthers = (flags >> 24 & 3) == 1;
  return !nonSync && !needsOthers;
}

std::uint64_t checkedSum(std::uint64_t a, std::int64_t b) {
  std::uint64_t sum;
  if (__builtin_add_overflow(a, b, &sum) || sum > std::uint64_t(1) << 62) failDamaged("offsets of a fragment");
  return sum;
}

}  // namespace

FragmentReader::FragmentReader(const FileScanner& file, std::vector<std::unique_ptr<TrackReader>>& tracks, Box& moov,
                               const std::vector<std::uint16_t>& trackBoxes, ReadLimits& limits)
    : file_(file), tracks_(tracks), moov_(moov), trackBoxes_(trackBoxes), limits_(limits) {
  for (std::size_t i = 0; i < tracks.size(); ++i) trackNumbers_.try_emplace(tracks[i]->track().identifier, i);
}

void FragmentReader::readDefaults(ByteSpan mvex) {
  BoxParser parser(mvex);
  while (const auto box = parser.next()) {
    if (box->type != fourCC("trex")) continue;
    ByteReader reader(box->payload, "trex");
    reader.skip(4);
    const std::uint32_t identifier = reader.u32();
    Defaults defaults;
    defaults.description = reader.u32();
    defaults.duration = reader.u32();
    defaults.size = reader.u32();
    defaults.flags = reader.u32();
    defaults_.try_emplace(identifier, defaults);
  }
}

void FragmentReader::read(const FileBox& moof) {
  // The recording was cut off while this one was written.
  if (moof.cutOff) return;
  if (moof.end - moof.payload > maximumSize) failDamaged("moof");
  ReadLimits::take(limits_.fragmentBytesLeft, moof.end - moof.payload, "moof");
  const Bytes bytes = file_.read(moof.payload, moof.end - moof.payload);
  moofStart_ = dataEnd_ = moof.start;
  BoxParser parser(bytes);
  while (const auto box = parser.next()) {
    if (box->type == fourCC("traf")) readTrack(box->payload);
  }
}

Box* FragmentReader::sampleTables(Box& trak) {
  Box* box = &trak;
  for (const FourCC type : {fourCC("mdia"), fourCC("minf"), fourCC("stbl")}) {
    const auto child = std::find_if(box->children.begin(), box->children.end(),
                                    [type](const Box& candidate) { return candidate.type == type; });
    if (child == box->children.end()) return nullptr;
    box = &*child;
  }
  return box;
}

FragmentReader::Header FragmentReader::readHeader(ByteSpan tfhd) {
  ByteReader reader(tfhd, "tfhd");
  const std::uint32_t flags = reader.u32();
  const std::uint32_t identifier = reader.u32();
  Header header;
  if (const auto track = trackNumbers_.find(identifier); track != trackNumbers_.end()) {
    header.track = tracks_[track->second].get();
    header.trackBox = trackBoxes_[track->second];
  }
  if (const auto defaults = defaults_.find(identifier); defaults != defaults_.end()) header.defaults = defaults->second;
  header.base = (flags & HasBaseOffset) != 0 ? reader.u64() : (flags & BaseIsMoof) != 0 ? moofStart_ : dataEnd_;
  if ((flags & HasDescription) != 0) header.defaults.description = reader.u32();
  if ((flags & HasDuration) != 0) header.defaults.duration = reader.u32();
  if ((flags & HasSize) != 0) header.defaults.size = reader.u32();
  if ((flags & HasFlags) != 0) header.defaults.flags = reader.u32();
  if (header.track) {
    const std::size_t descriptions = header.track->track().formats.size();
    if (header.defaults.description < 1 || header.defaults.description > descriptions) header.defaults.description = 1;
  }
  return header;
}

void FragmentReader::readTrack(ByteSpan traf) {
  const auto tfhd = findBox(traf, fourCC("tfhd"));
  if (!tfhd) failDamaged("traf");
  const Header header = readHeader(tfhd->payload);
  if (const auto tfdt = findBox(traf, fourCC("tfdt")); tfdt && header.track) {
    ByteReader reader(tfdt->payload, "tfdt");
    const bool longTime = reader.version() == 1;
    const std::uint64_t time = longTime ? reader.u64() : reader.u32();
    header.track->builder().continueAt(std::int64_t(std::min<std::uint64_t>(time, std::uint64_t(1) << 62)));
  }
  const std::uint64_t before = header.track ? header.track->track().sampleCount : 0;
  dataEnd_ = header.base;
  BoxParser parser(traf);
  while (const auto box = parser.next()) {
    if (box->type == fourCC("trun")) readRun(box->payload, header);
  }
  if (!header.track || header.track->track().sampleCount == before) return;
  if (Box* stbl = sampleTables(moov_.children[header.trackBox]))
    header.track->groups().addFragment(traf, before, header.track->track().sampleCount - before, *stbl);
}

void FragmentReader::readRun(ByteSpan trun, const Header& header) {
  ByteReader reader(trun, "trun");
  const std::uint32_t flags = reader.u32() & 0xFFFFFF;
  std::uint32_t count = reader.u32();
  std::uint64_t offset = dataEnd_;
  if ((flags & RunHasOffset) != 0) offset = checkedSum(header.base, reader.s32());
  std::uint32_t firstFlags = header.defaults.flags;
  const bool hasFirstFlags = (flags & RunHasFirstFlags) != 0;
  if (hasFirstFlags) firstFlags = reader.u32();

  std::size_t entrySize = 0;
  for (const std::uint32_t field : {RunHasDurations, RunHasSizes, RunHasFlags, RunHasCompositionOffsets}) {
    if ((flags & field) != 0) entrySize += 4;
  }
  const std::uint8_t* entry = reader.take(std::uint64_t(count) * entrySize).data();
  const auto field = [&entry] {
    entry += 4;
    return loadU32(entry - 4);
  };

  for (bool first = true; count > 0; first = false) {
    SampleRun run;
    run.offset = offset;
    run.count = entrySize > 0 || (first && hasFirstFlags) ? 1 : count;
    run.description = std::uint16_t(header.defaults.description);
    run.duration = (flags & RunHasDurations) != 0 ? field() : header.defaults.duration;
    run.size = (flags & RunHasSizes) != 0 ? field() : header.defaults.size;
    std::uint32_t sampleFlags = (flags & RunHasFlags) != 0 ? field() : header.defaults.flags;
    if (first && hasFirstFlags) sampleFlags = firstFlags;
    if ((flags & RunHasCompositionOffsets) != 0) run.compositionOffset = std::int32_t(field());
    run.sync = isSync(sampleFlags);
    count -= run.count;
    std::uint64_t bytes;
    if (__builtin_mul_overflow(std::uint64_t(run.count), std::uint64_t(run.size), &bytes)) failDamaged("trun");
    offset = checkedSum(offset, std::int64_t(bytes));
    if (!header.track) continue;
    const std::uint64_t before = header.track->track().sampleCount;
    header.track->builder().append(run);
    header.track->addDependencies(std::uint8_t(sampleFlags >> 20), header.track->track().sampleCount - before);
  }
  dataEnd_ = offset;
}

}  // namespace isobmff
