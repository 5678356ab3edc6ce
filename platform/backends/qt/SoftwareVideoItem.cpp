#include "platform/backends/qt/SoftwareVideoItem.h"

#include "platform/AVFoundation/AVVideoOutput.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/QtConversions.h"

#include <QCoreApplication>
#include <QEvent>
#include <cmath>

/// Fetches the newest picture once for each frame of the window, however many the player made meanwhile.
class SoftwareVideoItem::Screen : public PictureItem {
 public:
  explicit Screen(LayerItem& host) : PictureItem(&host), host_(host) {}
  ~Screen() override { connectTo(nullptr); }

  void connectTo(const std::shared_ptr<AVVideoOutput>& output) {
    if (output == output_) {
      return;
    }
    if (output_) {
      output_->setFrameHandler(nullptr);
      output_->setTargetSize(0, 0);
    }
    output_ = output;
    if (output_) {
      // On the player's thread. The item outlives the handler: the connection ends before the item does.
      output_->setFrameHandler([this] {
        if (!frameAnnounced_.exchange(true)) {
          QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
        }
      });
    }
    polish();
  }

  void fitTo(QSize pixels) {
    if (output_) {
      output_->setTargetSize(pixels.width(), pixels.height());
    }
    polish();
  }

 protected:
  bool event(QEvent* event) override {
    if (event->type() != QEvent::User) {
      return PictureItem::event(event);
    }
    frameAnnounced_ = false;
    polish();
    return true;
  }

  void updatePolish() override {
    const CGImageRef frame = output_ ? output_->copyFrame() : nullptr;
    if (frame != frame_) {
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
  std::shared_ptr<AVVideoOutput> output_;
  CGImageRef frame_;
  std::atomic<bool> frameAnnounced_ = false;
};

SoftwareVideoItem::SoftwareVideoItem(LayerItem& host) : screen_(new Screen(host)) {}

SoftwareVideoItem::~SoftwareVideoItem() {
  delete screen_;
}

void SoftwareVideoItem::show(const std::shared_ptr<AVVideoOutput>& output) {
  auto* host = static_cast<LayerItem*>(screen_->parentItem());
  screen_->connectTo(output);
  screen_->fitTo((host->size() * host->pixelRatio()).toSize());
}

LayerVisual::Picture SoftwareVideoItem::pictureBehind() {
  return {screen_->image(), QRectF(screen_->position(), screen_->size()), screen_->image().cacheKey()};
}
