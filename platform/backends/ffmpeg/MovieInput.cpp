#include "platform/backends/ffmpeg/MovieInput.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/FreedMemory.h"
#include "platform/backends/ffmpeg/PictureSize.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/posix/FileDescriptor.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/log.h>
}

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <mutex>
#include <string_view>

#include <fcntl.h>

namespace {

/// Formats that hold their own media. Playlists and scripts, which could name other files or addresses, are left out.
constexpr const char* kFormats =
    "mov,matroska,webm,avi,mpegts,mpeg,flv,asf,ogg,wav,mp3,aac,flac,mxf,nut,ivf,gif,h264,hevc,mpegvideo";

NSErrorPtr notAMovie(const std::string& name, const std::string& why) {
  return std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorFileFormatNotRecognized,
                                         "“" + name + "” " + why);
}

NSErrorPtr openingError(int averror, const std::string& name) {
  switch (averror) {
    case AVERROR(ENOENT):
    case AVERROR(EACCES):
    case AVERROR(EPERM):
    case AVERROR(EISDIR):
    case AVERROR(EIO):
    case AVERROR(EMFILE):
    case AVERROR(ENOMEM):
      return NSError::posix(AVUNERROR(averror), "“" + name + "” can't be opened");
    case AVERROR_EOF:
      return notAMovie(name, "is empty.");
    case AVERROR(EINVAL):  // a format that is not among these
      return notAMovie(name, "is not a movie of a kind that can be opened.");
    case AVERROR_INVALIDDATA:
      return notAMovie(name, "is damaged, or not a movie.");
    default:
      return notAMovie(name, "can't be read as a movie (" + avErrorText(averror) + ").");
  }
}

/// Whether the headers alone have told all that is needed, as those of a finished MP4 file do.
bool knowsAll(const AVFormatContext* format) {
  if ((format->ctx_flags & AVFMTCTX_NOHEADER) != 0) return false;  // streams are still to turn up
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    const AVStream* stream = format->streams[i];
    const AVCodecParameters* codec = stream->codecpar;
    if (isCoverPicture(stream)) continue;
    if (codec->codec_type != AVMEDIA_TYPE_VIDEO && codec->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    if (stream->start_time == AV_NOPTS_VALUE || stream->duration <= 0 || codec->codec_id == AV_CODEC_ID_NONE)
      return false;
    if (codec->codec_type == AVMEDIA_TYPE_VIDEO ? codec->width <= 0 || codec->height <= 0 : codec->sample_rate <= 0)
      return false;
  }
  return true;
}

/// What a header promises of a track's pictures; nothing where it leaves their size open, or has a senseless one.
struct PromisedPictures {
  explicit PromisedPictures(const AVStream* stream) {
    const AVCodecParameters* codec = stream->codecpar;
    if (codec->codec_type != AVMEDIA_TYPE_VIDEO || codec->width <= 0 || codec->height <= 0) return;
    width = codec->width;
    height = codec->height;
    constexpr std::int64_t kBlock = 64;  // decoders round each side up to whole ones
    pixels = std::min((width + kBlock) * (height + kBlock), 2 * kMostPixels);
  }
  int width = 0, height = 0;
  std::int64_t pixels = 0;  ///< that a decoder is asked for
};

/// Looks into the first packets for what the headers leave open. Decodes some of them, if they are not too large: it
/// keeps a decoder for each track, with its pictures. One movie at a time, as hundreds of decoders take hundreds of
/// megabytes all the same.
int findFormats(AVFormatContext* format) {
  constexpr unsigned kManyTracks = 16;
  // More than a single track, for several screens in one. Where H.264 doesn't say how its pictures are ordered,
  // decoders keep up to nine bytes for each pixel until they know.
  constexpr std::int64_t kMostTogether = kMostPixels * 3 / 2;
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const std::vector<AVStream*> streams(format->streams, format->streams + format->nb_streams);
  const std::vector<PromisedPictures> promises(streams.begin(), streams.end());
  std::int64_t tracks = 0, promised = 0;
  for (const AVStream* stream : streams) tracks += stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  for (const PromisedPictures& each : promises) promised += each.pixels;
  // Each gets what its own header promises, if that isn't too much altogether; else as much as the others.
  const std::int64_t share = kMostPixels / std::max<std::int64_t>(tracks, 1);
  std::vector<AVDictionary*> options(streams.size());
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const std::int64_t own = promised > kMostTogether ? 0 : promises[i].pixels;
    av_dict_set_int(&options[i], "max_pixels", std::max(share, own), 0);
  }
  const int result = avformat_find_stream_info(format, options.data());
  for (AVDictionary*& each : options) av_dict_free(&each);
  // A decoder that got less forgets what the header says. Most kinds of tracks can be cut without it.
  for (std::size_t i = 0; i < streams.size(); ++i) {
    AVCodecParameters* codec = streams[i]->codecpar;
    if (promises[i].pixels == 0 || (codec->width > 0 && codec->height > 0)) continue;
    codec->width = promises[i].width;
    codec->height = promises[i].height;
  }
  if (format->nb_streams > kManyTracks) returnFreedMemory();
  return result;
}

