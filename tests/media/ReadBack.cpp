#include "tests/media/ReadBack.h"

#include "platform/backends/ffmpeg/MovieInput.h"
#include "tests/data/FrameCode.h"

extern "C" {
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <complex>
#include <fstream>
#include <functional>

namespace {

/// Opened as a program that knows nothing of ours would.
struct Opened {
  AVFormatContext* format = nullptr;
  explicit Opened(const std::string& path) {
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) >= 0) avformat_find_stream_info(format, nullptr);
  }
  Opened(const Opened&) = delete;
  ~Opened() { avformat_close_input(&format); }
};

int quartersOf(const AVStream* stream) {
  const std::int32_t* matrix = displayMatrix(stream);
  return matrix ? int(std::lround(-av_display_rotation_get(matrix) / 90) + 4) % 4 : 0;
}

void decodeAll(AVFormatContext* format, AVStream* stream, const std::function<void(const AVFrame&)>& visit) {
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  const Codec context(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(context.get(), stream->codecpar);
  context->pkt_timebase = stream->time_base;
  avcodec_open2(context.get(), codec, nullptr);
  const Packet packet(av_packet_alloc());
  const Frame frame(av_frame_alloc());
  for (bool end = false; !end;) {
    end = av_read_frame(format, packet.get()) < 0;
    if (!end && packet->stream_index != stream->index) {
      av_packet_unref(packet.get());
      continue;
    }
    avcodec_send_packet(context.get(), end ? nullptr : packet.get());
    av_packet_unref(packet.get());
    while (avcodec_receive_frame(context.get(), frame.get()) >= 0) visit(*frame);
  }
}

AVStream* nth(AVFormatContext* format, AVMediaType type, int index) {
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    if (format->streams[i]->codecpar->codec_type == type && index-- == 0) return format->streams[i];
  }
  return nullptr;
}

std::string tag(const AVDictionary* dictionary, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(dictionary, key, nullptr, 0);
  return entry ? entry->value : "";
}

bool indexComesFirst(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  unsigned char header[8];
  while (file.read(reinterpret_cast<char*>(header), 8)) {
    const std::string type(reinterpret_cast<char*>(header) + 4, 4);
    if (type == "moov" || type == "mdat") return type == "moov";
    const long size = long(header[0]) << 24 | header[1] << 16 | header[2] << 8 | header[3];
    file.seekg(size - 8, std::ios::cur);
  }
  return false;
}

struct Sound {
  std::vector<float> samples;  // of the first channel
  int rate = 0;
  double start = 0;  // of the first sample
};

Sound soundOf(const std::string& path, double from, double length, int track) {
  Opened movie(path);
  Sound sound;
  AVStream* stream = movie.format ? nth(movie.format, AVMEDIA_TYPE_AUDIO, track) : nullptr;
  if (!stream) return sound;
  decodeAll(movie.format, stream, [&](const AVFrame& frame) {
    sound.rate = frame.sample_rate;
    const double time = double(frame.best_effort_timestamp) * av_q2d(stream->time_base);
    const auto* values = reinterpret_cast<const float*>(frame.data[0]);  // the decoder's own planar floats
    for (int i = 0; i < frame.nb_samples; ++i) {
      const double at = time + double(i) / sound.rate;
      if (at < from || at >= from + length) continue;
      if (sound.samples.empty()) sound.start = at;
      sound.samples.push_back(values[i]);
    }
  });
  return sound;
}

}  // namespace

std::vector<read_back::Picture> read_back::pictures(const std::string& path) {
  Opened movie(path);
  std::vector<Picture> result;
  AVStream* stream = movie.format ? nth(movie.format, AVMEDIA_TYPE_VIDEO, 0) : nullptr;
  if (!stream) return result;
  SwsContext* scaler = nullptr;
  std::vector<std::uint8_t> pixels;
  decodeAll(movie.format, stream, [&](const AVFrame& frame) {
    const int width = frame.width, height = frame.height, stride = width * 4;
    scaler = sws_getCachedContext(scaler, width, height, AVPixelFormat(frame.format), width, height, AV_PIX_FMT_BGRA,
                                  SWS_POINT, nullptr, nullptr, nullptr);
    pixels.resize(std::size_t(stride) * std::size_t(height) + 64);  // the scaler may write a little over the end
    std::uint8_t* planes[4] = {pixels.data()};
    const int strides[4] = {stride};
    sws_scale(scaler, frame.data, frame.linesize, 0, height, planes, strides);
    // The number is upright in the picture as shown, so in the coded one it is turned the other way.
    const auto number =
        frame_code::read(pixels.data(), width, height, std::size_t(stride), (4 - quartersOf(stream)) % 4);
    result.push_back({number.value_or(-1), double(frame.best_effort_timestamp) * av_q2d(stream->time_base)});
  });
  sws_freeContext(scaler);
  return result;
}

double read_back::pitch(const std::string& path, double from, double length, int track) {
  const auto [samples, rate, start] = soundOf(path, from, length, track);
  int crossings = 0, first = -1, last = -1;
  for (int i = 1; i < int(samples.size()); ++i) {
    if (samples[std::size_t(i) - 1] < 0 && samples[std::size_t(i)] >= 0) {
      ++crossings;
      if (first < 0) first = i;
      last = i;
    }
  }
  return crossings > 1 ? double(crossings - 1) * rate / (last - first) : 0;
}

read_back::Tone read_back::tone(const std::string& path, double hertz, double from, double length, int track) {
  const auto [samples, rate, start] = soundOf(path, from, length, track);
  std::complex<double> sum;
  Tone tone;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double time = start + double(i) / rate;
    sum += double(samples[i]) * std::polar(1.0, -2 * M_PI * hertz * time);
    tone.peak = std::max(tone.peak, std::abs(double(samples[i])));
  }
  if (samples.empty()) return tone;
  tone.level = 2 * std::abs(sum) / double(samples.size());
  tone.delay = -std::arg(sum * std::complex<double>(0, 1)) / (2 * M_PI * hertz);
  return tone;
}

std::optional<read_back::Facts> read_back::facts(const std::string& path) {
  const Opened movie(path);
  if (!movie.format) return std::nullopt;
  Facts facts;
  facts.duration = double(movie.format->duration) / AV_TIME_BASE;
  facts.creationTime = tag(movie.format->metadata, "creation_time");
  facts.title = tag(movie.format->metadata, "title");
  facts.indexFirst = indexComesFirst(path);
  for (unsigned i = 0; i < movie.format->nb_streams; ++i) {
    const AVStream* stream = movie.format->streams[i];
    facts.tracks.push_back({av_get_media_type_string(stream->codecpar->codec_type),
                            avcodec_get_name(stream->codecpar->codec_id), tag(stream->metadata, "language"),
                            tag(stream->metadata, "handler_name"),
                            double(stream->duration) * av_q2d(stream->time_base)});
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) facts.clockwiseQuarters = quartersOf(stream);
  }
  return facts;
}
