#include "platform/AVFoundation/AVPlayer.h"

#include "platform/backends/mpv/AVPlayerImpl.h"

#include <utility>

AVPlayer::AVPlayer() = default;
AVPlayer::~AVPlayer() = default;

Strong<AVPlayer> AVPlayer::initWithPlayerItem(const Strong<AVPlayerItem>& item) {
  auto player = std::make_shared<AVPlayer>();
  player->impl_ = std::make_shared<Impl>(item);
  player->impl_->connect();
  player->impl_->open();
  return player;
}

const Strong<AVPlayerItem>& AVPlayer::currentItem() const {
  return impl_->item;
}

CMTime AVPlayer::currentTime() const {
  return impl_->currentTime();
}

void AVPlayer::play() {
  impl_->play();
}

void AVPlayer::pause() {
  impl_->pause();
}

float AVPlayer::rate() const {
  return impl_->playing ? 1.0F : 0.0F;
}

void AVPlayer::seekToTime(CMTime time) {
  if (time.isValid()) {
    impl_->seek(CMTimeGetSeconds(time));
  }
}

bool AVPlayer::isSeeking() const {
  return impl_->seeks->isSeeking();
}

void AVPlayer::setActionAtItemEnd(AVPlayerActionAtItemEnd action) {
  impl_->actionAtItemEnd = action;
}

Strong<NSObject> AVPlayer::addPeriodicTimeObserverForInterval_queue_usingBlock(CMTime interval,
                                                                               const dispatch_queue_t& queue,
                                                                               std::function<void(CMTime)> block) {
  return impl_->observers->addPeriodic(interval, queue, std::move(block));
}

Strong<NSObject> AVPlayer::addBoundaryTimeObserverForTimes_queue_usingBlock(std::vector<CMTime> times,
                                                                            const dispatch_queue_t& queue,
                                                                            std::function<void()> block) {
  return impl_->observers->addBoundary(std::move(times), queue, std::move(block));
}

void AVPlayer::removeTimeObserver(const Strong<NSObject>& token) {
  impl_->observers->remove(token.get());
}

const std::shared_ptr<AVVideoOutput>& AVPlayer::videoOutput() const {
  return impl_->output;
}

long AVPlayer::droppedFrameCount() const {
  // Left out by the decoder, by the core as too late or not taken off its hands, by whoever shows them.
  const long ofOutput = impl_->mpvOutput->untakenFrameCount();
  return impl_->core ? impl_->core->getLong("frame-drop-count", 0) +
                           impl_->core->getLong("decoder-frame-drop-count", 0) + ofOutput
                     : ofOutput;
}

void AVPlayer::setConfiguration(Configuration newConfiguration) {
  Impl::configuration() = newConfiguration;
}

void AVPlayer::prewarm() {
  MpvCore::prewarm(Impl::configuration());
}
