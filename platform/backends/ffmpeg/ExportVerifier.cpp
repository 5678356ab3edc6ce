#include "platform/backends/ffmpeg/ExportVerifier.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/PictureCheck.h"
#include "platform/backends/ffmpeg/PictureSize.h"
#include "platform/backends/ffmpeg/StreamWindow.h"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

using End = ExportExpectations::End;
using Piece = ExportExpectations::Piece;

constexpr isobmff::FourCC kVideo = isobmff::fourCC("vide"), kSound = isobmff::fourCC("soun");
constexpr double kSameTime = 0.001;  // seconds
constexpr int kOtherEntries = 64;    // of a track without pictures and sound, searched at either end
// Up to here both ends are decoded faster with one decoder, whose memory is there already, than with two at once: the
// other processor is busy copying.
constexpr double kPixelsAtOnce = 6e6;

/// “12.345 s”
std::string seconds(double time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4f s", time);
  return text;
}

/// One file being looked at. What differs first is what `problem` says; empty while nothing does.
class Check {
 public:
  Check(const ExportExpectations& expectations, GrowingFile& source, GrowingFile& output, MovieInput& input,
        const std::function<bool()>& isCancelled)
      : expectations_(expectations), source_(source), output_(output), input_(input), isCancelled_(isCancelled) {}

  std::string run();

 private:
  using Track = ExportExpectations::Track;

  bool failed() const { return !problem_.empty(); }
  void fail(const std::string& what) {
    if (problem_.empty()) problem_ = what;
  }
  AVStream* streamOf(const Track& track) const;
  void checkLength();
  void checkTrack(const Track& track, bool decode);
  void checkEnd(const Track& track, AVStream* stream, const StreamWindow& window, const End& end, bool first);
  void checkOther(const Track& track, const AVStream* stream);
  void checkPictures(StreamWindowReader& reader, AVStream* stream, const Track& track, const StreamWindow& first,
                     const StreamWindow& last);
  void checkPicture(const PictureCheck& check, AVStream* stream, const End& end, const char* which);
  bool sourceCanBeDecoded(const AVStream* stream, double time);
  bool isInSource(const std::uint8_t* data, const Piece& piece);
  double playerTime(const AVStream* stream, std::int64_t time) const {
    return double(time - input_.startTime(stream)) * av_q2d(stream->time_base);
  }
  std::string name(const Track& track) const { return "track " + std::to_string(track.identifier); }

  const ExportExpectations& expectations_;
  GrowingFile& source_;
  GrowingFile& output_;
  MovieInput& input_;
  const std::function<bool()>& isCancelled_;
  std::vector<std::uint8_t> buffer_;
  std::string problem_;
};

std::string Check::run() {
  // Packets as they stand in the file, not as a parser would divide them.
  input_.format()->flags |= AVFMT_FLAG_NOPARSE;
  checkLength();
  bool pictures = false;
  for (const Track& track : expectations_.tracks) pictures = pictures || track.handler == kVideo;
  bool decoded = false;
  for (const Track& track : expectations_.tracks) {
    if (failed() || isCancelled_()) break;
    const bool decodes = !decoded && track.handler == (pictures ? kVideo : kSound);
    checkTrack(track, decodes);
    decoded = decoded || decodes;
  }
  return problem_;
}

AVStream* Check::streamOf(const Track& track) const {
  for (unsigned i = 0; i < input_.format()->nb_streams; ++i) {
    AVStream* stream = input_.format()->streams[i];
    if (stream->id == int(track.identifier)) return stream;
  }
  return nullptr;
}

void Check::checkLength() {
  // Sound is told in whole packets, and a still last picture in whole pictures.
  double slack = kSameTime;
  for (const Track& track : expectations_.tracks) {
    if (track.handler != kVideo && track.handler != kSound) continue;
    slack = std::max(slack, std::min({track.sampleDuration, track.usualDuration, 0.1}) + 1e-4);
  }
  const double length = double(input_.duration()) / AV_TIME_BASE;
  if (std::abs(length - expectations_.duration) > slack) {
    fail("it is " + seconds(length) + " long instead of " + seconds(expectations_.duration));
  }
}

