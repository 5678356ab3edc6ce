#pragma once

#include "platform/CoreGraphics/CGImage.h"

#include <memory>
#include <mutex>
#include <vector>

/// Pictures of one size, used again once nobody looks at them any more. Any thread.
class ImagePool : public std::enable_shared_from_this<ImagePool> {
 public:
  /// An opaque picture with arbitrary contents; it comes back by itself when its last reference goes.
  std::shared_ptr<CGImage> take(int width, int height);

 private:
  void giveBack(std::unique_ptr<CGImage> image);

  std::mutex mutex_;
  int width_ = 0;
  int height_ = 0;
  std::vector<std::unique_ptr<CGImage>> spare_;
};
