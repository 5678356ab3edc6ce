#include "platform/backends/ffmpeg/SoundMixer.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <cerrno>

namespace {

constexpr int kBitRate = 128'000;  // a channel

// Seconds by which a track may fall behind the others before silence takes its place: without an end to that, a long
// pause in one would keep the others in memory.
constexpr int kLongestWait = 10;

}  // namespace

int SoundMixer::open(const std::vector<AVStream*>& streams, const std::vector<std::int64_t>& startTimes,
                     const AVStream** unknown) {
  stream_ = output_.addStream();
  if (!stream_) return AVERROR(ENOMEM);
  const auto all = [&streams](auto holds) { return std::all_of(streams.begin(), streams.end(), holds); };
  // As the tracks are, where they are alike and players like it, else as most sound for pictures is.
  form_.rate = all([](const AVStream* each) { return each->codecpar->sample_rate == 44'100; }) ? 44'100 : 48'000;
  form_.channels = all([](const AVStream* each) { return each->codecpar->ch_layout.nb_channels == 1; }) ? 1 : 2;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    tracks_.push_back(std::make_unique<SoundTrack>(streams[i], startTimes[i], form_));
    if (const int result = tracks_.back()->open(); result < 0) {
      *unknown = streams[i];
      return result;
    }
  }
  if (const int result = openEncoder(); result < 0) return result;
  return openGraph();
}

int SoundMixer::openEncoder() {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  encoder_.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
  if (!encoder_) return AVERROR_ENCODER_NOT_FOUND;
  encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder_->sample_rate = form_.rate;
  av_channel_layout_default(&encoder_->ch_layout, form_.channels);
  encoder_->bit_rate = std::int64_t(kBitRate) * form_.channels;
  encoder_->time_base = {1, form_.rate};
  encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  int result = avcodec_open2(encoder_.get(), codec, nullptr);
  if (result >= 0) result = avcodec_parameters_from_context(stream_->codecpar, encoder_.get());
  if (result < 0) return result;
  stream_->codecpar->initial_padding = 0;  // the packets' times tell where the sound begins
  stream_->time_base = encoder_->time_base;
  return output_.streamIsReady();
}

int SoundMixer::openGraph() {
  const std::string layout = form_.channels == 1 ? "mono" : "stereo";
  const std::string source = "sample_fmt=fltp:sample_rate=" + std::to_string(form_.rate) + ":channel_layout=" + layout +
                             ":time_base=1/" + std::to_string(form_.rate);
  std::string filters;
  for (std::size_t i = 0; i < tracks_.size(); ++i) filters += "[in" + std::to_string(i) + "]";
  if (tracks_.size() == 1) {
    filters += "anull";
  } else {
    filters += "amix=inputs=" + std::to_string(tracks_.size()) +
               ":duration=longest:normalize=0,alimiter=level=0:latency=1,aformat=sample_fmts=fltp";
  }
  const int result = graph_.open(true, std::vector<std::string>(tracks_.size(), source), filters + "[out]");
  if (result >= 0) graph_.setFrameSize(unsigned(encoder_->frame_size));
  return result;
}

int SoundMixer::take(const AVPacket& packet) {
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    if (tracks_[i]->source()->index != packet.stream_index) continue;
    if (const int result = tracks_[i]->take(&packet); result < 0) return result;
    if (const int result = pump(i); result < 0) return result;
    const std::int64_t least = tracks_[i]->end() - std::int64_t(kLongestWait) * form_.rate;
    for (std::size_t other = 0; other < tracks_.size(); ++other) {
      if (tracks_[other]->end() >= least) continue;
      if (const int result = tracks_[other]->fillTo(least); result < 0) return result;
      if (const int result = pump(other); result < 0) return result;
    }
    return encodeAll();
  }
  return 0;
}

int SoundMixer::pump(std::size_t index) {
  while (const Frame piece = tracks_[index]->next()) {
    if (const int result = graph_.push(index, piece.get()); result < 0) return result;
  }
  return 0;
}

int SoundMixer::finish() {
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    int result = tracks_[i]->take(nullptr);
    if (result >= 0) result = pump(i);
    if (result >= 0) result = graph_.push(i, nullptr);
    if (result < 0) return result;
  }
  const int result = encodeAll();
  return result < 0 ? result : encode(nullptr);
}

int SoundMixer::encodeAll() {
  const Frame sound(av_frame_alloc());
  if (!sound) return AVERROR(ENOMEM);
  for (;;) {
    int result = graph_.pull(sound.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
    if (result >= 0) result = encode(sound.get());
    if (result < 0) return result;
    av_frame_unref(sound.get());
  }
}

int SoundMixer::encode(const AVFrame* sound) {
  const Packet packet(av_packet_alloc());
  if (!packet) return AVERROR(ENOMEM);
  int result = avcodec_send_frame(encoder_.get(), sound);
  while (result >= 0) {
    result = avcodec_receive_packet(encoder_.get(), packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
    if (result >= 0) result = output_.write(*packet, stream_, encoder_->time_base);
  }
  return result;
}
