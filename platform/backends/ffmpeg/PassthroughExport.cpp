#include "platform/backends/ffmpeg/PassthroughExport.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/MovieDurations.h"
#include "platform/backends/ffmpeg/MovieInput.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>
#include <vector>

namespace {

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

/// One track on its way from the source to the output. Times in ticks of the source stream, container's times.
struct Track {
  AVStream* in = nullptr;
  AVStream* out = nullptr;
  std::int64_t start = 0, end = 0;
  std::int64_t onScreenAtStart = AV_NOPTS_VALUE;  // the time of the frame that the range's start falls into
  bool begun = false, finished = false;
  std::int64_t lastDecodeTime = AV_NOPTS_VALUE;
  std::int64_t shownFrom = INT64_MAX, shownUntil = INT64_MIN;
  std::vector<Packet> undated;     // first packets whose decode times are not known yet
  std::vector<Packet> pastTheEnd;  // shown after the end, but perhaps needed for frames that are not
  Packet held;                     // the newest one: only the last one's length is written

  AVMediaType type() const { return in->codecpar->codec_type; }
};

class Copy {
 public:
  Copy(const PassthroughExport& job, MovieInput& input) : job_(job), input_(input) {}
  NSErrorPtr run();

 private:
  NSErrorPtr setUp();
  NSErrorPtr addTracks();
  void findStart();
  void take(Packet packet, Track& track);
  void takePicture(Packet packet, Track& track);
  void dated(Packet packet, Track& track);
  void emit(Packet packet, Track& track);
  void write(Packet packet, Track& track);
  void finish(Track& track);
  NSErrorPtr close();