/// Moving pictures larger than any that can be decoded here; null when there are none.
const AVCodecParameters* tooLarge(const AVFormatContext* format) {
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    const AVStream* stream = format->streams[i];
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO || isCoverPicture(stream)) continue;
    if (pixelsOf(stream->codecpar) > kMostPixels) return stream->codecpar;
  }
  return nullptr;
}

bool isMP4(const AVFormatContext* format) {
  return std::string_view(format->iformat->name).find("mp4") != std::string_view::npos;
}

/// Whether a track of an MP4 file has no number that can be one: fragments of such a movie take libavformat for ever.
bool lacksTrackNumber(const AVFormatContext* format) {
  if (!isMP4(format)) return false;
  return std::any_of(format->streams, format->streams + format->nb_streams,
                     [](const AVStream* stream) { return stream->id < 0; });
}

/// Whether the player counts from the container's own zero, where MP4 and Matroska have one: a recording may begin long
/// after it, and what there is before it is lead-in of sound. In other formats it counts from what comes first.
bool hasOwnZero(const AVFormatContext* format) {
  return isMP4(format) || std::string_view(format->iformat->name).find("matroska") != std::string_view::npos;
}

/// When an MP4 file that begins late ends, in microseconds; 0 when that can't be found out. Of fragments libavformat
/// counts a length from zero on or from the first one on, and does not say which.
std::int64_t endOfLateMovie(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const auto movie = file ? isobmff::readMovie(file.get(), "", nullptr) : nullptr;
  return movie ? std::int64_t(isobmff::playerDuration(*movie) * AV_TIME_BASE) : 0;
}

}  // namespace

std::unique_ptr<MovieInput> MovieInput::open(const std::string& path, const std::string& displayName, NSErrorPtr* error,
                                             std::function<bool()> isCancelled) {
  auto input = open(nullptr, "file:" + path, displayName, error, std::move(isCancelled));
  const bool isLate = input && input->startTime_ == 0 && input->firstTime_ > 0;
  if (isLate && isMP4(input->format_)) {
    if (const std::int64_t end = endOfLateMovie(path)) input->duration_ = end;
  }
  if (input && input->duration_ == 0) {
    // Another one: where this one stands nothing has been skipped yet.
    const auto reader = open(nullptr, "file:" + path, displayName, nullptr, input->isCancelled_);
    if (reader) input->duration_ = reader->findEnd();
  }
  return input;
}

std::unique_ptr<MovieInput> MovieInput::open(GrowingFile& file, const std::string& displayName, NSErrorPtr* error,
                                             std::function<bool()> isCancelled) {
  auto reader = std::make_unique<FileReader>(file, isCancelled);
  return open(std::move(reader), "", displayName, error, std::move(isCancelled));
}

std::unique_ptr<MovieInput> MovieInput::open(std::unique_ptr<FileReader> reader, const std::string& path,
                                             const std::string& displayName, NSErrorPtr* error,
                                             std::function<bool()> isCancelled) {
  limitPieces();
  // Each time: the player puts in a callback of its own, which writes to the terminal once the player has gone.
  av_log_set_callback([](void*, int, const char*, va_list) {});

  std::unique_ptr<MovieInput> input(new MovieInput);
  input->isCancelled_ = std::move(isCancelled);
  input->reader_ = std::move(reader);
  input->format_ = avformat_alloc_context();
  if (!input->format_ || (input->reader_ && !input->reader_->context())) {
    if (error) *error = openingError(AVERROR(ENOMEM), displayName);
    return nullptr;
  }
  if (input->reader_) input->format_->pb = input->reader_->context();
  if (input->isCancelled_) {
    input->format_->interrupt_callback.callback = [](void* self) {
      return int(static_cast<MovieInput*>(self)->isCancelled_());
    };
    input->format_->interrupt_callback.opaque = input.get();
  }
  AVDictionary* options = nullptr;
  av_dict_set(&options, "advanced_editlist", "1", 0);
  av_dict_set(&options, "format_whitelist", kFormats, 0);
  av_dict_set(&options, "protocol_whitelist", "file", 0);
  int result = avformat_open_input(&input->format_, path.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (result >= 0 && lacksTrackNumber(input->format_)) result = AVERROR_INVALIDDATA;
  if (result >= 0 && !knowsAll(input->format_)) {
    result = findFormats(input->format_);
    input->formatsKnown_ = true;
  }
  if (result < 0) {
    if (error) *error = openingError(result, displayName);
    return nullptr;
  }
  if (const AVCodecParameters* large = tooLarge(input->format_)) {
    const std::string size = std::to_string(large->width) + " × " + std::to_string(large->height);
    if (error) *error = notAMovie(displayName, "has pictures of " + size + " pixels, more than can be edited.");
    return nullptr;
  }

  bool anything = false;
  std::int64_t start = AV_NOPTS_VALUE, end = 0;
  for (unsigned i = 0; i < input->format_->nb_streams; ++i) {
    AVStream* stream = input->format_->streams[i];
    if (isCoverPicture(stream)) continue;
    const AVMediaType type = stream->codecpar->codec_type;
    if (type == AVMEDIA_TYPE_VIDEO && !input->video_) input->video_ = stream;
    if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) continue;
    anything = true;
    std::int64_t streamStart = 0;
    // A stream of which no sample is known is given the whole file's start time.
    const bool hasStart = !isMP4(input->format_) || avformat_index_get_entries_count(stream) > 0;
    if (hasStart && stream->start_time != AV_NOPTS_VALUE) {
      streamStart = av_rescale_q(stream->start_time, stream->time_base, av_get_time_base_q());
      if (start == AV_NOPTS_VALUE || streamStart < start) start = streamStart;
    }
    if (stream->duration > 0) {
      end = std::max(end, streamStart + av_rescale_q(stream->duration, stream->time_base, av_get_time_base_q()));
    }
  }
  if (!anything) {
    if (error) *error = notAMovie(displayName, "holds neither pictures nor sound.");
    return nullptr;
  }
  input->firstTime_ = start == AV_NOPTS_VALUE ? 0 : start;
  input->startTime_ = hasOwnZero(input->format_) ? 0 : input->firstTime_;
  input->firstTime_ = std::max(input->firstTime_, input->startTime_);
  input->duration_ = end > 0 ? end - input->startTime_ : std::max<std::int64_t>(input->format_->duration, 0);
  return input;
}

