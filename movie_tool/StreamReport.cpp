#include "movie_tool/StreamReport.h"

#include "movie_tool/KeySpacing.h"
#include "platform/backends/ffmpeg/MovieInput.h"

extern "C" {
#include <libavutil/display.h>
}

#include <cmath>

namespace {

std::string kindOf(AVMediaType type) {
  switch (type) {
    case AVMEDIA_TYPE_VIDEO:
      return "video";
    case AVMEDIA_TYPE_AUDIO:
      return "sound";
    case AVMEDIA_TYPE_SUBTITLE:
      return "text";
    case AVMEDIA_TYPE_DATA:
      return "metadata";
    default:
      return "other";
  }
}

std::string tag(const AVStream* stream, const char* name) {
  const AVDictionaryEntry* entry = av_dict_get(stream->metadata, name, nullptr, 0);
  return entry ? entry->value : "";
}

TrackReport describe(const AVStream* stream) {
  TrackReport track;
  track.identifier = std::uint32_t(stream->id > 0 ? stream->id : stream->index + 1);
  track.kind = kindOf(stream->codecpar->codec_type);
  track.format = avcodec_get_name(stream->codecpar->codec_id);
  track.language = tag(stream, "language");
  track.name = tag(stream, "title");
  if (track.name.empty()) track.name = tag(stream, "handler_name");
  if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
    track.width = stream->codecpar->width;
    track.height = stream->codecpar->height;
    if (const std::int32_t* matrix = displayMatrix(stream))
      track.rotation = (int(std::lround(-av_display_rotation_get(matrix))) + 360) % 360;
  } else if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
    track.channels = stream->codecpar->ch_layout.nb_channels;
    track.sampleRate = stream->codecpar->sample_rate;
  }
  return track;
}

/// What is known of a stream's packets.
struct Packets {
  KeySpacing keys;
  std::uint64_t count = 0, bytes = 0;
  std::int64_t start = INT64_MAX, end = INT64_MIN;
};

}  // namespace

std::unique_ptr<MovieReport> reportOfStreams(const std::string& path, const std::string& displayName,
                                             NSErrorPtr* error) {
  const auto input = MovieInput::open(path, displayName, error);
  if (!input) return nullptr;
  AVFormatContext* format = input->format();
  std::vector<Packets> streams(format->nb_streams);
  const Packet packet(av_packet_alloc());
  while (av_read_frame(format, packet.get()) >= 0) {
    if (std::size_t(packet->stream_index) < streams.size()) {
      const AVStream* stream = format->streams[packet->stream_index];
      Packets& seen = streams[std::size_t(packet->stream_index)];
      std::int64_t length = packet->duration;
      if (length <= 0 && stream->avg_frame_rate.num > 0)
        length = av_rescale_q(1, av_inv_q(stream->avg_frame_rate), stream->time_base);
      const std::int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
      ++seen.count;
      seen.bytes += std::uint64_t(packet->size);
      if (time != AV_NOPTS_VALUE) {
        seen.start = std::min(seen.start, time);
        seen.end = std::max(seen.end, time + length);
        seen.keys.add(time, length, (packet->flags & AV_PKT_FLAG_KEY) != 0);
      }
    }
    av_packet_unref(packet.get());
  }

  auto report = std::make_unique<MovieReport>();
  report->container = format->iformat->long_name ? format->iformat->long_name : format->iformat->name;
  report->duration = double(input->duration()) / AV_TIME_BASE;
  for (unsigned i = 0; i < format->nb_streams && i < streams.size(); ++i) {
    const Packets& seen = streams[i];
    TrackReport track = describe(format->streams[i]);
    const double tick = av_q2d(format->streams[i]->time_base);
    track.samples = seen.count;
    track.bytes = seen.bytes;
    if (seen.end > seen.start) {
      track.duration = double(seen.end - seen.start) * tick;
      track.rate = double(seen.count) / track.duration;
    }
    seen.keys.report(tick, track);
    report->tracks.push_back(std::move(track));
  }
  return report;
}
