#include "platform/backends/ffmpeg/ConvertedTrack.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

constexpr std::size_t kUndated = 32;  // packets
constexpr int kLeastScale = 10'000;   // of pictures; the writer doubles coarser ones

/// The code that names the codec in the new file; 0 leaves the choice to the writer.
std::uint32_t codeFor(const AVOutputFormat* container, const AVCodecParameters* codec) {
  // With the parameters in the description only, as most players want it.
  if (codec->codec_id == AV_CODEC_ID_HEVC) return MKTAG('h', 'v', 'c', '1');
  const bool known = container->codec_tag && av_codec_get_id(container->codec_tag, codec->codec_tag) == codec->codec_id;
  return known ? codec->codec_tag : 0;
}

}  // namespace

bool ConvertedTrack::isText(const AVStream* stream) {
  if (stream->codecpar->codec_id == AV_CODEC_ID_MOV_TEXT) return true;
  const AVCodecDescriptor* codec = avcodec_descriptor_get(stream->codecpar->codec_id);
  return codec && codec->type == AVMEDIA_TYPE_SUBTITLE && (codec->props & AV_CODEC_PROP_TEXT_SUB) != 0 &&
         avcodec_find_decoder(codec->id) && avcodec_find_encoder(AV_CODEC_ID_MOV_TEXT);
}

std::unique_ptr<ConvertedTrack> ConvertedTrack::add(AVFormatContext* output, AVStream* source) {
  std::unique_ptr<ConvertedTrack> track(new ConvertedTrack);
  track->output_ = output;
  track->in_ = source;
  track->out_ = avformat_new_stream(output, nullptr);
  if (!track->out_) return nullptr;
  AVStream* out = track->out_;
  const bool rewritten = track->isText() && source->codecpar->codec_id != AV_CODEC_ID_MOV_TEXT;
  if (rewritten ? !track->prepareText() : avcodec_parameters_copy(out->codecpar, source->codecpar) < 0) return nullptr;
  if (!rewritten) out->codecpar->codec_tag = codeFor(output->oformat, source->codecpar);
  out->codecpar->initial_padding = 0;  // the packets' times tell where the sound begins
  const bool sound = source->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
  out->time_base = sound ? AVRational{1, source->codecpar->sample_rate} : source->time_base;
  out->avg_frame_rate = source->avg_frame_rate;
  out->sample_aspect_ratio = source->sample_aspect_ratio;
  out->disposition = source->disposition;
  av_dict_copy(&out->metadata, source->metadata, 0);
  for (int n = 0; n < source->nb_side_data; ++n) {
    const AVPacketSideData& side = source->side_data[n];
    if (std::uint8_t* copy = av_stream_new_side_data(out, side.type, side.size)) {
      std::copy_n(side.data, side.size, copy);
    }
  }
  return track;
}

bool ConvertedTrack::prepareText() {
  const AVCodec* decoder = avcodec_find_decoder(in_->codecpar->codec_id);
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_MOV_TEXT);
  textDecoder_.reset(avcodec_alloc_context3(decoder));
  textEncoder_.reset(avcodec_alloc_context3(encoder));
  if (!textDecoder_ || !textEncoder_) return false;
  if (avcodec_parameters_to_context(textDecoder_.get(), in_->codecpar) < 0) return false;
  textDecoder_->pkt_timebase = in_->time_base;
  if (avcodec_open2(textDecoder_.get(), decoder, nullptr) < 0) return false;
  // The encoder owns its copy of the style sheet.
  const auto size = std::size_t(std::max(0, textDecoder_->subtitle_header_size));
  textEncoder_->subtitle_header = static_cast<std::uint8_t*>(av_mallocz(size + 1));
  if (!textEncoder_->subtitle_header) return false;
  if (size > 0) std::copy_n(textDecoder_->subtitle_header, size, textEncoder_->subtitle_header);
  textEncoder_->subtitle_header_size = int(size);
  textEncoder_->time_base = {1, 1000};
  return avcodec_open2(textEncoder_.get(), encoder, nullptr) >= 0 &&
         avcodec_parameters_from_context(out_->codecpar, textEncoder_.get()) >= 0;
}

int ConvertedTrack::scale() const {
  const AVRational base = out_->time_base;
  int scale = std::max(1, base.den);
  while (in_->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && scale < kLeastScale) scale *= 2;
  return scale;
}

std::int64_t ConvertedTrack::usualDuration() const {
  if (in_->avg_frame_rate.num <= 0 || in_->avg_frame_rate.den <= 0) return 1;
  return std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(in_->avg_frame_rate), in_->time_base));
}

