#include "platform/backends/ffmpeg/Transcoder.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/CopiedTrack.h"
#include "platform/backends/ffmpeg/MovieExport.h"
#include "platform/backends/ffmpeg/PictureTrack.h"
#include "platform/backends/ffmpeg/SoundMixer.h"
#include "platform/backends/posix/HiddenFile.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace {

constexpr float kCoded = 0.95F;  // what has been done when all is coded, of 1

NSErrorPtr movieError(int code, const std::string& text) {
  return std::make_shared<const NSError>(AVFoundationErrorDomain, code, text);
}

bool isSound(const AVStream* stream) {
  return stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && stream->codecpar->sample_rate > 0;
}

bool isContainer(const AVFormatContext* format, std::string_view name) {
  return std::string_view(format->iformat->name).find(name) != std::string_view::npos;
}

/// QuickTime's own kind of file, which some MP4 players don't take.
bool isQuickTime(const AVFormatContext* format) {
  if (!isContainer(format, "mp4")) return false;
  const AVDictionaryEntry* brand = av_dict_get(format->metadata, "major_brand", nullptr, 0);
  return !brand || std::string_view(brand->value).starts_with("qt");
}

/// Whether all that is hidden of the track comes before what is shown.
bool isOnePiece(AVStream* stream) {
  bool shown = false;
  const int count = avformat_index_get_entries_count(stream);
  for (int i = 0; i < count; ++i) {
    const bool hidden = (avformat_index_get_entry(stream, i)->flags & AVINDEX_DISCARD_FRAME) != 0;
    if (hidden && shown) return false;
    shown = shown || !hidden;
  }
  return true;
}

/// Whether the file ends before what its tables tell of.
bool isCutOff(const AVFormatContext* format) {
  const std::int64_t length = avio_size(format->pb);
  if (length < 0 || !(isContainer(format, "mp4") || isContainer(format, "matroska"))) return false;
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    AVStream* stream = format->streams[i];
    if (stream->discard == AVDISCARD_ALL) continue;
    for (int entry = avformat_index_get_entries_count(stream); entry-- > 0;) {
      const AVIndexEntry* each = avformat_index_get_entry(stream, entry);
      if (each->size > length || each->pos > length - each->size) return true;
    }
  }
  return false;
}

/// One conversion; a second one begins where an encoder in hardware gave up.
class Transcoding {
 public:
  Transcoding(Transcoder& job, MovieInput& input) : job_(job), input_(input) {}

  /// What is to be done.
  NSErrorPtr plan();
  bool fitsAsItIs() const { return copiesPictures_ && copiesSound_ && !isQuickTime(input_.format()) && onlyTracks_; }
  NSErrorPtr run(int output, bool hardware);
  bool hardwareFailed() const { return hardwareFailed_; }
  bool copiesPictures() const { return copiesPictures_; }
  bool copiesSound() const { return copiesSound_; }

 private:
  NSErrorPtr open(MovieOutput& output, bool hardware);
  NSErrorPtr convert(MovieOutput& output);
  int take(AVPacket& packet);
  NSErrorPtr failure(int averror) const;
  NSErrorPtr noDecoder(const AVStream* stream) const;
  NSErrorPtr cutOff() const;
  void tell(const AVPacket& packet);

  Transcoder& job_;
  MovieInput& input_;
  std::vector<AVStream*> sounds_;
  bool copiesPictures_ = false, copiesSound_ = false, onlyTracks_ = true, hardwareFailed_ = false;
  std::unique_ptr<PictureTrack> pictures_;
  std::unique_ptr<SoundMixer> mixer_;
  std::optional<CopiedTrack> copiedPictures_, copiedSound_;
  float told_ = 0;
};

NSErrorPtr Transcoding::noDecoder(const AVStream* stream) const {
  const bool pictures = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  return movieError(AVErrorDecoderNotFound, std::string("The ") + (pictures ? "pictures" : "sound") + " of “" +
                                                job_.sourceName + "” can't be decoded here (" +
                                                (stream->codecpar->codec_id == AV_CODEC_ID_NONE
                                                     ? "of an unknown kind"
                                                     : avcodec_get_name(stream->codecpar->codec_id)) +
                                                ").");
}

NSErrorPtr Transcoding::failure(int averror) const {
  const std::string what = "The converted movie could not be written";
  const int system = AVUNERROR(averror);
  if (system > 0 && system < 4096) return NSError::posix(system, what);
  if (averror == AVERROR_ENCODER_NOT_FOUND) {
    return movieError(AVErrorExportFailed, what + ": there is no encoder for H.264 or AAC here.");
  }
  return movieError(AVErrorExportFailed, what + " (" + avErrorText(averror) + ").");
}

