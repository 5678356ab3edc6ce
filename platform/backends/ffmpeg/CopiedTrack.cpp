#include "platform/backends/ffmpeg/CopiedTrack.h"

#include <algorithm>
#include <cerrno>

int CopiedTrack::open() {
  if (!stream_) return AVERROR(ENOMEM);
  if (const int result = avcodec_parameters_copy(stream_->codecpar, source_->codecpar); result < 0) return result;
  stream_->codecpar->codec_tag = 0;
  stream_->codecpar->initial_padding = 0;  // the packets' times tell where the sound begins
  stream_->time_base = source_->time_base;
  stream_->avg_frame_rate = source_->avg_frame_rate;
  stream_->sample_aspect_ratio = source_->sample_aspect_ratio;
  for (int i = 0; i < source_->nb_side_data; ++i) {
    const AVPacketSideData& side = source_->side_data[i];
    std::uint8_t* copy = av_stream_new_side_data(stream_, side.type, side.size);
    if (!copy) return AVERROR(ENOMEM);
    std::copy_n(side.data, side.size, copy);
  }
  return output_.streamIsReady();
}

int CopiedTrack::take(AVPacket& packet) {
  if (packet.pts == AV_NOPTS_VALUE) packet.pts = packet.dts;
  if (packet.dts == AV_NOPTS_VALUE || packet.pts == AV_NOPTS_VALUE) return 0;
  packet.pts -= startTime_;
  packet.dts -= startTime_;
  packet.flags &= ~AV_PKT_FLAG_DISCARD;
  av_packet_free_side_data(&packet);
  return output_.write(packet, stream_, source_->time_base);
}
