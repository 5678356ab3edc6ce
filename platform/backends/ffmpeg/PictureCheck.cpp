#include "platform/backends/ffmpeg/PictureCheck.h"

#include "platform/backends/ffmpeg/PictureSize.h"

#include <cmath>

namespace {

constexpr double kPixels = 13e6;               // decoded at most: six pictures of 1920 x 1080, about 20 ms
constexpr std::size_t kPacketsOfSource = 900;  // read at most
constexpr int kPacketsBehind = 32;             // read behind the wanted one, for decoders that are late
constexpr int kKeysOfSource = 3;               // from which decoding is tried

/// A decoder that leaves out what neither times nor decodability depend on; null when there is none.
Codec makeDecoder(const AVStream* stream) {
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  Codec context(codec ? avcodec_alloc_context3(codec) : nullptr);
  if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0) return nullptr;
  context->pkt_timebase = stream->time_base;
  limitPictures(context.get());
  context->thread_count = 1;
  context->skip_loop_filter = AVDISCARD_ALL;
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  return context;
}

/// Decodes a packet (null: what is still on its way) and says whether the picture with the time `wanted` came out
/// whole; any picture or sound will do when `wanted` is AV_NOPTS_VALUE.
bool decode(AVCodecContext* context, const AVPacket* packet, std::int64_t wanted) {
  const bool unsure = (context->flags & AV_CODEC_FLAG_OUTPUT_CORRUPT) != 0;
  bool found = false;
  const Frame frame(av_frame_alloc());
  avcodec_send_packet(context, packet);
  while (avcodec_receive_frame(context, frame.get()) >= 0) {
    const bool whole = (unsure || (frame->flags & AV_FRAME_FLAG_CORRUPT) == 0) && frame->decode_error_flags == 0;
    if (whole && (wanted == AV_NOPTS_VALUE || frame->pts == wanted)) found = true;
  }
  return found;
}

/// The stream's packets from where the input stands until some behind a time. The first one gets the parameters that
/// hold there: `parameters` carries those that were read last.
std::vector<Packet> readAround(MovieInput& input, const AVStream* stream, std::int64_t time, AVPacket* parameters) {
  std::vector<Packet> packets;
  const Packet packet(av_packet_alloc());
  int behind = 0;
  while (packets.size() < kPacketsOfSource && behind <= kPacketsBehind &&
         av_read_frame(input.format(), packet.get()) >= 0) {
    if (packet->stream_index == stream->index) {
      packets.emplace_back(av_packet_clone(packet.get()));
      if (packets.size() == 1) copyParameters(parameters, packets.front().get());
      if (av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, nullptr)) {
        av_packet_unref(parameters);
        av_packet_copy_props(parameters, packet.get());
      }
      if (packet->dts > time + 1) ++behind;
    }
    av_packet_unref(packet.get());
  }
  return packets;
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
  const std::size_t last = lastDecoded();
  succeeded_ = decodesUntil(last, false);
  // A decoder of H.264 that began at the key picture of an open group withholds what follows until that one has come
  // out itself, and at the end for ever.
  const bool untilEnd = playersBegin_ && last == window_.shown;
  if (!succeeded_ && untilEnd) succeeded_ = decodesUntil(window_.packets.size() - 1, false);
  // A player that has come from further in front, or goes on, is sure by then.
  if (!succeeded_ && !(untilEnd && window_.untilEnd)) succeeded_ = decodesUntil(last, true);
}

/// Decodes up to the packet `last`, or to where the picture to check has come out, and says whether it has. `unsure`:
/// also where the decoder is not sure that it is whole.
bool PictureCheck::decodesUntil(std::size_t last, bool unsure) {
  avcodec_flush_buffers(decoder_.get());
  decoder_->flags = unsure ? decoder_->flags | AV_CODEC_FLAG_OUTPUT_CORRUPT  //
                           : decoder_->flags & ~AV_CODEC_FLAG_OUTPUT_CORRUPT;
  const bool pictures = stream_->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  const std::size_t target = lastDecoded();
  const std::int64_t wanted = pictures ? window_.packets[target]->pts : AV_NOPTS_VALUE;
  bool found = false;
  for (std::size_t i = from_; i <= last && !(found && i > target); ++i) {
    const Packet packet(av_packet_clone(window_.packets[i].get()));
    for (std::size_t earlier = i; i == from_ && earlier-- > 0;) {
      copyParameters(window_.packets[earlier].get(), packet.get());
    }
    if (i >= target) packet->flags &= ~AV_PKT_FLAG_DISCARD;
    decoder_->skip_frame = i >= target ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
    found = decode(decoder_.get(), packet.get(), wanted) || found;
  }
  return found || decode(decoder_.get(), nullptr, wanted);
}

bool PictureCheck::canDecode(MovieInput& input, AVStream* stream, double time) {
  const std::int64_t wanted = std::llround(time / av_q2d(stream->time_base)) + input.startTime(stream);
  const bool pictures = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  const Packet parameters(av_packet_alloc());
  // Formats find key frames by their decode times: the picture may be one that is shown before that. And a decoder may
  // not be sure until the next one.
  std::int64_t from = wanted;
  for (int attempt = 0; attempt < kKeysOfSource; ++attempt) {
    const Codec context = makeDecoder(stream);
    if (!context || input.seek(stream, from) < 0) return false;
    const std::vector<Packet> packets = readAround(input, stream, wanted, parameters.get());
    if (packets.empty()) return false;
    std::int64_t target = AV_NOPTS_VALUE;  // the last time that is not behind the wanted one
    for (const Packet& packet : packets) {
      if (pictures && packet->pts <= wanted + 1) target = std::max(target, packet->pts);
    }
    bool found = false;
    if (!pictures || target != AV_NOPTS_VALUE) {
      for (const Packet& packet : packets) found = found || decode(context.get(), packet.get(), target);
      if (found || decode(context.get(), nullptr, target)) return true;
    }
    if (packets.front()->dts == AV_NOPTS_VALUE || packets.front()->dts > from) return false;  // the very first
    from = packets.front()->dts - 1;
  }
  return false;
}