NSErrorPtr Transcoding::cutOff() const {
  return movieError(AVErrorExportFailed, "“" + job_.sourceName +
                                             "” is cut off: a part of it is missing. Trim it to a part that plays, "
                                             "then try again.");
}

NSErrorPtr Transcoding::plan() {
  AVFormatContext* format = input_.format();
  AVStream* video = input_.video();
  if (!video) {
    return movieError(AVErrorExportFailed,
                      "“" + job_.sourceName + "” holds only sound: there are no pictures that could be converted.");
  }
  input_.learnFormats();  // pictures whose kind can't be found out are coded anew
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    AVStream* stream = format->streams[i];
    const bool picked = job_.soundTracks.empty() || std::find(job_.soundTracks.begin(), job_.soundTracks.end(),
                                                              stream->index + 1) != job_.soundTracks.end();
    const bool sound = isSound(stream);
    if (sound && picked) sounds_.push_back(stream);
    const bool taken = stream == video || (sound && picked);
    if (!taken) stream->discard = AVDISCARD_ALL;
    const AVMediaType type = stream->codecpar->codec_type;
    if (!taken && (type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO)) onlyTracks_ = false;
  }
  if (isCutOff(format)) return cutOff();
  const bool copyable = isContainer(format, "mp4") || isContainer(format, "matroska");
  const AVCodecParameters* pictures = video->codecpar;
  copiesPictures_ = pictures->codec_id == AV_CODEC_ID_H264 &&
                    (pictures->format == AV_PIX_FMT_YUV420P || pictures->format == AV_PIX_FMT_YUVJ420P) && copyable &&
                    isOnePiece(video);
  copiesSound_ = sounds_.empty() || (sounds_.size() == 1 && sounds_[0]->codecpar->codec_id == AV_CODEC_ID_AAC &&
                                     copyable && isOnePiece(sounds_[0]));
  // Matroska's times are too coarse for sound; the passthrough lays it out anew, but it takes the movie as a whole.
  if (!fitsAsItIs() && !isContainer(format, "mp4") && !sounds_.empty()) copiesSound_ = false;
  return nullptr;
}

NSErrorPtr Transcoding::run(int descriptor, bool hardware) {
  MovieOutput output(descriptor, job_.isCancelled);
  NSErrorPtr error = open(output, hardware);
  if (!error) error = convert(output);
  hardwareFailed_ = pictures_ && pictures_->hardwareFailed();
  pictures_.reset();  // its thread writes into the output
  mixer_.reset();
  return error;
}

NSErrorPtr Transcoding::open(MovieOutput& output, bool hardware) {
  AVStream* video = input_.video();
  const std::int64_t start = input_.firstTime(video);
  output.setMetadata(input_.format()->metadata);
  // All streams first: the file begins when all of those added are ready.
  if (copiesPictures_) {
    copiedPictures_.emplace(video, start, output);
  } else {
    pictures_ = std::make_unique<PictureTrack>(video, start, output, hardware);
  }
  if (copiesSound_ && !sounds_.empty()) {
    copiedSound_.emplace(sounds_[0], input_.firstTime(sounds_[0]), output);
    if (const int result = copiedSound_->open(); result < 0) return failure(result);
  } else if (!sounds_.empty()) {
    std::vector<std::int64_t> starts;
    for (const AVStream* each : sounds_) starts.push_back(input_.firstTime(each));
    mixer_ = std::make_unique<SoundMixer>(output);
    const AVStream* unknown = nullptr;
    const int result = mixer_->open(sounds_, starts, &unknown);
    if (unknown && result != AVERROR(ENOMEM)) return noDecoder(unknown);
    if (result < 0) return failure(result);
  }
  const int result = copiedPictures_ ? copiedPictures_->open() : pictures_->open();
  if (result < 0 && result != AVERROR(ENOMEM) && pictures_) return noDecoder(video);
  return result < 0 ? failure(result) : nullptr;
}

int Transcoding::take(AVPacket& packet) {
  if (packet.stream_index == input_.video()->index) {
    return copiedPictures_ ? copiedPictures_->take(packet) : pictures_->take(&packet);
  }
  if (copiedSound_) return packet.stream_index == sounds_[0]->index ? copiedSound_->take(packet) : 0;
  return mixer_ ? mixer_->take(packet) : 0;
}

