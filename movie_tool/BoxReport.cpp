#include "movie_tool/BoxReport.h"

#include "movie_tool/KeySpacing.h"
#include "movie_tool/StreamChannels.h"
#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/SampleDescription.h"
#include "platform/backends/isobmff/SoundDescription.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

using isobmff::Box;
using isobmff::ByteSpan;
using isobmff::descendant;
using isobmff::FourCC;
using isobmff::fourCC;
using isobmff::Movie;
using isobmff::SampleRun;
using isobmff::Track;

namespace {

std::string kindOf(FourCC handler) {
  switch (handler) {
    case fourCC("vide"):
      return "video";
    case fourCC("soun"):
      return "sound";
    case fourCC("text"):
    case fourCC("sbtl"):
    case fourCC("subt"):
      return "text";
    case fourCC("tmcd"):
      return "timecode";
    case fourCC("meta"):
      return "metadata";
    default:
      return isobmff::toString(handler);
  }
}

/// The payload of a box below `box`, when it has `size` bytes at least.
ByteSpan payload(const Box& box, std::initializer_list<FourCC> path, std::size_t size) {
  const Box* found = descendant(box, path);
  return found && found->payload.size() >= size ? ByteSpan(found->payload) : ByteSpan();
}

std::string language(const Box& trak) {
  const ByteSpan header = payload(trak, {fourCC("mdia"), fourCC("mdhd")}, 24);
  if (header.empty()) return "";
  const std::size_t at = header[0] == 1 ? 32 : 20;
  if (header.size() < at + 2) return "";
  const unsigned code = isobmff::loadU16(header.data() + at);
  // Old numbers of languages, of which these are met.
  static const char* const numbered[] = {"eng", "fra", "deu", "ita", "nld", "swe", "spa", "dan", "por", "nor"};
  if (code < 0x400) return code < std::size(numbered) ? numbered[code] : "";
  std::string letters;
  for (int shift = 10; shift >= 0; shift -= 5) {
    const char letter = char((code >> shift & 31) + 0x60);
    if (letter < 'a' || letter > 'z') return "";
    letters += letter;
  }
  return letters == "und" ? "" : letters;
}

std::string name(const Box& trak) {
  // Ends at a zero byte.
  const auto text = [](ByteSpan bytes) { return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)); };
  const ByteSpan user = payload(trak, {fourCC("udta")}, 8);
  try {
    if (const auto named = user.empty() ? std::nullopt : isobmff::findBox(user, fourCC("name")); named) {
      if (const std::string own = text(named->payload); !own.empty()) return own;
    }
  } catch (const isobmff::ReadFailure&) {
    // A track without a name, then.
  }
  const ByteSpan handler = payload(trak, {fourCC("mdia"), fourCC("hdlr")}, 25);
  if (handler.empty()) return "";
  const ByteSpan named = handler.subspan(24);
  // QuickTime's begins with its length.
  if (isobmff::loadU32(handler.data() + 4) != 0 && named[0] < named.size()) return text(named.subspan(1, named[0]));
  return text(named);
}

int rotation(const Box& trak) {
  const ByteSpan header = payload(trak, {fourCC("tkhd")}, 84);
  if (header.empty()) return 0;
  const std::size_t at = header[0] == 1 ? 52 : 40;
  if (header.size() < at + 8) return 0;
  const double a = std::int32_t(isobmff::loadU32(header.data() + at)),
               b = std::int32_t(isobmff::loadU32(header.data() + at + 4));
  return (int(std::lround(std::atan2(b, a) * 180 / M_PI)) + 360) % 360;
}

/// Size of the pictures, or channels and rate, from the first sample description.
void readFormat(const Movie& movie, std::size_t index, TrackReport& report) {
  const Track& track = movie.tracks[index];
  report.format = isobmff::toString(track.formats[0]);
  for (std::size_t i = 1; i < track.formats.size(); ++i) {
    const std::string format = isobmff::toString(track.formats[i]);
    if (report.format.find(format) == std::string::npos) report.format += "+" + format;
  }
  const Box* stsd = descendant(movie.moov.children[movie.trackBoxes[index]],
                               {fourCC("mdia"), fourCC("minf"), fourCC("stbl"), fourCC("stsd")});
  if (!stsd || stsd->payload.size() < 8) return;
  isobmff::BoxParser parser(ByteSpan(stsd->payload).subspan(8));
  const auto entry = parser.next();
  if (!entry) return;
  if (track.handler == fourCC("vide") && entry->payload.size() >= 28) {
    report.width = isobmff::loadU16(entry->payload.data() + 24);
    report.height = isobmff::loadU16(entry->payload.data() + 26);
  } else if (track.handler == fourCC("soun")) {
    if (const auto sound = isobmff::SoundDescription::read(*entry, stsd->payload[0] == 0)) {
      report.channels = int(sound->channels);
      report.sampleRate = sound->sampleRate;
    }
    const auto description = isobmff::SampleDescription::find(movie, index, 1);
    if (const int channels = description ? streamChannels(*description) : 0; channels > 0) report.channels = channels;
  }
}

