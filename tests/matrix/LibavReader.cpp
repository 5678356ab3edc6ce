#include "tests/matrix/LibavReader.h"

#include "platform/backends/ffmpeg/MovieInput.h"
#include "tests/data/FrameCode.h"

extern "C" {
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

namespace {

using namespace matrix;

struct Format {
  AVFormatContext* context = nullptr;
  Format() = default;
  Format(const Format&) = delete;
  ~Format() { avformat_close_input(&context); }
};

class PictureReader {
 public:
  PictureReader() = default;
  PictureReader(const PictureReader&) = delete;
  ~PictureReader() { sws_freeContext(scaler_); }

  int read(const AVFrame& frame, int clockwiseQuarters) {
    const int stride = frame.width * 4;
    scaler_ = sws_getCachedContext(scaler_, frame.width, frame.height, AVPixelFormat(frame.format), frame.width,
                                   frame.height, AV_PIX_FMT_BGRA, SWS_POINT, nullptr, nullptr, nullptr);
    pixels_.resize(std::size_t(stride) * std::size_t(frame.height) + 64);  // the scaler may write a little over the end
    std::uint8_t* planes[4] = {pixels_.data()};
    const int strides[4] = {stride};
    sws_scale(scaler_, frame.data, frame.linesize, 0, frame.height, planes, strides);
    return frame_code::read(pixels_.data(), frame.width, frame.height, std::size_t(stride), clockwiseQuarters)
        .value_or(-1);
  }

 private:
  SwsContext* scaler_ = nullptr;
  std::vector<std::uint8_t> pixels_;
};

float sampleAt(const AVFrame& frame, int index) {
  const bool planar = av_sample_fmt_is_planar(AVSampleFormat(frame.format));
  const std::uint8_t* data = frame.extended_data[0];
  const int at = planar ? index : index * frame.ch_layout.nb_channels;
  switch (av_get_packed_sample_fmt(AVSampleFormat(frame.format))) {
    case AV_SAMPLE_FMT_FLT:
      return reinterpret_cast<const float*>(data)[at];
    case AV_SAMPLE_FMT_S16:
      return float(reinterpret_cast<const std::int16_t*>(data)[at]) / 32768;
    case AV_SAMPLE_FMT_S32:
      return float(reinterpret_cast<const std::int32_t*>(data)[at]) / 2147483648.0F;
    default:
      return 0;
  }
}

void append(Sound& sound, const AVFrame& frame, double time) {
  if (sound.samples.empty()) {
    sound.rate = frame.sample_rate;
    sound.start = time;
  }
  // Coarse times (milliseconds in Matroska) wobble about the true ones; only a real hole is filled.
  const double hole = time - sound.end();
  if (hole > 0.005) sound.samples.resize(sound.samples.size() + std::size_t(std::lround(hole * sound.rate)));
  for (int i = 0; i < frame.nb_samples; ++i) sound.samples.push_back(sampleAt(frame, i));
}

/// One track's way from packets to what was seen or heard.
struct Track {
  Codec codec;
  std::size_t sound = 0;
  bool video = false;
  int coded = 0;  ///< quarters that the coded picture is turned against the one shown
};

}  // namespace

matrix::Reading matrix::readWithLibav(const std::string& path, EditLists editLists, Tracks kind) {
  av_log_set_level(AV_LOG_QUIET);
  Reading reading;
  Format format;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "advanced_editlist", editLists == EditLists::Honoured ? "1" : "0", 0);
  av_dict_set(&options, "ignore_editlist", editLists == EditLists::Honoured ? "0" : "1", 0);
  int result = avformat_open_input(&format.context, ("file:" + path).c_str(), nullptr, &options);
  av_dict_free(&options);
  if (result >= 0) result = avformat_find_stream_info(format.context, nullptr);
  if (result < 0) {
    reading.error = avErrorText(result);
    return reading;
  }
  std::map<int, Track> tracks;
  bool anyVideo = false, anyStart = false;
  for (unsigned i = 0; i < format.context->nb_streams; ++i) {
    AVStream* stream = format.context->streams[i];
    const bool video = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO && (!video || anyVideo)) continue;
    if (kind == (video ? Tracks::Sounds : Tracks::Pictures)) continue;
    Track& track = tracks[int(i)];
    track.video = video;
    const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
    if (stream->codecpar->codec_id == AV_CODEC_ID_AV1) decoder = avcodec_find_decoder_by_name("libaom-av1");
    track.codec.reset(avcodec_alloc_context3(decoder));
    avcodec_parameters_to_context(track.codec.get(), stream->codecpar);
    track.codec->pkt_timebase = stream->time_base;
    track.codec->thread_count = 1;
    if (!decoder || avcodec_open2(track.codec.get(), decoder, nullptr) < 0) {
      reading.error = "no decoder";
      return reading;
    }
    if (stream->start_time != AV_NOPTS_VALUE) {
      const double start = double(stream->start_time) * av_q2d(stream->time_base);
      reading.start = anyStart ? std::min(reading.start, start) : start;
      anyStart = true;
      if (stream->duration > 0) {
        reading.end = std::max(reading.end, start + double(stream->duration) * av_q2d(stream->time_base));
      }
    }
    if (video) {
      anyVideo = true;
      const std::int32_t* matrix = displayMatrix(stream);
      track.coded = matrix ? (4 - int(std::lround(-av_display_rotation_get(matrix) / 90) + 4) % 4) % 4 : 0;
      reading.tick = av_q2d(stream->time_base);
    } else {
      track.sound = reading.sounds.size();
      reading.sounds.emplace_back();
    }
  }
  reading.duration = double(format.context->duration) / AV_TIME_BASE;

  const Packet packet(av_packet_alloc());
  const Frame frame(av_frame_alloc());
  PictureReader pictures;
  const auto decode = [&](int index, Track& track, const AVPacket* input) {
    const double unit = av_q2d(format.context->streams[index]->time_base);
    avcodec_send_packet(track.codec.get(), input);
    while (avcodec_receive_frame(track.codec.get(), frame.get()) >= 0) {
      const double time = double(frame->best_effort_timestamp) * unit;
      if (track.video) {
        reading.pictures.push_back({pictures.read(*frame, track.coded), time, frame->key_frame != 0});
      } else {
        append(reading.sounds[track.sound], *frame, time);
      }
    }
  };
  while (av_read_frame(format.context, packet.get()) >= 0) {
    const auto found = tracks.find(packet->stream_index);
    if (found != tracks.end()) decode(found->first, found->second, packet.get());
    av_packet_unref(packet.get());
  }
  for (auto& [index, track] : tracks) decode(index, track, nullptr);
  if (reading.end <= 0) {  // the container does not tell
    for (const Sound& sound : reading.sounds) reading.end = std::max(reading.end, sound.end());
  }
  return reading;
}
