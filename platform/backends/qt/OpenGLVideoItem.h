#pragma once

#include "platform/backends/qt/VideoItem.h"

/// Lets the player draw its pictures with OpenGL, on the window's render thread.
class OpenGLVideoItem : public VideoItem {
 public:
  explicit OpenGLVideoItem(LayerItem& host);
  ~OpenGLVideoItem() override;
  void show(const std::shared_ptr<AVVideoOutput>& output) override;
  LayerVisual::Picture pictureBehind() override;

 private:
  class Screen;
  class Renderer;
  Screen* screen_;
};