/// When the last sample to be shown ends, in ticks of the track.
std::int64_t presentationEnd(const Track& track) {
  std::int64_t end = INT64_MIN;
  for (const SampleRun& run : track.runs)
    end = std::max(end, run.presentationTime() + std::int64_t(run.count) * run.duration);
  return end;
}

/// Samples a second where the edit list shows them: a cut may hide some, squeezed together. 0 when nothing is shown.
double shownRate(const Movie& movie, const Track& track) {
  double samples = 0, seconds = 0;
  for (const isobmff::EditSegment& edit : track.edits) {
    if (edit.mediaTime < 0) continue;
    const double from = double(edit.mediaTime);
    const double to = edit.duration > 0 ? from + double(edit.duration) * track.timescale / movie.timescale
                                        : std::numeric_limits<double>::infinity();
    double ticks = 0;
    for (const SampleRun& run : track.runs) {
      const double start = std::max(from, double(run.presentationTime()));
      const double end = std::min(to, double(run.presentationTime()) + double(run.count) * run.duration);
      if (run.duration == 0 || start >= end) continue;
      ticks += end - start;
      samples += (end - start) / run.duration;
    }
    seconds += ticks / track.timescale;
  }
  return seconds > 0 ? samples / seconds : 0;
}

void readSamples(const Movie& movie, const Track& track, TrackReport& report) {
  KeySpacing keys;
  for (const SampleRun& run : track.runs) {
    report.bytes += std::uint64_t(run.count) * run.size;
    keys.add(run.presentationTime(), run.duration, run.sync || run.partialSync, run.count);
  }
  const double tick = 1.0 / track.timescale;
  keys.report(tick, report);
  report.samples = track.sampleCount;
  const double mediaDuration = double(track.mediaDuration) * tick;
  constexpr std::size_t kFewEdits = 16;
  if (track.edits.empty() || track.edits.size() > kFewEdits)
    report.rate = mediaDuration > 0 ? double(track.sampleCount) / mediaDuration : 0;
  else
    report.rate = shownRate(movie, track);

  report.duration = 0;
  const double end = track.runs.empty() ? 0 : double(presentationEnd(track)) * tick;
  for (const isobmff::EditSegment& edit : track.edits) {
    EditReport segment;
    segment.duration = double(edit.duration) / movie.timescale;
    if (edit.mediaTime < 0) {
      report.duration += segment.duration;
    } else {
      segment.mediaTime = double(edit.mediaTime) * tick;
      // A recording that was cut off has less than its edit list says.
      const double rest = std::max(end - *segment.mediaTime, 0.0);
      report.duration += edit.duration > 0 ? std::min(segment.duration, rest) : rest;
    }
    report.edits.push_back(segment);
  }
  if (track.edits.empty()) report.duration = mediaDuration;
}

}  // namespace

std::unique_ptr<MovieReport> reportOfBoxes(const Movie& movie) {
  auto report = std::make_unique<MovieReport>();
  const bool quickTime = movie.fileType.size() < 4 || isobmff::loadU32(movie.fileType.data()) == fourCC("qt  ");
  report->container = quickTime ? "QuickTime" : "MP4";
  report->duration = isobmff::playerDuration(movie);
  report->fragmented = movie.fragmented;
  for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
    const Track& track = movie.tracks[i];
    const Box& trak = movie.moov.children[movie.trackBoxes[i]];
    TrackReport row;
    row.identifier = track.identifier;
    row.kind = kindOf(track.handler);
    row.language = language(trak);
    row.name = name(trak);
    if (track.handler == fourCC("vide")) row.rotation = rotation(trak);
    readFormat(movie, i, row);
    readSamples(movie, track, row);
    report->tracks.push_back(std::move(row));
  }
  return report;
}
