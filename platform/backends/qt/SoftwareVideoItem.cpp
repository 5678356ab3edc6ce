#include "platform/backends/qt/SoftwareVideoItem.h"

#include "platform/AVFoundation/AVVideoOutput.h"
#include "platform/backends/qt/FrameConnection.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/QtConversions.h"

/// Fetches the newest picture once for each frame of the window, however many the player made meanwhile.
class SoftwareVideoItem::Screen : public PictureItem {
 public:
  explicit Screen(LayerItem& host) : PictureItem(&host), host_(host) {}

  void show(const std::shared_ptr<AVVideoOutput>& output, QSize pixels) {
    frames_.connectTo(output);
    frames_.setTargetSize(pixels);
    polish();
  }

 protected:
  void updatePolish() override {
    const CGImageRef frame = frames_.output() ? frames_.output()->copyFrame() : nullptr;
    // A new player's first picture takes the place of the last one, or the screen would be black in between.
    if (frame != frame_ && (frame || !frames_.output())) {
      frame_ = frame;
      setImage(toQImage(frame));
      host_.mirror().pictureChanged();
    }
    place();
  }

 private:
  /// In the middle, on whole pixels; a picture that was made for another size is fitted until the right one comes.
  void place() {
    if (!frame_) {
      return;
    }
    const qreal ratio = host_.pixelRatio();
    const QSize area = (host_.size() * ratio).toSize();
    QSize pixels(frame_->width, frame_->height);
    const bool fits = (pixels.width() == area.width() && pixels.height() <= area.height()) ||
                      (pixels.height() == area.height() && pixels.width() <= area.width());
    if (!fits) {
      pixels.scale(area, Qt::KeepAspectRatio);
    }
    const QPoint corner((area.width() - pixels.width()) / 2, (area.height() - pixels.height()) / 2);
    setPosition(QPointF(corner) / ratio);
    setSize(QSizeF(pixels) / ratio);
  }

  LayerItem& host_;
  CGImageRef frame_;
  FrameConnection frames_{[this] { polish(); }};
};

SoftwareVideoItem::SoftwareVideoItem(LayerItem& host) : screen_(new Screen(host)) {}

SoftwareVideoItem::~SoftwareVideoItem() {
  delete screen_;
}

void SoftwareVideoItem::show(const std::shared_ptr<AVVideoOutput>& output) {
  auto* host = static_cast<LayerItem*>(screen_->parentItem());
  screen_->show(output, (host->size() * host->pixelRatio()).toSize());
}

LayerVisual::Picture SoftwareVideoItem::pictureBehind() {
  return {screen_->image(), QRectF(screen_->position(), screen_->size()), screen_->image().cacheKey()};
}
