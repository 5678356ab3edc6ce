#include "platform/backends/ffmpeg/ContainerConversion.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/ConvertedTrack.h"
#include "platform/backends/ffmpeg/FirstWholePicture.h"
#include "platform/backends/ffmpeg/MovieInput.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <string_view>
#include <vector>

namespace {

constexpr double kLead = 1;             // seconds before the range that are taken along, for what sounds at its start
constexpr double kBehind = 0.25;        // seconds behind the range that are taken along
constexpr double kLongestWait = 5;      // seconds that are read behind the range for tracks that have fallen silent
constexpr int kReordering = 20;         // pictures by which a decoder may be late
constexpr std::int64_t kEarliest = 10;  // seconds by which a track may be behind the others in the file

NSErrorPtr exportError(int code, const std::string& text) {
  return std::make_shared<const NSError>(AVFoundationErrorDomain, code, text);
}

NSErrorPtr writingError(int averror) {
  const std::string what = "The trimmed movie could not be written";
  const int system = AVUNERROR(averror);
  if (system > 0 && system < 4096) return NSError::posix(system, what);
  return exportError(AVErrorExportFailed, what + " (" + avErrorText(averror) + ").");
}

/// The file being written.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  ~Output() {
    if (!format) return;
    avio_closep(&format->pb);
    avformat_free_context(format);
  }
  AVFormatContext* format = nullptr;
};

bool isMedia(const AVStream* stream) {
  const AVCodecParameters* codec = stream->codecpar;
  if (codec->codec_type == AVMEDIA_TYPE_VIDEO) return !isCoverPicture(stream) && codec->width > 0;
  return codec->codec_type == AVMEDIA_TYPE_AUDIO && codec->sample_rate > 0;
}

/// “track 3 (subtitles, dvd_subtitle, deu)”
std::string describe(const AVStream* stream) {
  const AVCodecParameters* codec = stream->codecpar;
  std::string text = "track " + std::to_string(stream->id > 0 ? stream->id : stream->index + 1) + " (";
  if (isCoverPicture(stream)) {
    text += "cover picture";
  } else if (codec->codec_type == AVMEDIA_TYPE_SUBTITLE) {
    text += "subtitles";
  } else {
    const char* kind = av_get_media_type_string(codec->codec_type);
    text += kind ? kind : "unknown";
  }
  if (codec->codec_id != AV_CODEC_ID_NONE) text += std::string(", ") + avcodec_get_name(codec->codec_id);
  const AVDictionaryEntry* language = av_dict_get(stream->metadata, "language", nullptr, 0);
  if (language && *language->value) text += std::string(", ") + language->value;
  return text + ")";
}

/// What the writer says of VP8 is not true.
bool canHold(const AVOutputFormat* format, AVCodecID codec) {
  return codec != AV_CODEC_ID_VP8 && avformat_query_codec(format, codec, FF_COMPLIANCE_NORMAL) == 1;
}

/// Whether it is one of the formats that tell of pictures when they are decoded, not when they are shown (or not of
/// each one). That is the same where the pictures are stored in the order of showing.
bool lacksTimes(const AVFormatContext* source) {
  const std::string_view name = source->iformat->name;
  return name == "avi" || name == "mpeg";
}

/// MP4, or its elder relative where only that one can hold what the source has. Null when neither can: `refused` is
/// what MP4 does not take, of pictures and sound the pictures.
const AVOutputFormat* containerFor(const AVFormatContext* source, const AVStream** refused) {
  for (const char* name : {"mp4", "mov"}) {
    const AVOutputFormat* format = av_guess_format(name, nullptr, nullptr);
    const AVStream* problem = nullptr;
    for (unsigned i = 0; i < source->nb_streams; ++i) {
      const AVStream* stream = source->streams[i];
      if (isMedia(stream) && !canHold(format, stream->codecpar->codec_id)) {
        if (!problem || stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) problem = stream;
      }
    }
    if (!problem) return format;
    if (!*refused) *refused = problem;
  }
  return nullptr;
}

