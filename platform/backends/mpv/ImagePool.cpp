#include "platform/backends/mpv/ImagePool.h"

namespace {
// One on screen, one on its way there, one being drawn.
constexpr std::size_t keptSpare = 3;
}  // namespace

std::shared_ptr<CGImage> ImagePool::take(int width, int height) {
  std::unique_ptr<CGImage> image;
  {
    const std::lock_guard lock(mutex_);
    if (width != width_ || height != height_) {
      spare_.clear();
      width_ = width;
      height_ = height;
    }
    if (!spare_.empty()) {
      image = std::move(spare_.back());
      spare_.pop_back();
    }
  }
  if (!image) {
    image = std::make_unique<CGImage>(width, height);
    image->opaque = true;
  }
  return {image.release(), [weak = weak_from_this()](CGImage* done) {
            std::unique_ptr<CGImage> owned(done);
            if (const auto pool = weak.lock()) {
              pool->giveBack(std::move(owned));
            }
          }};
}

void ImagePool::giveBack(std::unique_ptr<CGImage> image) {
  const std::lock_guard lock(mutex_);
  if (image->width == width_ && image->height == height_ && spare_.size() < keptSpare) {
    spare_.push_back(std::move(image));
  }
}