int ConvertedTrack::take(AVPacket& packet, std::int64_t origin) {
  if (packet.pts == AV_NOPTS_VALUE) packet.pts = packet.dts;
  if (packet.pts == AV_NOPTS_VALUE && lastDecodeTime_ != AV_NOPTS_VALUE) {
    packet.pts = packet.dts = lastDecodeTime_ + std::max<std::int64_t>(packet.duration, usualDuration());
  }
  if (packet.pts == AV_NOPTS_VALUE) return 0;
  packet.flags &= ~AV_PKT_FLAG_DISCARD;
  av_packet_free_side_data(&packet);
  latestTime_ = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
  if (isText()) return writeText(packet, origin);

  if (in_->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
    const bool key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    if (!firstPicture_ && !key) return 0;
    if (!firstPicture_) firstPicture_ = packet.pts;
    if (packet.pts < *firstPicture_) return 0;  // needs pictures before the first one
    if (packet.duration <= 0) packet.duration = usualDuration();
  }
  if (packet.dts == AV_NOPTS_VALUE && lastDecodeTime_ == AV_NOPTS_VALUE && undated_.size() < kUndated) {
    undated_.emplace_back(av_packet_clone(&packet));
    return 0;
  }
  if (packet.dts == AV_NOPTS_VALUE) {
    packet.dts = lastDecodeTime_ == AV_NOPTS_VALUE ? packet.pts : lastDecodeTime_ + 1;
  }
  // Some formats do not store the first decode times.
  std::vector<Packet> undated = std::exchange(undated_, {});
  const std::int64_t step = std::max<std::int64_t>(1, packet.duration);
  std::int64_t decodeTime = packet.dts - std::int64_t(undated.size()) * step;
  for (const Packet& earlier : undated) {
    earlier->dts = decodeTime;
    decodeTime += step;
    if (const int result = write(*earlier, origin); result < 0) return result;
  }
  return write(packet, origin);
}

int ConvertedTrack::finish(std::int64_t origin) {
  if (undated_.empty()) return 0;
  const Packet last = std::move(undated_.back());
  undated_.pop_back();
  last->dts = last->pts;
  return take(*last, origin);
}

int ConvertedTrack::write(AVPacket& packet, std::int64_t origin) {
  lastDecodeTime_ = packet.dts;
  const std::int64_t shift = av_rescale_q(origin, {1, 1}, in_->time_base);
  packet.pts -= shift;
  packet.dts -= shift;
  const int samples =
      in_->codecpar->codec_type == AVMEDIA_TYPE_AUDIO ? av_get_audio_frame_duration2(in_->codecpar, packet.size) : 0;
  av_packet_rescale_ts(&packet, in_->time_base, out_->time_base);
  if (samples > 0) smooth(packet, av_rescale_q(samples, {1, in_->codecpar->sample_rate}, out_->time_base));
  return send(packet);
}

/// Lays out sound by its lengths as long as that agrees with the times, which may be coarse.
void ConvertedTrack::smooth(AVPacket& packet, std::int64_t samples) {
  const std::int64_t tolerance = 1 + av_rescale_q(1, in_->time_base, out_->time_base);
  if (nextSound_ != AV_NOPTS_VALUE && std::abs(packet.pts - nextSound_) <= tolerance) {
    packet.pts = packet.dts = nextSound_;
  }
  packet.duration = samples;
  nextSound_ = packet.pts + samples;
}

int ConvertedTrack::send(AVPacket& packet) {
  if (lastWritten_ != AV_NOPTS_VALUE && packet.dts <= lastWritten_) packet.dts = lastWritten_ + 1;
  packet.pts = std::max(packet.pts, packet.dts);
  if (packet.dts < 0) return 0;  // long before all that is needed
  lastWritten_ = packet.dts;
  packet.stream_index = out_->index;
  packet.pos = -1;
  return av_write_frame(output_, &packet);
}

int ConvertedTrack::writeText(AVPacket& packet, std::int64_t origin) {
  if (!textDecoder_) {
    packet.dts = packet.pts;
    return write(packet, origin);
  }
  AVSubtitle subtitle{};
  int got = 0;
  if (avcodec_decode_subtitle2(textDecoder_.get(), &subtitle, &got, &packet) < 0 || !got) return 0;
  std::array<std::uint8_t, 16384> bytes;
  const int size = avcodec_encode_subtitle(textEncoder_.get(), bytes.data(), int(bytes.size()), &subtitle);
  avsubtitle_free(&subtitle);
  const Packet rewritten(av_packet_alloc());
  if (size <= 0 || av_new_packet(rewritten.get(), size) < 0) return 0;
  std::copy_n(bytes.data(), size, rewritten->data);
  rewritten->pts = rewritten->dts = packet.pts;
  rewritten->duration = packet.duration;
  rewritten->flags = AV_PKT_FLAG_KEY;
  return write(*rewritten, origin);
}
