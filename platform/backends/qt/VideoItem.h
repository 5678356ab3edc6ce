#pragma once

#include "platform/backends/qt/LayerVisual.h"

#include <QSizeF>
#include <memory>

class AVVideoOutput;
class LayerItem;
class QQuickItem;

/// What shows a player's pictures in the window, one implementation for each renderer. Main thread.
class VideoItem {
 public:
  static std::unique_ptr<VideoItem> make(LayerItem& host);
  virtual ~VideoItem() = default;

  /// Shows the pictures of `output` (null: none) in the whole host item, as large as that is now.
  virtual void show(const std::shared_ptr<AVVideoOutput>& output) = 0;
  virtual LayerVisual::Picture pictureBehind() = 0;
};
