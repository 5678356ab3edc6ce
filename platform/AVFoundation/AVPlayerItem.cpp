#include "platform/AVFoundation/AVPlayerItem.h"

Strong<AVPlayerItem> AVPlayerItem::initWithAsset(const Strong<AVURLAsset>& asset) {
  auto item = std::make_shared<AVPlayerItem>();
  item->asset_ = asset;
  return item;
}

CMTime AVPlayerItem::currentTime() const {
  const CMTime time = clock_ ? clock_() : kCMTimeInvalid;
  return time.isValid() ? time : kCMTimeZero;
}

std::vector<CMTimeRange> AVPlayerItem::loadedTimeRanges() const {
  if (status_ != AVPlayerItemStatus::ReadyToPlay || !duration_.isValid()) {
    return {};
  }
  return {CMTimeRangeMake(CMTime{0, duration_.timescale}, duration_)};
}