/// When the last picture or sound ends, in the player's times, in microseconds. Leaves the file at its end.
std::int64_t MovieInput::findEnd() {
  const auto isMedia = [](const AVStream* stream) {
    const AVMediaType type = stream->codecpar->codec_type;
    return type == AVMEDIA_TYPE_AUDIO || (type == AVMEDIA_TYPE_VIDEO && !isCoverPicture(stream));
  };
  AVStream* guide = video_;
  for (unsigned i = 0; i < format_->nb_streams && !guide; ++i) {
    if (isMedia(format_->streams[i])) guide = format_->streams[i];
  }
  constexpr std::int64_t kFar = 1 << 24;  // seconds
  std::int64_t end = 0;
  const Packet packet(av_packet_alloc());
  // Close to the end where the format can go there, else all of it.
  for (const std::int64_t from : {kFar, std::int64_t(0)}) {
    seek(guide, av_rescale_q(from, {1, 1}, guide->time_base));
    while (av_read_frame(format_, packet.get()) >= 0) {
      const AVStream* stream = format_->streams[packet->stream_index];
      const std::int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
      if (isMedia(stream) && time != AV_NOPTS_VALUE) {
        const std::int64_t last = time + std::max<std::int64_t>(packet->duration, 0);
        end = std::max(end, av_rescale_q(last, stream->time_base, av_get_time_base_q()) - startTime_);
      }
      av_packet_unref(packet.get());
    }
    if (end > 0) break;
  }
  return end;
}

MovieInput::~MovieInput() {
  avformat_close_input(&format_);
}

std::int64_t MovieInput::startTime(const AVStream* stream) const {
  return av_rescale_q(startTime_, av_get_time_base_q(), stream->time_base);
}

std::int64_t MovieInput::firstTime(const AVStream* stream) const {
  return av_rescale_q(firstTime_, av_get_time_base_q(), stream->time_base);
}

const std::vector<std::int64_t>& MovieInput::keyTimes() {
  if (keyTimesKnown_ || !video_) return keyTimes_;
  keyTimesKnown_ = true;
  // Some formats read their index only when it is first needed.
  if (avformat_index_get_entries_count(video_) < 2) seek(video_, 0);
  const int count = avformat_index_get_entries_count(video_);
  for (int i = 0; i < count; ++i) {
    const AVIndexEntry* entry = avformat_index_get_entry(video_, i);
    if (entry->flags & AVINDEX_KEYFRAME) keyTimes_.push_back(entry->timestamp);
  }
  std::sort(keyTimes_.begin(), keyTimes_.end());
  return keyTimes_;
}

void MovieInput::learnFormats() {
  // Never twice: the library does not stand that.
  if (!formatsKnown_) findFormats(format_);
  formatsKnown_ = true;
}

int MovieInput::seek(AVStream* stream, std::int64_t time) {
  const int result = av_seek_frame(format_, stream->index, time, AVSEEK_FLAG_BACKWARD);
  if (result >= 0) return result;
  // Nothing at or before that time: the first key frame there is.
  return avformat_seek_file(format_, stream->index, INT64_MIN, time, INT64_MAX, 0);
}

bool isCoverPicture(const AVStream* stream) {
  return (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

const std::int32_t* displayMatrix(const AVStream* stream) {
  std::size_t size = 0;
  const std::uint8_t* data = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  return data && size >= 9 * sizeof(std::int32_t) ? reinterpret_cast<const std::int32_t*>(data) : nullptr;
}

std::string avErrorText(int averror) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(averror, text, sizeof text);
  return text;
}
