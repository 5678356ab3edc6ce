#include "platform/backends/ffmpeg/PictureCheck.h"

#include <cmath>

namespace {

constexpr double kPixels = 13e6;       // decoded at most: six pictures of 1920 x 1080, about 20 ms
constexpr int kPacketsOfSource = 900;  // read at most

/// A decoder that leaves out what neither times nor decodability depend on; null when there is none.
Codec makeDecoder(const AVStream* stream) {
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  Codec context(codec ? avcodec_alloc_context3(codec) : nullptr);
  if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0) return nullptr;
  context->pkt_timebase = stream->time_base;
  context->thread_count = 1;
  context->skip_loop_filter = AVDISCARD_ALL;
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  return context;
}

/// Decodes a packet (null: what is still on its way) and says whether the picture with the time `wanted` came out
/// whole; any picture or sound will do when `wanted` is AV_NOPTS_VALUE.
bool decode(AVCodecContext* context, const AVPacket* packet, std::int64_t wanted) {
  bool found = false;
  const Frame frame(av_frame_alloc());
  avcodec_send_packet(context, packet);
  while (avcodec_receive_frame(context, frame.get()) >= 0) {
    const bool whole = (frame->flags & AV_FRAME_FLAG_CORRUPT) == 0 && frame->decode_error_flags == 0;
    if (whole && (wanted == AV_NOPTS_VALUE || frame->pts == wanted)) found = true;
  }
  return found;
}

double pixelsOf(const AVStream* stream) {
  return double(stream->codecpar->width) * stream->codecpar->height;
}

}  // namespace

/// The packet after which decoding ends.
std::size_t PictureCheck::lastDecoded() const {
  return pixelsOf(stream_) * double(window_.shown - from_ + 1) > kPixels ? from_ : window_.shown;
}

double PictureCheck::pixels() const {
  return pixelsOf(stream_) * double(lastDecoded() - from_ + 1);
}

void PictureCheck::run(Codec decoder) {
  decoder_ = decoder ? std::move(decoder) : makeDecoder(stream_);
  if (!decoder_) return;
  avcodec_flush_buffers(decoder_.get());
  const std::size_t last = lastDecoded();
  const bool pictures = stream_->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  const std::int64_t wanted = pictures ? window_.packets[last]->pts : AV_NOPTS_VALUE;
  succeeded_ = false;
  for (std::size_t i = from_; i <= last; ++i) {
    const Packet packet(av_packet_clone(window_.packets[i].get()));
    if (i == last) packet->flags &= ~AV_PKT_FLAG_DISCARD;
    decoder_->skip_frame = i == last ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
    succeeded_ = decode(decoder_.get(), packet.get(), wanted) || succeeded_;
  }
  succeeded_ = decode(decoder_.get(), nullptr, wanted) || succeeded_;
}

bool PictureCheck::canDecode(MovieInput& input, AVStream* stream, double time) {
  const Codec context = makeDecoder(stream);
  const std::int64_t wanted = std::llround(time / av_q2d(stream->time_base)) + input.startTime(stream);
  if (!context || input.seek(stream, wanted) < 0) return false;
  const bool pictures = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  const Packet packet(av_packet_alloc());
  std::int64_t onScreen = AV_NOPTS_VALUE;  // the last time that is not behind the wanted one
  std::vector<Packet> packets;
  while (packets.size() < kPacketsOfSource && av_read_frame(input.format(), packet.get()) >= 0) {
    if (packet->stream_index == stream->index) {
      packets.emplace_back(av_packet_clone(packet.get()));
      if (packet->pts <= wanted + 1 && packet->pts > onScreen) onScreen = packet->pts;
      if (packet->dts > wanted + 1) break;
    }
    av_packet_unref(packet.get());
  }
  bool found = false;
  const std::int64_t target = pictures ? onScreen : AV_NOPTS_VALUE;
  for (const Packet& each : packets) found = decode(context.get(), each.get(), target) || found;
  return decode(context.get(), nullptr, target) || found;
}