/// Ticks a second in which the start of every track can be told exactly.
int commonScale(const std::vector<std::unique_ptr<ConvertedTrack>>& tracks) {
  std::int64_t common = 1;
  for (const auto& track : tracks) {
    const std::int64_t next = std::lcm<std::int64_t>(common, track->scale());
    if (next < (1 << 30)) common = next;
  }
  while (common < 10'000) common *= 2;
  return int(common);
}

class Conversion {
 public:
  Conversion(ContainerConversion& job, MovieInput& input) : job_(job), input_(input) {}
  NSErrorPtr run();

 private:
  NSErrorPtr addTracks();
  void findStart();
  NSErrorPtr open();
  NSErrorPtr copy();
  bool isDone(const AVPacket& packet, const ConvertedTrack& track);
  NSErrorPtr refusal(const AVStream* stream) const;
  void addChapters();
  NSErrorPtr close();
  /// A time as the player counts it, in seconds.
  double playerTime(const AVStream* stream, std::int64_t time) const {
    return double(time) * av_q2d(stream->time_base) - playerZero_;
  }

  ContainerConversion& job_;
  MovieInput& input_;
  Output output_;
  std::vector<std::unique_ptr<ConvertedTrack>> tracks_;
  ConvertedTrack* primary_ = nullptr;
  double begin_ = 0, end_ = 0;          // of the range, in the player's times
  double playerZero_ = 0;               // the container's time that the player shows as zero
  std::optional<std::int64_t> origin_;  // the container's time, in whole seconds, that is written as zero
};

NSErrorPtr Conversion::run() {
  begin_ = CMTimeGetSeconds(job_.range.start);
  end_ = begin_ + CMTimeGetSeconds(job_.range.duration);
  if (input_.duration() > 0 && begin_ * AV_TIME_BASE >= double(input_.duration())) {
    return exportError(AVErrorInvalidTimeRange, "The selection lies behind the end of “" + job_.sourceName + "”.");
  }
  const bool timesAreLacking = lacksTimes(input_.format());
  if (timesAreLacking) input_.learnFormats();
  if (NSErrorPtr error = addTracks()) return error;
  if (!timesAreLacking) {
    input_.format()->flags |= AVFMT_FLAG_GENPTS;
  } else if (std::any_of(tracks_.begin(), tracks_.end(),
                         [](const auto& track) { return track->source()->codecpar->video_delay > 0; })) {
    return exportError(AVErrorExportFailed,
                       "“" + job_.sourceName +
                           "” doesn't tell when its pictures are shown, so it can't be trimmed exactly. Convert the "
                           "recording to H.264 first, then trim it.");
  }
  playerZero_ = double(input_.startTime(primary_->source())) * av_q2d(primary_->source()->time_base);
  findStart();
  if (NSErrorPtr error = open()) return error;
  if (NSErrorPtr error = copy()) return error;
  return close();
}

NSErrorPtr Conversion::refusal(const AVStream* stream) const {
  const bool pictures = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  return exportError(AVErrorExportFailed,
                     std::string("An MP4 file can't hold the ") + (pictures ? "pictures" : "sound") + " of “" +
                         job_.sourceName + "” (" + avcodec_get_name(stream->codecpar->codec_id) +
                         "). Convert the recording to " + (pictures ? "H.264" : "AAC") + " first, then trim it.");
}

NSErrorPtr Conversion::addTracks() {
  const AVFormatContext* source = input_.format();
  const AVStream* refused = nullptr;
  const AVOutputFormat* container = containerFor(source, &refused);
  if (!container) return refusal(refused);
  if (avformat_alloc_output_context2(&output_.format, container, nullptr, nullptr) < 0) {
    return writingError(AVERROR(ENOMEM));
  }
  av_dict_copy(&output_.format->metadata, source->metadata, 0);
  for (const char* key : {"major_brand", "minor_version", "compatible_brands", "encoder"}) {
    av_dict_set(&output_.format->metadata, key, nullptr, 0);
  }
  for (unsigned i = 0; i < source->nb_streams; ++i) {
    AVStream* stream = source->streams[i];
    const bool taken = isMedia(stream) || ConvertedTrack::isText(stream);
    stream->discard = taken ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    if (!taken) {
      job_.leftOut.push_back(describe(stream));
      continue;
    }
    auto track = ConvertedTrack::add(output_.format, stream);
    if (!track) return writingError(AVERROR(ENOMEM));
    const bool isPrimary = input_.video() ? stream == input_.video() : !primary_ && isMedia(stream);
    if (isPrimary) primary_ = track.get();
    tracks_.push_back(std::move(track));
  }
  if (!primary_) {
    return exportError(AVErrorExportFailed, "“" + job_.sourceName + "” holds neither pictures nor sound.");
  }
  return nullptr;
}

/// Moves to a key frame some time before the range.
void Conversion::findStart() {
  // Nothing was skipped yet. Looking for the first key frame would skip the sound that begins before it.
  AVStream* stream = primary_->source();
  const std::int64_t first = input_.firstTime(stream);
  const auto wanted = std::int64_t((playerZero_ + begin_ - kLead) / av_q2d(stream->time_base));
  if (wanted <= first) return;
  // Some are searched by decode times, and those of the first key frame are earlier than what it shows.
  const std::int64_t earliest = first - av_rescale_q(1, {1, 1}, stream->time_base);
  std::int64_t target = wanted;
  const Packet packet(av_packet_alloc());
  for (int attempt = 0; attempt < 16 && stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO; ++attempt) {
    input_.seek(stream, target);
    std::int64_t keyTime = AV_NOPTS_VALUE;
    FirstWholePicture firstWhole(stream);
    int behind = 0;  // decoders are late by some
    while (keyTime == AV_NOPTS_VALUE && av_read_frame(input_.format(), packet.get()) >= 0) {
      if (packet->stream_index == stream->index) {
        if (firstWhole.take(*packet)) keyTime = firstWhole.time();
        const std::int64_t time = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
        if (time != AV_NOPTS_VALUE && time > wanted) ++behind;
      }
      av_packet_unref(packet.get());
      if (behind > kReordering || job_.isCancelled()) break;
    }
    if ((keyTime != AV_NOPTS_VALUE && keyTime <= wanted) || target <= earliest) break;
    // Formats without an index lead to any place: there, look further and further back.
    const std::int64_t step = av_rescale_q(1LL << std::min(attempt, 12), {1, 1}, stream->time_base);
    target = std::max(earliest, target - step);
  }
  input_.seek(stream, target);
}

NSErrorPtr Conversion::open() {
  AVFormatContext* format = output_.format;
  const std::string url = "file:/proc/self/fd/" + std::to_string(job_.output);
  format->url = av_strdup(url.c_str());
  format->interrupt_callback = input_.format()->interrupt_callback;
  int result = avio_open2(&format->pb, url.c_str(), AVIO_FLAG_WRITE, &format->interrupt_callback, nullptr);
  if (result < 0) return writingError(result);
  format->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
  format->flags |= AVFMT_FLAG_BITEXACT;  // no mark of the library's own in the metadata
  std::string flags;
  for (const AVDictionaryEntry* tag = nullptr;
       (tag = av_dict_get(format->metadata, "", tag, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
    // Names of the "com.maker.thing" kind only fit the newer of the two kinds of metadata.
    if (std::string(tag->key).starts_with("com.")) flags = "+use_metadata_tags";
  }
  AVDictionary* options = nullptr;
  if (!flags.empty()) av_dict_set(&options, "movflags", flags.c_str(), 0);
  av_dict_set(&options, "write_tmcd", "0", 0);
  av_dict_set(&options, "strict", "experimental", 0);
  av_dict_set_int(&options, "movie_timescale", commonScale(tracks_), 0);
  result = avformat_write_header(format, &options);
  av_dict_free(&options);
  return result < 0 ? writingError(result) : nullptr;
}

/// Whether all that the range needs has been read once `packet` has.
bool Conversion::isDone(const AVPacket& packet, const ConvertedTrack& track) {
  const auto time = track.latestTime();
  if (!time || packet.size == 0) return false;
  const double now = playerTime(track.source(), *time);
  if (&track == primary_) {
    const double from = std::max(0.0, begin_ - kLead);
    job_.progress(float(std::clamp((now - from) / std::max(1e-3, end_ - from), 0.0, 1.0)));
  }
  if (now > end_ + kLongestWait) return true;
  return std::all_of(tracks_.begin(), tracks_.end(), [this](const auto& each) {
    const auto latest = each->latestTime();
    return each->isText() || (latest && playerTime(each->source(), *latest) > end_ + kBehind);
  });
}

NSErrorPtr Conversion::copy() {
  const Packet packet(av_packet_alloc());
  int result = 0;
  for (bool done = false; result >= 0 && !done;) {
    if (job_.isCancelled()) return exportError(AVErrorUnknown, "Cancelled.");
    const int read = av_read_frame(input_.format(), packet.get());
    if (read == AVERROR_EOF) break;
    if (read < 0) {
      return exportError(AVErrorExportFailed,
                         "“" + job_.sourceName + "” can't be read to the end (" + avErrorText(read) + ").");
    }
    for (const auto& track : tracks_) {
      if (track->source()->index != packet->stream_index) continue;
      const std::int64_t time = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
      if (!origin_ && time != AV_NOPTS_VALUE) {
        // A whole second, which is exact in any ticks, and early enough for all tracks and the range.
        const double earliest = double(time) * av_q2d(track->source()->time_base) - double(kEarliest);
        origin_ = std::int64_t(std::floor(std::min(earliest, begin_ + playerZero_)));
      }
      if (!origin_) break;
      result = track->take(*packet, *origin_);
      done = result >= 0 && isDone(*packet, *track);
      break;
    }
    av_packet_unref(packet.get());
  }
  for (const auto& track : tracks_) {
    if (result >= 0) result = track->finish(origin_.value_or(0));
  }
  return result < 0 ? writingError(result) : nullptr;
}

/// The source's chapters as far as they lie in the new file. The writer takes them at the end, when it is known where
/// that begins.
void Conversion::addChapters() {
  const AVFormatContext* source = input_.format();
  const auto time = [&](std::int64_t ticks, AVRational base) {
    return av_rescale_q(ticks, base, {1, 1000}) - *origin_ * 1000;
  };
  auto* const list = static_cast<AVChapter**>(av_calloc(source->nb_chapters, sizeof(AVChapter*)));
  if (!list) return;
  output_.format->chapters = list;
  for (unsigned i = 0; i < source->nb_chapters; ++i) {
    const AVChapter& chapter = *source->chapters[i];
    const std::int64_t end = time(chapter.end, chapter.time_base);
    auto* const copy = end > 0 ? static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter))) : nullptr;
    if (!copy) continue;
    copy->id = chapter.id;
    copy->time_base = {1, 1000};
    copy->start = std::max<std::int64_t>(time(chapter.start, chapter.time_base), 0);
    copy->end = end;
    av_dict_copy(&copy->metadata, chapter.metadata, 0);
    list[output_.format->nb_chapters++] = copy;
  }
}

NSErrorPtr Conversion::close() {
  const bool anything = std::any_of(tracks_.begin(), tracks_.end(),
                                    [](const auto& track) { return !track->isText() && track->hasBegun(); });
  if (!anything) {
    return exportError(AVErrorInvalidTimeRange, "“" + job_.sourceName + "” holds nothing in the selection.");
  }
  job_.start = double(*origin_) - playerZero_;
  if (input_.format()->nb_chapters > 0) addChapters();
  int result = av_write_trailer(output_.format);
  avio_flush(output_.format->pb);
  if (result >= 0) result = output_.format->pb->error;
  const int closed = avio_closep(&output_.format->pb);
  if (result >= 0) result = closed;
  return result < 0 ? writingError(result) : nullptr;
}

}  // namespace

NSErrorPtr ContainerConversion::run() {
  NSErrorPtr error;
  const std::unique_ptr<MovieInput> input = MovieInput::open(sourcePath, sourceName, &error, isCancelled);
  return input ? Conversion(*this, *input).run() : error;
}

bool isPackedAsQuickTime(const MovieInput& source) {
  const AVStream* refused = nullptr;
  const AVOutputFormat* container = containerFor(source.format(), &refused);
  return container && container->name == std::string_view("mov");
}
