#pragma once

#include "platform/backends/qt/PictureItem.h"
#include "platform/backends/qt/VideoItem.h"

class AVVideoOutput;

/// Shows pictures that the player has rendered into memory, pixel for pixel.
class SoftwareVideoItem : public VideoItem {
 public:
  explicit SoftwareVideoItem(LayerItem& host);
  ~SoftwareVideoItem() override;
  void show(const std::shared_ptr<AVVideoOutput>& output) override;
  LayerVisual::Picture pictureBehind() override;

 private:
  class Screen;
  Screen* screen_;
};
