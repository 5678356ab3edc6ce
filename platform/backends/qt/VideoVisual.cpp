#include "platform/backends/qt/VideoVisual.h"

#include "platform/AVFoundation/AVPlayerLayer.h"
#include "platform/backends/qt/VideoItem.h"

VideoVisual::VideoVisual(LayerItem& host) : LayerVisual(host), item_(VideoItem::make(host)) {}

VideoVisual::~VideoVisual() = default;

void VideoVisual::update(CALayer& layer) {
  const auto* playerLayer = dynamic_cast<const AVPlayerLayer*>(&layer);
  const Strong<AVPlayer> player = playerLayer ? playerLayer->player() : nullptr;
  item_->show(player ? player->videoOutput() : nullptr);
}

LayerVisual::Picture VideoVisual::pictureBehind() const {
  return item_->pictureBehind();
}