void Check::checkTrack(const Track& track, bool decode) {
  AVStream* stream = streamOf(track);
  if (!stream) return fail(name(track) + " is missing");
  if (track.handler != kVideo && track.handler != kSound) return checkOther(track, stream);
  const bool pictures = track.handler == kVideo;
  const auto lead = [pictures](const End& end) {
    return pictures ? end.groupIsWhole ? end.group.size() - 1 : 0 : std::size_t(1);
  };
  StreamWindowReader reader(input_.format(), stream);
  const StreamWindow first = reader.first(lead(track.first));
  const StreamWindow last = reader.last(lead(track.last));
  if (!first.found || !last.found) return fail(name(track) + " shows nothing");
  checkEnd(track, stream, first, track.first, true);
  checkEnd(track, stream, last, track.last, false);
  if (!decode || failed() || isCancelled_()) return;
  checkPictures(reader, stream, track, first, last);
}

void Check::checkEnd(const Track& track, AVStream* stream, const StreamWindow& window, const End& end, bool first) {
  const bool pictures = track.handler == kVideo;
  const AVPacket& packet = window.shownPacket();
  const double time = playerTime(stream, packet.pts);
  const std::string which =
      std::string(first ? "the first " : "the last ") + (pictures ? "picture" : "sound") + " of " + name(track);
  if (pictures) {
    if (std::abs(time - end.time) > kSameTime) {
      return fail(which + " is at " + seconds(time) + " instead of " + seconds(end.time));
    }
    if (std::uint32_t(packet.size) != end.sample.size || !isInSource(packet.data, end.sample)) {
      return fail(which + " is not the source's");
    }
    // Back to the key frame. A reader may begin at a later one than the plan, never earlier.
    const std::size_t count = end.groupIsWhole ? std::min(window.shown + 1, end.group.size()) : 0;
    for (std::size_t i = 1; i < count && !isCancelled_(); ++i) {
      const AVPacket& other = *window.packets[window.shown - i];
      const Piece& piece = end.group[end.group.size() - 1 - i];
      if (std::uint32_t(other.size) != piece.size || !isInSource(other.data, piece)) {
        return fail("what comes before " + which + " is not the source's");
      }
    }
    return;
  }
  // A packet may hold many samples of uncompressed sound. The first one always begins one.
  const std::int64_t before =
      track.sampleDuration > 0 ? std::llround((end.packetTime - time) / track.sampleDuration) : 0;
  const std::int64_t place = first || std::uint32_t(packet.size) == end.sample.size ? 0 : before;
  if (place == 0 && std::abs(time - end.packetTime) > kSameTime) {
    return fail(which + " is at " + seconds(time) + " instead of " + seconds(end.packetTime));
  }
  const std::int64_t at = place * std::int64_t(end.sample.size);
  if (place < 0 || at + std::int64_t(end.sample.size) > packet.size || !isInSource(packet.data + at, end.sample)) {
    fail(which + " is not the source's");
  }
}

/// Text, time codes and the like: the bytes only. Readers differ in what they make of their times.
void Check::checkOther(const Track& track, const AVStream* stream) {
  const int count = avformat_index_get_entries_count(stream);
  if (count == 0) return fail(name(track) + " is empty");
  const auto holds = [&](const Piece& piece, bool first) {
    for (int i = 0; i < std::min(count, kOtherEntries); ++i) {
      const AVIndexEntry* entry = avformat_index_get_entry(const_cast<AVStream*>(stream), first ? i : count - 1 - i);
      if (std::uint32_t(entry->size) != piece.size) continue;
      std::vector<std::uint8_t> data(piece.size);
      if (output_.readAll(std::uint64_t(entry->pos), data.data(), data.size()) && isInSource(data.data(), piece)) {
        return true;
      }
    }
    return false;
  };
  if (!holds(track.first.sample, true) || !holds(track.last.sample, false)) {
    fail("the samples of " + name(track) + " are not the source's");
  }
}

