#pragma once

#include "platform/backends/qt/LayerVisual.h"

#include <memory>

class AVVideoOutput;
class VideoItem;

/// The pictures of a player layer's player.
class VideoVisual : public LayerVisual {
 public:
  explicit VideoVisual(LayerItem& host);
  ~VideoVisual() override;
  void update(CALayer& layer) override;
  Picture pictureBehind() const override;

 private:
  std::unique_ptr<VideoItem> item_;
};
