#include "platform/backends/ffmpeg/ExportExpectations.h"

#include <algorithm>

namespace {

using isobmff::SampleRun;

constexpr isobmff::FourCC kVideo = isobmff::fourCC("vide"), kSound = isobmff::fourCC("soun");

// A group of pictures larger than this is not looked at as a whole.
constexpr std::size_t kLargestGroup = 600;               // pictures
constexpr std::uint64_t kLargestGroupBytes = 12U << 20;  // a few milliseconds' reading

/// The run that holds the sample with the source's number `index`; `runs.end()` for none.
std::vector<SampleRun>::const_iterator runOf(const std::vector<SampleRun>& runs, std::uint32_t index) {
  const auto after = std::upper_bound(runs.begin(), runs.end(), index,
                                      [](std::uint32_t value, const SampleRun& run) { return value < run.index; });
  if (after == runs.begin()) return runs.end();
  const auto run = std::prev(after);
  return index - run->index < run->count ? run : runs.end();
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

}  // namespace

ExportExpectations ExportExpectations::of(const isobmff::Movie& movie, const isobmff::CutPlan& plan) {
  ExportExpectations expectations;
  std::optional<double> zero;
  for (std::size_t i = 0; i < plan.tracks.size(); ++i) {
    const isobmff::TrackPlan& planned = plan.tracks[i];
    if (!planned.firstShown || !planned.lastShown) continue;
    const auto first = runOf(planned.runs, *planned.firstShown), last = runOf(planned.runs, *planned.lastShown);
    if (first == planned.runs.end() || last == planned.runs.end()) continue;

    Track track;
    track.identifier = movie.tracks[i].identifier;
    track.handler = movie.tracks[i].handler;
    track.sampleDuration = double(last->duration) / planned.timescale;
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
      auto key = last;
      while (key != planned.runs.begin() && !key->sync) --key;
      addGroup(track.last, key, last, *planned.lastShown);
    }
    if (track.handler == kVideo || track.handler == kSound) {
      zero = std::min(zero.value_or(track.first.time), track.first.time);
    }
    expectations.tracks.push_back(std::move(track));
  }
  const double start = zero.value_or(0);
  for (Track& track : expectations.tracks) {
    for (End* end : {&track.first, &track.last}) {
      end->time -= start;
      end->packetTime -= start;
    }
  }
  expectations.sourceStart = CMTimeGetSeconds(plan.sourceStart) + start;
  expectations.duration = double(plan.duration) / plan.timescale - start;
  return expectations;
}
