#include "platform/backends/ffmpeg/ExportExpectations.h"

#include <algorithm>

namespace {

using isobmff::SampleRun;

constexpr isobmff::FourCC kVideo = isobmff::fourCC("vide");

// A group of pictures larger than this is not looked at as a whole.
constexpr std::size_t kLargestGroup = 600;               // pictures
constexpr std::uint64_t kLargestGroupBytes = 12U << 20;  // a few milliseconds' reading

// What is read of the new file around a sample that is shown first or last.
constexpr std::uint64_t kReadBehindFirst = 16, kReadInFront = 32, kReadBehindLast = 96;  // samples
constexpr std::uint64_t kNearlyTogether = 64 << 10;                                      // bytes

/// The first or last run that holds the sample with the source's number `index`; `runs.end()` for none. An edit list
/// that goes back has samples twice.
std::vector<SampleRun>::const_iterator runOf(const std::vector<SampleRun>& runs, std::uint32_t index, bool last) {
  const auto holds = [index](const SampleRun& run) { return index >= run.index && index - run.index < run.count; };
  if (!last) return std::find_if(runs.begin(), runs.end(), holds);
  const auto found = std::find_if(runs.rbegin(), runs.rend(), holds);
  return found == runs.rend() ? runs.end() : std::prev(found.base());
}

ExportExpectations::Piece pieceOf(const SampleRun& run, std::uint32_t index) {
  return {run.offset + std::uint64_t(index - run.index) * run.size, run.size};
}

std::int64_t presentationTime(const SampleRun& run, std::uint32_t index) {
  return run.presentationTime() + std::int64_t(index - run.index) * run.duration;
}

/// Where a track's edits put a moment of its media, in seconds. Of several segments that show it the first or the last.
double timelineTime(const isobmff::TrackPlan& track, std::uint32_t movieTimescale, std::int64_t time, bool last) {
  std::optional<double> found;
  double position = 0;
  for (const isobmff::EditSegment& edit : track.edits) {
    const double length = double(edit.duration) / movieTimescale;
    if (edit.mediaTime >= 0) {
      const double inside = double(time - edit.mediaTime) / track.timescale;
      const bool begun = inside >= 0 || !found;  // the first segment may begin in the middle of a packet
      if (begun && inside < length && (last || !found)) found = position + inside;
    }
    position += length;
  }
  return found.value_or(track.edits.empty() ? double(time) / track.timescale : position);
}

/// Fills in the pictures from the first of `from` to the one with the number `index`, in `to`.
void addGroup(ExportExpectations::End& end, std::vector<SampleRun>::const_iterator from,
              std::vector<SampleRun>::const_iterator to, std::uint32_t index) {
  std::uint64_t bytes = 0;
  for (auto run = from; run <= to; ++run) bytes += std::uint64_t(run->size) * run->count;
  end.groupIsWhole = std::size_t(to - from) < kLargestGroup && bytes <= kLargestGroupBytes;
  if (!end.groupIsWhole) {
    end.group = {pieceOf(*from, from->index), end.sample};
    return;
  }
  for (auto run = from; run <= to; ++run) {
    const std::uint32_t count = run == to ? index - run->index + 1 : run->count;
    for (std::uint32_t i = 0; i < count; ++i) end.group.push_back(pieceOf(*run, run->index + i));
  }
}

/// The middle one of the lengths of the runs up to `last`, in ticks; of a great many the latest.
std::int64_t usualDuration(const std::vector<SampleRun>& runs, std::vector<SampleRun>::const_iterator last) {
  const auto first = last - std::min<std::ptrdiff_t>(last - runs.begin(), 32);
  std::vector<std::int64_t> durations;
  for (auto run = first; run <= last; ++run) durations.push_back(std::int64_t(run->duration));
  const auto middle = durations.begin() + std::ptrdiff_t(durations.size() / 2);
  std::nth_element(durations.begin(), middle, durations.end());
  return *middle;
}

using Ranges = std::vector<isobmff::ByteRange>;

/// Adds where the samples with the places `from` to `to` in the track lie, the second not included.
void addMedia(Ranges& media, const std::vector<SampleRun>& runs, std::uint64_t from, std::uint64_t to) {
  std::uint64_t place = 0;
  for (auto run = runs.begin(); run != runs.end() && place < to; place += run->count, ++run) {
    const std::uint64_t begin = std::max(from, place), end = std::min(to, place + run->count);
    if (begin < end) media.push_back({run->offset + (begin - place) * run->size, (end - begin) * run->size});
  }
}

/// The samples of one end that are read: those around the one shown, and from the key frame on.
void addMedia(Ranges& media, const std::vector<SampleRun>& runs, const ExportExpectations::End& end,
              std::uint64_t place, bool first) {
  const bool whole = end.groupIsWhole && !end.group.empty();
  const std::uint64_t lead = std::max<std::uint64_t>(first ? 1 : kReadInFront, whole ? end.group.size() - 1 : 0);
  addMedia(media, runs, place - std::min(place, lead), place + (first ? 1 + kReadBehindFirst : kReadBehindLast));
  if (!end.groupIsWhole) media.push_back({end.group.front().offset, end.group.front().size});
}

/// The place among a track's samples of one in `run`, with the source's number `index`.
std::uint64_t placeOf(const std::vector<SampleRun>& runs, std::vector<SampleRun>::const_iterator run,
                      std::uint32_t index) {
  std::uint64_t place = index - run->index;
  for (auto each = runs.begin(); each != run; ++each) place += each->count;
  return place;
}

/// In order, each byte once, and what is nearly together as one.
void tidy(Ranges& media) {
  std::sort(media.begin(), media.end(), [](const auto& a, const auto& b) { return a.offset < b.offset; });
  Ranges tidied;
  for (const isobmff::ByteRange& range : media) {
    if (!tidied.empty() && range.offset <= tidied.back().offset + tidied.back().length + kNearlyTogether) {
      isobmff::ByteRange& last = tidied.back();
      last.length = std::max(last.length, range.offset + range.length - last.offset);
    } else {
      tidied.push_back(range);
    }
  }
  media = std::move(tidied);
}

}  // namespace

