#include "platform/backends/isobmff/IndexWriter.h"

#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/ChapterList.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace isobmff {

namespace {

constexpr std::uint64_t kMaximum32 = std::numeric_limits<std::uint32_t>::max();

/// Where a header keeps its length. The fields of mvhd, tkhd and mdhd differ in what stands before it.
struct HeaderFields {
  std::size_t between = 0;  ///< bytes from the modification date to the duration: a scale, or an identifier and a gap
  std::optional<std::uint32_t> timescale;
  std::uint64_t duration = 0;
};

/// Copies a header with a new length and scale. It stays in the narrow version 0 unless the dates of the source or the
/// new length don't fit.
void copyHeader(const Box& box, const HeaderFields& fields, ByteWriter& out) {
  const Bytes& in = box.payload;
  const bool wasWide = !in.empty() && in[0] == 1;
  const std::size_t date = wasWide ? 8 : 4;
  const std::size_t tail = 4 + 2 * date + fields.between + date;
  if (in.size() < tail) return out.append(box);  // the reader takes no such file
  const auto dateAt = [&](std::size_t at) { return wasWide ? loadU64(&in[at]) : loadU32(&in[at]); };
  const std::uint64_t created = dateAt(4), modified = dateAt(4 + date);
  // All ones in the narrow version mean that the length is not known.
  const bool wide = fields.duration >= kMaximum32 || created > kMaximum32 || modified > kMaximum32;

  const std::size_t start = out.begin(box.type, wide ? 1 : 0, loadU32(in.data()) & 0xFFFFFF);
  const auto put = [&](std::uint64_t value) {
    if (wide)
      out.u64(value);
    else
      out.u32(std::uint32_t(value));
  };
  put(created);
  put(modified);
  if (fields.timescale)
    out.u32(*fields.timescale);
  else
    out.append(&in[4 + 2 * date], fields.between);
  put(fields.duration);
  out.append(in.data() + tail, in.size() - tail);
  out.end(start);
}

/// The marks that QuickTime keeps in mvhd (preview, poster, selection, current time), in the scale and the times of the
/// new file; other files have zeros there. The new box is the last one of `bytes`, from `start` on.
void moveMarks(std::uint32_t oldScale, const CutPlan& plan, std::size_t start, Bytes& bytes) {
  constexpr std::size_t kMarks = 24, kBehind = 4;  // at the end, and an identifier behind them
  constexpr std::size_t kSize = 108, kWideSize = 120;
  if (bytes.size() != start + kSize && bytes.size() != start + kWideSize) return;
  const std::size_t at = bytes.size() - kBehind - kMarks;
  ByteWriter out(bytes);
  const auto mark = [&](std::size_t number) { return loadU32(&bytes[at + 4 * number]); };
  const auto moved = [&](std::uint64_t time) {
    const double seconds = std::clamp(double(time) / oldScale - plan.start, 0.0, plan.end - plan.start);
    return std::uint32_t(std::min<double>(std::round(seconds * plan.timescale), double(kMaximum32)));
  };
  const auto move = [&](std::size_t time, std::optional<std::size_t> length) {
    const std::uint64_t from = mark(time), to = from + (length ? mark(*length) : 0);
    if (to == 0) return;
    out.setU32(at + 4 * time, moved(from));
    if (length) out.setU32(at + 4 * *length, moved(to) - moved(from));
  };
  move(0, 1);             // preview
  move(2, std::nullopt);  // poster
  move(3, 4);             // selection
  move(5, std::nullopt);  // current time
}

}  // namespace

IndexWriter::IndexWriter(const Movie& movie, const CutPlan& plan, const MediaLayout& layout, bool wide)
    : movie_(movie), plan_(plan), layout_(layout), wide_(wide) {}

void IndexWriter::write(Bytes& bytes) {
  ByteWriter out(bytes);
  places_.clear();
  const std::size_t start = out.begin(movie_.moov.type);
  for (std::size_t i = 0; i < movie_.moov.children.size(); ++i) {
    const Box& child = movie_.moov.children[i];
    const auto track = std::find(movie_.trackBoxes.begin(), movie_.trackBoxes.end(), i);
    if (track != movie_.trackBoxes.end()) {
      const auto index = std::size_t(track - movie_.trackBoxes.begin());
      if (!isLeftOut(movie_.tracks[index])) writeTrack(child, index, out);
    } else if (child.type == fourCC("mvhd")) {
      const std::size_t header = out.size();
      copyHeader(child, {4, plan_.timescale, plan_.duration}, out);
      moveMarks(movie_.timescale, plan_, header, bytes);
    } else if (child.type == fourCC("udta")) {
      out.append(Box{child.type, cutChapters(child.payload, plan_.start, plan_.end), {}});
    } else {
      out.append(child);
    }
  }
  out.end(start);
}