void Check::checkPictures(StreamWindowReader& reader, AVStream* stream, const Track& track, const StreamWindow& first,
                          const StreamWindow& last) {
  const auto start = [&track](const StreamWindow& window, const End& end) {
    const std::size_t lead = track.handler == kVideo ? end.group.size() - 1 : 1;
    return window.shown - std::min(window.shown, lead);
  };
  // Where too much lies between, the key frame is looked at instead.
  StreamWindow firstKey, lastKey;
  const auto entry = [](const StreamWindow& window) { return window.firstEntry + int(window.shown); };
  if (!track.first.groupIsWhole) firstKey = reader.key(entry(first));
  if (!track.last.groupIsWhole) lastKey = reader.key(entry(last));
  if ((!track.first.groupIsWhole && !firstKey.found) || (!track.last.groupIsWhole && !lastKey.found)) {
    return fail("a key frame of " + name(track) + " can't be read");
  }
  const std::size_t firstStart = start(first, track.first), lastStart = start(last, track.last);
  const bool begins = !track.hasAllBefore;  // where there is no more to give, a picture need not be whole
  PictureCheck head = firstKey.found ? PictureCheck(stream, firstKey, 0, begins)  //
                                     : PictureCheck(stream, first, firstStart, begins);
  PictureCheck tail = lastKey.found
                          ? PictureCheck(stream, lastKey, 0, false)
                          : PictureCheck(stream, last, lastStart, begins && last.firstEntry == 0 && lastStart == 0);
  if (head.pixels() + tail.pixels() > kPixelsAtOnce && pixelsOf(stream->codecpar) <= kUsualPixels) {
    std::jthread other([&tail] { tail.run(); });
    head.run();
  } else {
    head.run();
    tail.runAfter(head);
  }
  checkPicture(head, stream, track.first, "first");
  checkPicture(tail, stream, track.last, "last");
}

void Check::checkPicture(const PictureCheck& check, AVStream* stream, const End& end, const char* which) {
  if (failed() || check.succeeded() || isCancelled_()) return;
  // A recording that is damaged at this place is exported as it is.
  if (!sourceCanBeDecoded(stream, end.time)) return;
  fail(std::string("the ") + which + (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO ? " picture" : " sound") +
       " can't be decoded");
}

bool Check::sourceCanBeDecoded(const AVStream* stream, double time) {
  // Each takes up memory when the source is opened, and a file that claims millions of them can't be trusted.
  constexpr std::uint64_t kMostPictures = 10'000'000;
  if (expectations_.sourcePictures > kMostPictures) return true;
  NSErrorPtr error;
  const auto source = MovieInput::open(source_, "", &error, isCancelled_);
  if (!source) return true;
  for (unsigned i = 0; i < source->format()->nb_streams; ++i) {
    AVStream* same = source->format()->streams[i];
    if (same->id != stream->id) continue;
    return PictureCheck::canDecode(*source, same, expectations_.sourceStart + time);
  }
  return true;
}

bool Check::isInSource(const std::uint8_t* data, const Piece& piece) {
  buffer_.resize(piece.size);
  return source_.readAll(piece.offset, buffer_.data(), piece.size) &&
         std::memcmp(buffer_.data(), data, piece.size) == 0;
}

}  // namespace

NSErrorPtr ExportVerifier::run() {
  NSErrorPtr error;
  GrowingFile source(source_);
  GrowingFile& output = output_ ? *output_ : *whole_;
  const auto input = MovieInput::open(output, "the trimmed movie", &error, isCancelled_);
  const std::string problem = input ? Check(expectations_, source, output, *input, isCancelled_).run()
                                    : "it can't be opened: " + error->localizedDescription();
  if (problem.empty()) return nullptr;
  return std::make_shared<const NSError>(
      AVFoundationErrorDomain, AVErrorExportFailed,
      "The trimmed movie did not come out as it should (" + problem + "), so it was not kept.");
}