void Transcoding::tell(const AVPacket& packet) {
  const AVStream* stream = input_.format()->streams[packet.stream_index];
  const std::int64_t time = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
  if (stream != input_.video() || time == AV_NOPTS_VALUE || input_.duration() <= 0) return;
  const std::int64_t done = av_rescale_q(time - input_.startTime(stream), stream->time_base, av_get_time_base_q());
  const float value = std::clamp(float(double(done) / double(input_.duration())), told_, 1.0F);
  if (value > told_) job_.progress(value * kCoded);
  told_ = value;
}

NSErrorPtr Transcoding::convert(MovieOutput& output) {
  const Packet packet(av_packet_alloc());
  if (!packet) return failure(AVERROR(ENOMEM));
  for (;;) {
    if (job_.isCancelled()) return NSError::posix(ECANCELED, "The conversion was cancelled");
    const int read = av_read_frame(input_.format(), packet.get());
    if (read == AVERROR_EOF) break;
    if (read < 0) {
      return movieError(AVErrorExportFailed,
                        "“" + job_.sourceName + "” can't be read to the end (" + avErrorText(read) + ").");
    }
    tell(*packet);
    const int result = take(*packet);
    av_packet_unref(packet.get());
    if (result < 0) return failure(result);
  }
  if (isCutOff(input_.format())) return cutOff();  // meanwhile: what is missing looks like the movie's end
  int result = pictures_ ? pictures_->take(nullptr) : 0;
  if (result >= 0 && pictures_ && pictures_->count() == 0) {
    return movieError(AVErrorDecoderNotFound, "None of the pictures of “" + job_.sourceName + "” can be decoded (" +
                                                  avcodec_get_name(input_.video()->codecpar->codec_id) + ").");
  }
  if (result >= 0 && mixer_) result = mixer_->finish();
  if (result >= 0 && pictures_) result = pictures_->finish();
  if (result >= 0) result = output.finish();
  return result < 0 ? failure(result) : nullptr;
}

/// The whole of a movie into the output, with the index first, checked and on disk.
NSErrorPtr finishFrom(Transcoder& job, const std::string& path, double length, float from) {
  MovieExport last;
  last.sourcePath = path;
  last.sourceName = job.sourceName;
  last.outputFolder = job.outputFolder;
  last.output = job.output;
  last.range = CMTimeRangeMake(kCMTimeZero, CMTimeMakeWithSeconds(length + 60, 1000));
  last.isCancelled = job.isCancelled;
  last.progress = [&job, from](float value) { job.progress(from + value * (1 - from)); };
  const NSErrorPtr error = last.run();
  job.duration = error ? 0 : CMTimeGetSeconds(last.end) - CMTimeGetSeconds(last.start);
  if (error && error->domain() == NSPOSIXErrorDomain) {
    return NSError::posix(error->code(), "The converted movie could not be written");
  }
  return error;
}

NSErrorPtr runWhole(Transcoder& job) {
  for (const bool hardware : {true, false}) {
    NSErrorPtr error;
    const std::unique_ptr<MovieInput> input = MovieInput::open(job.sourcePath, job.sourceName, &error, job.isCancelled);
    if (!input) return error;
    Transcoding transcoding(job, *input);
    if (NSErrorPtr refused = transcoding.plan()) return refused;
    const double length = double(input->duration()) / AV_TIME_BASE;
    job.codedPictures = !transcoding.copiesPictures();
    job.codedSound = !transcoding.copiesSound();
    if (transcoding.fitsAsItIs()) return finishFrom(job, job.sourcePath, length, 0);

    const std::optional<HiddenFile> file = HiddenFile::create(job.outputFolder, 0600);
    if (!file) return NSError::posix(errno, "“" + job.sourceName + "” could not be converted in " + job.outputFolder);
    error = transcoding.run(file->descriptor(), hardware);
    if (error && transcoding.hardwareFailed() && hardware && !job.isCancelled()) continue;
    if (error) return error;
    job.progress(kCoded);
    return finishFrom(job, "/proc/self/fd/" + std::to_string(file->descriptor()), length, kCoded);
  }
  return nullptr;
}

}  // namespace

NSErrorPtr Transcoder::run() {
  try {
    return runWhole(*this);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  } catch (const std::system_error&) {  // no further thread
  }
  return NSError::posix(ENOMEM, "“" + sourceName + "” could not be converted");
}