  const PassthroughExport& job_;
  MovieInput& input_;
  Output output_;
  std::vector<Track> tracks_;
  Track* primary_ = nullptr;
  std::int64_t seekTime_ = 0;  // for the primary track
  int movieTimeScale_ = 0;
  int result_ = 0;  // the first error of reading or writing
};

bool isMedia(const AVStream* stream) {
  const AVMediaType type = stream->codecpar->codec_type;
  return (type == AVMEDIA_TYPE_VIDEO && !isCoverPicture(stream)) || type == AVMEDIA_TYPE_AUDIO;
}

bool canHold(const AVOutputFormat* format, AVCodecID codec) {
  return avformat_query_codec(format, codec, FF_COMPLIANCE_NORMAL) == 1;
}

/// MP4, or its elder relative where only that one can hold what the source has.
const AVOutputFormat* containerFor(const AVFormatContext* source, const AVStream** refused) {
  for (const char* name : {"mp4", "mov"}) {
    const AVOutputFormat* format = av_guess_format(name, nullptr, nullptr);
    const AVStream* problem = nullptr;
    for (unsigned i = 0; i < source->nb_streams; ++i) {
      if (isMedia(source->streams[i]) && !canHold(format, source->streams[i]->codecpar->codec_id)) {
        problem = source->streams[i];
      }
    }
    if (!problem) return format;
    *refused = problem;
  }
  return nullptr;
}

NSErrorPtr Copy::run() {
  if (NSErrorPtr error = setUp()) return error;
  const Packet packet(av_packet_alloc());
  while (result_ >= 0 && std::any_of(tracks_.begin(), tracks_.end(), [](const Track& track) {
           return !track.finished && track.type() != AVMEDIA_TYPE_SUBTITLE;
         })) {
    if (job_.isCancelled()) return exportError(AVErrorUnknown, "Cancelled.");
    const int read = av_read_frame(input_.format(), packet.get());
    if (read == AVERROR_EOF) break;
    if (read < 0) {
      return exportError(AVErrorExportFailed,
                         "“" + job_.sourceName + "” can't be read to the end (" + avErrorText(read) + ").");
    }
    Packet moved(av_packet_alloc());
    av_packet_move_ref(moved.get(), packet.get());
    for (Track& track : tracks_) {
      if (track.in->index == moved->stream_index && !track.finished) {
        take(std::move(moved), track);
        break;
      }
    }
  }
  for (Track& track : tracks_) finish(track);
  return close();
}

NSErrorPtr Copy::setUp() {
  const CMTime start = job_.range.start, length = job_.range.duration;
  if (!start.isValid() || !length.isValid() || start.value < 0 || length.value <= 0) {
    return exportError(AVErrorInvalidTimeRange, "There is nothing between the two ends of the selection.");
  }
  if (CMTimeCompare(start, {input_.duration(), AV_TIME_BASE}) >= 0) {
    return exportError(AVErrorInvalidTimeRange, "The selection lies behind the end of “" + job_.sourceName + "”.");
  }
  if (NSErrorPtr error = addTracks()) return error;
  findStart();

  AVFormatContext* format = output_.format;
  const std::string url = "file:/proc/self/fd/" + std::to_string(job_.output);
  format->url = av_strdup(url.c_str());
  format->interrupt_callback = input_.format()->interrupt_callback;
  int result = avio_open2(&format->pb, url.c_str(), AVIO_FLAG_WRITE, &format->interrupt_callback, nullptr);
  if (result < 0) return writingError(result);
  // Frames before the range keep negative times, which become the hidden part of the edit lists.
  format->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
  format->flags |= AVFMT_FLAG_BITEXACT;  // no mark of the library's own in the metadata
  format->max_interleave_delta = 0;
  const AVRational base = primary_->in->time_base;
  movieTimeScale_ = int(std::clamp<std::int64_t>(av_rescale(1, base.den, base.num), 1, 1'000'000));
  while (movieTimeScale_ < 10'000) movieTimeScale_ *= 2;
  std::string flags = "faststart";
  for (const AVDictionaryEntry* tag = nullptr;
       (tag = av_dict_get(format->metadata, "", tag, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
    // Names of the "com.maker.thing" kind only fit the newer of the two kinds of metadata.
    if (std::string(tag->key).starts_with("com.")) flags = "faststart+use_metadata_tags";
  }
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", flags.c_str(), 0);
  av_dict_set(&options, "write_tmcd", "0", 0);
  av_dict_set_int(&options, "movie_timescale", movieTimeScale_, 0);
  result = avformat_write_header(format, &options);
  av_dict_free(&options);
  return result < 0 ? writingError(result) : nullptr;
}

NSErrorPtr Copy::addTracks() {
  const AVFormatContext* source = input_.format();
  const AVStream* refused = nullptr;
  const AVOutputFormat* container = containerFor(source, &refused);
  if (!container) {
    return exportError(AVErrorExportFailed,
                       std::string("An MP4 file can't hold the ") +
                           (refused->codecpar->codec_type == AVMEDIA_TYPE_VIDEO ? "pictures" : "sound") + " of “" +
                           job_.sourceName + "” (" + avcodec_get_name(refused->codecpar->codec_id) + ").");
  }
  if (avformat_alloc_output_context2(&output_.format, container, nullptr, nullptr) < 0) {
    return writingError(AVERROR(ENOMEM));
  }
  av_dict_copy(&output_.format->metadata, source->metadata, 0);
  for (const char* key : {"major_brand", "minor_version", "compatible_brands"}) {
    av_dict_set(&output_.format->metadata, key, nullptr, 0);
  }
  const CMTime start = job_.range.start, length = job_.range.duration;
  for (unsigned i = 0; i < source->nb_streams; ++i) {
    AVStream* in = source->streams[i];
    const bool text = in->codecpar->codec_id == AV_CODEC_ID_MOV_TEXT;
    if (!isMedia(in) && !text) {
      in->discard = AVDISCARD_ALL;
      continue;
    }
    AVStream* out = avformat_new_stream(output_.format, nullptr);
    if (!out || avcodec_parameters_copy(out->codecpar, in->codecpar) < 0) return writingError(AVERROR(ENOMEM));
    if (!container->codec_tag ||
        av_codec_get_id(container->codec_tag, in->codecpar->codec_tag) != in->codecpar->codec_id) {
      out->codecpar->codec_tag = 0;
    }
    out->time_base = in->time_base;
    out->avg_frame_rate = in->avg_frame_rate;
    out->sample_aspect_ratio = in->sample_aspect_ratio;
    out->disposition = in->disposition;
    av_dict_copy(&out->metadata, in->metadata, 0);
    for (int n = 0; n < in->nb_side_data; ++n) {
      const AVPacketSideData& side = in->side_data[n];
      if (std::uint8_t* copy = av_stream_new_side_data(out, side.type, side.size)) {
        std::copy_n(side.data, side.size, copy);
      }
    }
    Track track;
    track.in = in;
    track.out = out;
    const std::int64_t zero = input_.startTime(in);
    const AVRational scale{1, start.timescale}, lengthScale{1, length.timescale};
    track.start = av_rescale_q(start.value, scale, in->time_base) + zero;
    track.end = std::max(track.start + 1, av_rescale_q(start.value, scale, in->time_base) +
                                              av_rescale_q(length.value, lengthScale, in->time_base) + zero);
    tracks_.push_back(std::move(track));
  }
  primary_ = &*std::find_if(tracks_.begin(), tracks_.end(), [this](const Track& track) {
    return input_.video() ? track.in == input_.video() : track.type() == AVMEDIA_TYPE_AUDIO;
  });
  return nullptr;
}

/// Finds the key frame that the range's first picture needs, and which picture that is; moves to the key frame.
void Copy::findStart() {
  Track& track = *primary_;
  seekTime_ = track.start;
  if (track.type() == AVMEDIA_TYPE_VIDEO) {
    const Packet packet(av_packet_alloc());
    for (int attempt = 0; attempt < 16; ++attempt) {
      input_.seek(track.in, seekTime_);
      std::int64_t keyTime = AV_NOPTS_VALUE, keyDecodeTime = AV_NOPTS_VALUE;
      track.onScreenAtStart = AV_NOPTS_VALUE;
      while (av_read_frame(input_.format(), packet.get()) >= 0) {
        const bool ours = packet->stream_index == track.in->index;
        const std::int64_t decode = packet->dts, shown = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        av_packet_unref(packet.get());
        if (!ours || (keyTime == AV_NOPTS_VALUE && !key)) continue;
        if (keyTime == AV_NOPTS_VALUE) keyTime = shown, keyDecodeTime = decode;
        if (shown <= track.start && shown > track.onScreenAtStart) track.onScreenAtStart = shown;
        // Nothing that is decoded later is shown earlier than this; and the key frame may turn out to be too late.
        if ((decode != AV_NOPTS_VALUE && decode > track.start) || keyTime > track.start) break;
      }
      if (keyTime == AV_NOPTS_VALUE || keyTime <= track.start) break;
      if (seekTime_ <= track.in->start_time) break;  // the pictures begin after the range does
      // Reordered frames: the index, in decode order, led to a key frame that is shown after the start. And formats
      // without an index lead to any frame: there, look further and further back.
      seekTime_ = std::min(seekTime_, keyDecodeTime == AV_NOPTS_VALUE ? keyTime : keyDecodeTime) - 1;
      if (attempt > 0) seekTime_ -= av_rescale_q(1LL << std::min(attempt, 12), {1, 1}, track.in->time_base);
    }
  }
  input_.seek(track.in, seekTime_);
}

void Copy::take(Packet packet, Track& track) {
  if (packet->pts == AV_NOPTS_VALUE) packet->pts = packet->dts;
  if (packet->pts == AV_NOPTS_VALUE) return;
  packet->flags &= ~AV_PKT_FLAG_DISCARD;
  av_packet_free_side_data(packet.get());
  switch (track.type()) {
    case AVMEDIA_TYPE_VIDEO:
      takePicture(std::move(packet), track);
      break;
    case AVMEDIA_TYPE_AUDIO: {
      // A decoder needs the packet before the first one that sounds, some codecs a little more.
      const int rate = std::max(1, track.in->codecpar->sample_rate);
      const std::int64_t preroll =
          std::max(packet->duration, av_rescale_q(track.in->codecpar->seek_preroll, {1, rate}, track.in->time_base));
      if (packet->pts >= track.end)
        track.finished = true;
      else if (packet->pts + packet->duration + preroll > track.start)
        dated(std::move(packet), track);
      break;
    }
    default: {  // text stays as long as it overlaps the range
      const std::int64_t until = packet->pts + packet->duration;
      if (packet->pts >= track.end) track.finished = true;
      if (packet->pts >= track.end || until <= track.start) break;
      packet->pts = packet->dts = std::max(packet->pts, track.start);
      packet->duration = std::min(until, track.end) - packet->pts;
      dated(std::move(packet), track);
      break;
    }
  }
}

void Copy::takePicture(Packet packet, Track& track) {
  if (!track.begun && !(packet->flags & AV_PKT_FLAG_KEY)) return;
  track.begun = true;
  if (packet->dts != AV_NOPTS_VALUE && packet->dts >= track.end) {
    finish(track);  // neither this nor anything after it is shown in the range
    return;
  }
  if (packet->pts >= track.end) {
    track.pastTheEnd.push_back(std::move(packet));
    return;
  }
  for (Packet& needed : std::exchange(track.pastTheEnd, {})) dated(std::move(needed), track);
  dated(std::move(packet), track);
}

/// Gives decode times to the first packets of files that do not store them.
void Copy::dated(Packet packet, Track& track) {
  if (packet->dts == AV_NOPTS_VALUE && track.lastDecodeTime == AV_NOPTS_VALUE && track.undated.size() < 32) {
    track.undated.push_back(std::move(packet));
    return;
  }
  if (packet->dts == AV_NOPTS_VALUE) {
    packet->dts = track.lastDecodeTime == AV_NOPTS_VALUE ? packet->pts : track.lastDecodeTime + 1;
  }
  std::vector<Packet> undated = std::exchange(track.undated, {});
  std::int64_t step = packet->duration;
  if (step <= 0 && track.in->avg_frame_rate.num > 0) {
    step = av_rescale_q(1, av_inv_q(track.in->avg_frame_rate), track.in->time_base);
  }
  std::int64_t decodeTime = packet->dts - std::int64_t(undated.size()) * std::max<std::int64_t>(step, 1);
  for (Packet& earlier : undated) {
    earlier->dts = decodeTime;
    decodeTime += std::max<std::int64_t>(step, 1);
    emit(std::move(earlier), track);
  }
  emit(std::move(packet), track);
}

void Copy::emit(Packet packet, Track& track) {
  track.lastDecodeTime = packet->dts;
  const std::int64_t until = packet->pts + packet->duration;
  if (packet->pts == track.onScreenAtStart && packet->pts < track.start) {
    // The picture that is on screen when the range starts is shown from there on; players drop what begins earlier.
    packet->pts = track.start;
  }
  if (until > track.start && packet->pts < track.end) {
    track.shownFrom = std::min(track.shownFrom, std::max(packet->pts, track.start));
    track.shownUntil = std::max(track.shownUntil, std::min(until, track.end));
  }
  if (&track == primary_) {
    job_.progress(float(std::clamp(
        double(packet->pts - seekTime_) / double(std::max<std::int64_t>(1, track.end - seekTime_)), 0.0, 1.0)));
  }
  if (track.held) write(std::move(track.held), track);
  track.held = std::move(packet);
}

void Copy::write(Packet packet, Track& track) {
  if (result_ < 0) return;
  packet->pts -= track.start;
  packet->dts -= track.start;
  av_packet_rescale_ts(packet.get(), track.in->time_base, track.out->time_base);
  packet->stream_index = track.out->index;
  packet->pos = -1;
  result_ = av_interleaved_write_frame(output_.format, packet.get());
}

/// Writes what was held back. Also called for tracks that are finished already.
void Copy::finish(Track& track) {
  track.finished = true;
  if (!track.undated.empty()) {
    Packet last = std::move(track.undated.back());
    track.undated.pop_back();
    last->dts = last->pts;
    dated(std::move(last), track);
  }
  if (!track.held) return;
  if (track.type() == AVMEDIA_TYPE_VIDEO && track.held->pts < track.end) {
    // Where the length of the last picture is not stored, it stays until the end of the range or of the movie.
    const std::int64_t movieEnd =
        input_.startTime(track.in) + av_rescale_q(input_.duration(), av_get_time_base_q(), track.in->time_base);
    if (track.held->duration <= 0 || !track.pastTheEnd.empty()) {
      track.held->duration = std::max<std::int64_t>(1, std::min(track.end, movieEnd) - track.held->pts);
    }
    track.shownUntil = std::max(track.shownUntil, std::min(track.end, track.held->pts + track.held->duration));
  }
  write(std::move(track.held), track);
}

NSErrorPtr Copy::close() {
  if (result_ >= 0 && job_.isCancelled()) result_ = AVERROR_EXIT;
  std::map<std::uint32_t, std::uint64_t> lengths;
  std::uint64_t movieLength = 0;
  for (const Track& track : tracks_) {
    if (track.shownUntil <= track.shownFrom) continue;
    const auto ticks = [&](std::int64_t time) {
      return std::uint64_t(av_rescale_q(time, track.in->time_base, {1, movieTimeScale_}));
    };
    const auto identifier = std::uint32_t(track.out->index) + 1;
    lengths[identifier] = std::max<std::uint64_t>(1, ticks(track.shownUntil - track.shownFrom));
    movieLength = std::max(movieLength, ticks(track.shownUntil - track.start));
  }
  if (result_ >= 0 && lengths.empty()) {
    return exportError(AVErrorInvalidTimeRange, "“" + job_.sourceName + "” holds nothing in the selection.");
  }
  if (result_ >= 0) result_ = av_write_trailer(output_.format);
  avio_flush(output_.format->pb);
  if (result_ >= 0) result_ = output_.format->pb->error;
  const int closed = avio_closep(&output_.format->pb);
  if (result_ >= 0) result_ = closed;
  if (result_ < 0) return writingError(result_);
  if (const int failure = setMovieDurations(job_.output, movieLength, lengths); failure != 0) {
    return writingError(AVERROR(failure));
  }
  return nullptr;
}

}  // namespace

NSErrorPtr PassthroughExport::run() const {
  NSErrorPtr error;
  const std::unique_ptr<MovieInput> input = MovieInput::open(sourcePath, sourceName, &error, isCancelled);
  return input ? Copy(*this, *input).run() : error;
}