void IndexWriter::writeTrack(const Box& box, std::size_t track, ByteWriter& out) {
  const std::size_t start = out.begin(box.type);
  const bool hasPlace = std::any_of(box.children.begin(), box.children.end(),
                                    [](const Box& child) { return child.type == fourCC("edts"); });
  bool edited = false;
  for (const Box& child : box.children) {
    if (!edited && (child.type == fourCC("edts") || (!hasPlace && child.type == fourCC("mdia")))) {
      writeEdits(plan_.tracks[track], out);
      edited = true;
    }
    if (child.type == fourCC("tkhd"))
      copyHeader(child, {8, std::nullopt, plan_.tracks[track].duration}, out);
    else if (child.type == fourCC("tref"))
      writeReferences(child, out);
    else if (child.type == fourCC("mdia"))
      writeChildren(child, track, out);
    else if (child.type != fourCC("edts"))
      out.append(child);
  }
  out.end(start);
}

/// mdia and minf, down to the sample table.
void IndexWriter::writeChildren(const Box& box, std::size_t track, ByteWriter& out) {
  const TrackPlan& plan = plan_.tracks[track];
  const std::size_t start = out.begin(box.type);
  for (const Box& child : box.children) {
    if (child.type == fourCC("mdhd")) {
      copyHeader(child, {4, plan.timescale, std::uint64_t(plan.mediaDuration)}, out);
    } else if (child.type == fourCC("minf")) {
      writeChildren(child, track, out);
    } else if (child.type == fourCC("stbl")) {
      places_.push_back(SampleTableWriter(movie_.tracks[track], plan, layout_, wide_, out).write(child));
    } else {
      out.append(child);
    }
  }
  out.end(start);
}

/// References to tracks that are left out go with them.
void IndexWriter::writeReferences(const Box& box, ByteWriter& out) const {
  const auto isGone = [this](std::uint32_t identifier) {
    return std::any_of(movie_.tracks.begin(), movie_.tracks.end(),
                       [identifier](const Track& track) { return track.identifier == identifier && isLeftOut(track); });
  };
  if (std::none_of(movie_.tracks.begin(), movie_.tracks.end(), isLeftOut)) return out.append(box);
  Bytes kept;
  ByteWriter list(kept);
  try {
    BoxParser kinds(box.payload);
    while (const auto kind = kinds.next()) {
      const std::size_t start = list.begin(kind->type);
      for (std::size_t at = 0; at + 4 <= kind->payload.size(); at += 4) {
        const std::uint32_t identifier = loadU32(kind->payload.data() + at);
        if (!isGone(identifier)) list.u32(identifier);
      }
      if (list.size() == start + 8)
        kept.resize(start);
      else
        list.end(start);
    }
  } catch (const ReadFailure&) {
    return;  // damaged references are worth nothing
  }
  if (kept.empty()) return;
  const std::size_t start = out.begin(box.type);
  out.append(kept);
  out.end(start);
}

void IndexWriter::writeEdits(const TrackPlan& plan, ByteWriter& out) const {
  if (plan.edits.empty()) return;
  const bool wide = std::any_of(plan.edits.begin(), plan.edits.end(), [](const EditSegment& edit) {
    return edit.duration > kMaximum32 || edit.mediaTime > std::numeric_limits<std::int32_t>::max();
  });
  const std::size_t container = out.begin(fourCC("edts"));
  const std::size_t start = out.begin(fourCC("elst"), wide ? 1 : 0);
  out.u32(std::uint32_t(plan.edits.size()));
  for (const EditSegment& edit : plan.edits) {
    if (wide) {
      out.u64(edit.duration);
      out.u64(std::uint64_t(edit.mediaTime));
    } else {
      out.u32(std::uint32_t(edit.duration));
      out.u32(std::uint32_t(edit.mediaTime));
    }
    out.u32(0x10000);  // at the usual speed
  }
  out.end(start);
  out.end(container);
}

void IndexWriter::placeMedia(Bytes& bytes, std::uint64_t offset) const {
  ByteWriter out(bytes);
  for (const ChunkOffsets& place : places_) {
    for (std::uint32_t i = 0; i < place.count; ++i) {
      const std::size_t at = place.position + std::size_t(i) * (wide_ ? 8 : 4);
      if (wide_)
        out.setU64(at, loadU64(&bytes[at]) + offset);
      else
        out.setU32(at, std::uint32_t(loadU32(&bytes[at]) + offset));
    }
  }
}

}  // namespace isobmff