ExportExpectations ExportExpectations::of(const isobmff::Movie& movie, const isobmff::CutPlan& plan) {
  ExportExpectations expectations;
  for (std::size_t i = 0; i < plan.tracks.size(); ++i) {
    const isobmff::TrackPlan& planned = plan.tracks[i];
    if (!planned.firstShown || !planned.lastShown) continue;
    const auto first = runOf(planned.runs, *planned.firstShown, false);
    const auto last = runOf(planned.runs, *planned.lastShown, true);
    if (first == planned.runs.end() || last == planned.runs.end()) continue;

    Track track;
    track.identifier = movie.tracks[i].identifier;
    track.handler = movie.tracks[i].handler;
    track.sampleDuration = double(last->duration) / planned.timescale;
    track.usualDuration = double(usualDuration(planned.runs, last)) / planned.timescale;
    track.hasAllBefore = planned.runs.front().index == 0;
    track.first.sample = pieceOf(*first, *planned.firstShown);
    track.last.sample = pieceOf(*last, *planned.lastShown);
    track.first.packetTime =
        timelineTime(planned, plan.timescale, presentationTime(*first, *planned.firstShown), false);
    track.last.packetTime = timelineTime(planned, plan.timescale, presentationTime(*last, *planned.lastShown), true);
    double begin = 0;
    for (const isobmff::EditSegment& edit : planned.edits) {
      if (edit.mediaTime >= 0) break;
      begin += double(edit.duration) / plan.timescale;
    }
    track.first.time = std::max(track.first.packetTime, begin);
    track.last.time = std::max(track.last.packetTime, begin);
    if (track.handler == kVideo) {
      addGroup(track.first, planned.runs.begin(), first, *planned.firstShown);
      // A picture that is shown before the key picture in front of it is decoded from the one before that.
      const std::int64_t lastTime = presentationTime(*last, *planned.lastShown);
      auto key = last;
      while (key != planned.runs.begin() && !(key->sync && key->presentationTime() <= lastTime)) --key;
      addGroup(track.last, key, last, *planned.lastShown);
    }
    addMedia(expectations.media, planned.runs, track.first, placeOf(planned.runs, first, *planned.firstShown), true);
    addMedia(expectations.media, planned.runs, track.last, placeOf(planned.runs, last, *planned.lastShown), false);
    expectations.tracks.push_back(std::move(track));
  }
  for (const isobmff::Track& track : movie.tracks) {
    if (track.handler == kVideo) expectations.sourcePictures += track.sampleCount;
  }
  tidy(expectations.media);
  expectations.sourceStart = CMTimeGetSeconds(plan.sourceStart);
  expectations.duration = double(plan.duration) / plan.timescale;
  return expectations;
}
