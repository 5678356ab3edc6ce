#include "platform/backends/ffmpeg/SoundTrack.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

namespace {

constexpr int kTolerance = 50;  // a part of a second: what times may differ by from the lengths of the sound itself
constexpr int kPiece = 48'000;  // samples of silence at a time

}  // namespace

SoundTrack::~SoundTrack() {
  swr_free(&converter_);
}

int SoundTrack::open() {
  const AVCodec* codec = avcodec_find_decoder(source_->codecpar->codec_id);
  if (!codec) return AVERROR_DECODER_NOT_FOUND;
  decoder_.reset(avcodec_alloc_context3(codec));
  converter_ = swr_alloc();
  if (!decoder_ || !converter_) return AVERROR(ENOMEM);
  if (const int result = avcodec_parameters_to_context(decoder_.get(), source_->codecpar); result < 0) return result;
  decoder_->pkt_timebase = source_->time_base;
  return avcodec_open2(decoder_.get(), codec, nullptr);
}

int SoundTrack::take(const AVPacket* packet) {
  const int sent = avcodec_send_packet(decoder_.get(), packet);
  if (sent == AVERROR(ENOMEM)) return sent;
  // What is damaged is left out, and silence takes its place.
  const int result = drain();
  return result < 0 || packet ? result : flushConverter();
}

int SoundTrack::drain() {
  const Frame sound(av_frame_alloc());
  if (!sound) return AVERROR(ENOMEM);
  for (;;) {
    const int result = avcodec_receive_frame(decoder_.get(), sound.get());
    if (result == AVERROR(ENOMEM)) return result;
    if (result < 0) return 0;
    if (sound->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
      av_channel_layout_default(&sound->ch_layout, sound->ch_layout.nb_channels);
    }
    const int placed = place(*sound);
    av_frame_unref(sound.get());
    if (placed < 0) return placed;
  }
}

/// Puts silence where the times leave a gap, and leaves out what comes a second time.
int SoundTrack::place(AVFrame& sound) {
  if (sound.best_effort_timestamp != AV_NOPTS_VALUE) {
    const std::int64_t time = av_rescale_q(sound.best_effort_timestamp, source_->time_base, {1, form_.rate}) -
                              av_rescale_q(startTime_, source_->time_base, {1, form_.rate});
    const std::int64_t inside = swr_is_initialized(converter_) ? swr_get_delay(converter_, form_.rate) : 0;
    const std::int64_t gap = time - (end_ + inside - dropped_);
    if (!hasBegun_ || std::abs(gap) > form_.rate / kTolerance) {
      if (const int result = flushConverter(); result < 0) return result;
      if (gap > 0) {
        if (const int result = fillTo(time); result < 0) return result;
      }
      dropped_ = std::max<std::int64_t>(0, end_ - time);
    }
  }
  hasBegun_ = true;
  return convert(&sound);
}

int SoundTrack::flushConverter() {
  if (!swr_is_initialized(converter_)) return 0;
  const int result = convert(nullptr);
  swr_close(converter_);
  return result;
}

/// Null for what is left inside the converter.
int SoundTrack::convert(AVFrame* sound) {
  if (sound && !swr_is_initialized(converter_)) {
    // One channel is heard from both sides as loud as it is, not at half its power.
    const bool spread = sound->ch_layout.nb_channels == 1 && form_.channels == 2;
    av_opt_set_double(converter_, "rematrix_volume", spread ? M_SQRT2 : 1, 0);
  }
  for (;;) {
    Frame piece = empty(0);
    if (!piece) return AVERROR(ENOMEM);
    int result = swr_convert_frame(converter_, piece.get(), sound);
    if (result == AVERROR_INPUT_CHANGED) {
      if (result = flushConverter(); result >= 0) continue;
    }
    if (result < 0) return result;
    const bool more = piece->nb_samples > 0 && !sound;
    result = append(std::move(piece));
    if (result < 0 || !more) return result;
  }
}

/// A piece of silence; of no length one without memory, for the converter to fill.
Frame SoundTrack::empty(int samples) const {
  Frame piece(av_frame_alloc());
  if (!piece) return piece;
  piece->format = AV_SAMPLE_FMT_FLTP;
  piece->sample_rate = form_.rate;
  av_channel_layout_default(&piece->ch_layout, form_.channels);
  piece->nb_samples = samples;
  if (samples > 0) {
    if (av_frame_get_buffer(piece.get(), 0) < 0) return nullptr;
    av_samples_set_silence(piece->extended_data, 0, samples, form_.channels, AV_SAMPLE_FMT_FLTP);
  }
  return piece;
}

int SoundTrack::append(Frame piece) {
  const int left = int(std::min<std::int64_t>(dropped_, piece->nb_samples));
  dropped_ -= left;
  const int kept = piece->nb_samples - left;
  if (kept <= 0) return 0;
  if (left > 0) {  // moved, as what mixes wants it aligned
    Frame rest = empty(kept);
    if (!rest) return AVERROR(ENOMEM);
    av_samples_copy(rest->extended_data, piece->extended_data, 0, left, kept, form_.channels, AV_SAMPLE_FMT_FLTP);
    piece = std::move(rest);
  }
  piece->pts = end_;
  end_ += kept;
  pieces_.push_back(std::move(piece));
  return 0;
}

int SoundTrack::fillTo(std::int64_t time) {
  while (end_ < time) {
    Frame piece = empty(int(std::min<std::int64_t>(kPiece, time - end_)));
    if (!piece) return AVERROR(ENOMEM);
    piece->pts = end_;
    end_ += piece->nb_samples;
    pieces_.push_back(std::move(piece));
  }
  return 0;
}

Frame SoundTrack::next() {
  if (pieces_.empty()) return nullptr;
  Frame piece = std::move(pieces_.front());
  pieces_.pop_front();
  return piece;
}
