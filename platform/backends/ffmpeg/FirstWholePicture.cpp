#include "platform/backends/ffmpeg/FirstWholePicture.h"

#include "platform/backends/ffmpeg/PictureSize.h"

FirstWholePicture::FirstWholePicture(const AVStream* stream) {
  // The others' decoders don't tell.
  if (stream->codecpar->codec_id != AV_CODEC_ID_H264) return;
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_H264);
  decoder_.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
  if (!decoder_) return;
  decoder_->thread_count = 1;
  decoder_->skip_loop_filter = AVDISCARD_ALL;
  decoder_->skip_frame = AVDISCARD_NONREF;
  if (avcodec_parameters_to_context(decoder_.get(), stream->codecpar) < 0) {
    decoder_.reset();
    return;
  }
  limitPictures(decoder_.get());
  if (avcodec_open2(decoder_.get(), codec, nullptr) < 0) decoder_.reset();
}

bool FirstWholePicture::take(const AVPacket& packet) {
  if (!begun_ && (packet.flags & AV_PKT_FLAG_KEY) == 0) return false;
  if (!begun_) keyTime_ = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  begun_ = true;
  time_ = keyTime_;
  if (!decoder_) return time_ != AV_NOPTS_VALUE;
  avcodec_send_packet(decoder_.get(), &packet);
  const Frame frame(av_frame_alloc());
  if (avcodec_receive_frame(decoder_.get(), frame.get()) < 0) return false;
  time_ = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->pkt_dts;
  if (time_ == AV_NOPTS_VALUE || time_ <= keyTime_ || gradual_) return time_ != AV_NOPTS_VALUE;
  gradual_ = true;
  begun_ = false;
  avcodec_flush_buffers(decoder_.get());
  return false;
}
