#include "platform/backends/ffmpeg/PictureTrack.h"

#include "platform/backends/ffmpeg/PictureSize.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

constexpr std::size_t kWaiting = 4;  // pictures; each may have many megabytes
constexpr unsigned kThreads = 16;

}  // namespace

PictureTrack::PictureTrack(AVStream* source, std::int64_t startTime, MovieOutput& output, bool hardware)
    : source_(source),
      startTime_(startTime),
      output_(output),
      stream_(output.addStream()),
      hardware_(hardware),
      converter_(source->time_base) {}

PictureTrack::~PictureTrack() {
  {
    const std::lock_guard lock(mutex_);
    waiting_.clear();
    if (result_ == 0) result_ = AVERROR_EXIT;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

int PictureTrack::open() {
  if (!stream_) return AVERROR(ENOMEM);
  const AVCodec* codec = avcodec_find_decoder(source_->codecpar->codec_id);
  if (!codec) return AVERROR_DECODER_NOT_FOUND;
  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_) return AVERROR(ENOMEM);
  int result = avcodec_parameters_to_context(decoder_.get(), source_->codecpar);
  decoder_->pkt_timebase = source_->time_base;
  limitPictures(decoder_.get());
  decoder_->thread_count = decodingThreads(
      pixelsOf(source_->codecpar), static_cast<int>(std::min(std::thread::hardware_concurrency() + 1, kThreads)));
  if (result >= 0) result = avcodec_open2(decoder_.get(), codec, nullptr);
  if (result < 0) return result;
  thread_ = std::thread([this] { encodeAll(); });
  return 0;
}

int PictureTrack::take(const AVPacket* packet) {
  int result = avcodec_send_packet(decoder_.get(), packet);
  if (result == AVERROR(ENOMEM)) return result;
  // What is damaged is left out, as players do.
  if (result = drain(); result < 0 || packet) return result;
  return early_ && count_ == 0 ? queue(std::move(early_)) : 0;
}

int PictureTrack::drain() {
  for (;;) {
    Frame picture(av_frame_alloc());
    if (!picture) return AVERROR(ENOMEM);
    const int result = avcodec_receive_frame(decoder_.get(), picture.get());
    if (result == AVERROR(ENOMEM)) return result;
    if (result < 0) return 0;
    std::int64_t time = picture->best_effort_timestamp;
    if (time != AV_NOPTS_VALUE) time -= startTime_;
    if (time == AV_NOPTS_VALUE)
      time = lastTime_ == AV_NOPTS_VALUE ? 0 : lastTime_ + std::max<std::int64_t>(1, lastDuration_);
    picture->pts = time;
    if (time < 0 && count_ == 0) {
      early_ = std::move(picture);
      continue;
    }
    if (time > 0 && count_ == 0 && early_) {
      if (const int queued = queue(std::move(early_)); queued < 0) return queued;
    }
    if (const int queued = queue(std::move(picture)); queued < 0) return queued;
  }
}

int PictureTrack::queue(Frame picture) {
  if (picture->pts < 0) {
    picture->pkt_duration = std::max<std::int64_t>(0, picture->pkt_duration + picture->pts);
    picture->pts = 0;
  }
  // Two at one time: the second would hide the first at once, or comes too late.
  if (lastTime_ != AV_NOPTS_VALUE && picture->pts <= lastTime_) return 0;
  lastTime_ = picture->pts;
  lastDuration_ = picture->pkt_duration;
  ++count_;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return waiting_.size() < kWaiting || result_ < 0; });
  if (result_ < 0) return result_;
  waiting_.push_back(std::move(picture));
  changed_.notify_all();
  return 0;
}

int PictureTrack::finish() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
  return result_;
}

void PictureTrack::encodeAll() {
  int result = 0;
  for (bool done = false; result >= 0 && !done;) {
    Frame picture;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return !waiting_.empty() || ended_ || result_ < 0; });
      if (result_ < 0) return;
      done = waiting_.empty();
      if (!done) {
        picture = std::move(waiting_.front());
        waiting_.pop_front();
      }
    }
    changed_.notify_all();
    result = encode(std::move(picture));
  }
  {
    const std::lock_guard lock(mutex_);
    if (result_ == 0) result_ = std::min(result, 0);
    waiting_.clear();
  }
  changed_.notify_all();
}

int PictureTrack::openEncoder(const AVFrame& first) {
  int result = 0;
  AVRational rate = source_->avg_frame_rate;
  if (rate.num <= 0 || rate.den <= 0) rate = {30, 1};
  encoder_ = PictureEncoder::open(first, source_->time_base, rate, hardware_, &result);
  if (!encoder_) return result;
  stream_->time_base = source_->time_base;
  stream_->avg_frame_rate = source_->avg_frame_rate;
  stream_->sample_aspect_ratio = first.sample_aspect_ratio;
  result = avcodec_parameters_from_context(stream_->codecpar, encoder_->context());
  if (const std::int32_t* matrix = displayMatrix(source_)) {
    constexpr std::size_t kSize = 9 * sizeof(std::int32_t);
    std::uint8_t* copy = av_stream_new_side_data(stream_, AV_PKT_DATA_DISPLAYMATRIX, kSize);
    if (!copy) return AVERROR(ENOMEM);
    std::copy_n(reinterpret_cast<const std::uint8_t*>(matrix), kSize, copy);
  }
  return result < 0 ? result : output_.streamIsReady();
}

/// Null for the end.
int PictureTrack::encode(Frame picture) {
  if (!picture && !encoder_) return 0;  // no picture at all
  if (picture) {
    if (const int result = converter_.convert(picture); result < 0) return result;
    if (!encoder_) {
      if (const int result = openEncoder(*picture); result < 0) return result;
    }
    picture->pict_type = AV_PICTURE_TYPE_NONE;  // the encoder's choice
    picture->key_frame = 0;
    durations_[picture->pts] = picture->pkt_duration;
  }
  const int result = encoder_->send(picture.get());
  if (result < 0) hardwareFailed_ = encoder_->isHardware();
  return result < 0 ? result : writePackets();
}

int PictureTrack::writePackets() {
  const Packet packet(av_packet_alloc());
  if (!packet) return AVERROR(ENOMEM);
  for (;;) {
    const int result = encoder_->receive(packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
    if (result < 0) {
      hardwareFailed_ = encoder_->isHardware();
      return result;
    }
    if (const auto found = durations_.find(packet->pts); found != durations_.end()) {
      packet->duration = found->second;
      durations_.erase(found);
    }
    if (const int written = output_.write(*packet, stream_, source_->time_base); written < 0) return written;
  }
}
