#pragma once

#include "platform/CoreGraphics/CGImage.h"

#include <functional>

/// Where a player's pictures come out. The window's back end pulls them; the editor never sees this.
class AVVideoOutput {
 public:
  virtual ~AVVideoOutput() = default;

  /// The size in pixels of the area that shows the video; pictures are rendered to fit inside it, aspect kept, and are
  /// exactly as large as the picture itself (no bars). 0 × 0 renders nothing. Any thread.
  virtual void setTargetSize(int width, int height) = 0;

  /// Called whenever a new picture can be fetched, on the player's own render thread. Null removes it; after the call
  /// returns the old handler is not running and won't be called again.
  virtual void setFrameHandler(std::function<void()> handler) = 0;

  /// The newest picture (software rendering), or null when there is none yet. Any thread.
  virtual CGImageRef copyFrame() = 0;

  // OpenGL rendering. All three with the same context current.

  /// Connects to an OpenGL context; `getProcAddress` looks up its functions.
  virtual void startOpenGL(std::function<void*(const char*)> getProcAddress) = 0;
  /// Draws the newest picture, fitted with black bars, into a frame buffer of width × height pixels. What is in there
  /// stays until there is a picture.
  virtual void renderOpenGL(int framebuffer, int width, int height) = 0;
  virtual void stopOpenGL() = 0;
};
