#include "platform/backends/qt/ActivityIndicatorVisual.h"

#include "platform/UIKit/UIActivityIndicatorView.h"
#include "platform/backends/qt/LayerItem.h"

#include <QPainter>
#include <chrono>

namespace {

constexpr int kPetals = 12;
constexpr std::chrono::milliseconds kTurn(1000);
const QColor kGray(140, 140, 145);

std::vector<QImage> paint(QSize pixels, const QColor& color) {
  std::vector<QImage> pictures;
  const qreal side = pixels.width();
  for (int first = 0; first < kPetals; ++first) {
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.translate(side / 2, side / 2);
    for (int petal = 0; petal < kPetals; ++petal) {
      const int age = (first - petal + kPetals) % kPetals;
      QColor shade = color;
      shade.setAlphaF(static_cast<float>(1.0 - 0.78 * age / (kPetals - 1)));
      painter.setBrush(shade);
      painter.save();
      painter.rotate(petal * 360.0 / kPetals);
      const QRectF blade(-side * 0.045, -side / 2, side * 0.09, side * 0.26);
      painter.drawRoundedRect(blade, blade.width() / 2, blade.width() / 2);
      painter.restore();
    }
    pictures.push_back(image);
  }
  return pictures;
}

}  // namespace

ActivityIndicatorVisual::ActivityIndicatorVisual(LayerItem& host) : LayerVisual(host), item_(new PictureItem(&host)) {
  clock_.setInterval(kTurn / kPetals);
  QObject::connect(&clock_, &QTimer::timeout, item_, [this] { turn(); });
  QObject::connect(item_, &QQuickItem::visibleChanged, item_, [this] { runClock(); });
}

ActivityIndicatorVisual::~ActivityIndicatorVisual() {
  item_->disconnect();  // it goes after this, and tells then that it can't be seen any more
}

void ActivityIndicatorVisual::update(CALayer& layer) {
  const auto* wheel = dynamic_cast<const UIActivityIndicatorView*>(layer.view());
  if (!wheel) {
    return;
  }
  const QSize pixels = (host().size() * host().pixelRatio()).toSize();
  const QColor color = wheel->activityIndicatorViewStyle() == UIActivityIndicatorViewStyle::Gray ? kGray : Qt::white;
  if (pixels != pixels_ || color != color_) {
    pixels_ = pixels;
    color_ = color;
    pictures_ = pixels.isEmpty() ? std::vector<QImage>() : paint(pixels, color);
  }
  item_->setSize(host().size());
  turns_ = wheel->isAnimating();
  item_->setImage(turns_ && !pictures_.empty() ? pictures_[shown_] : QImage());
  runClock();
}

void ActivityIndicatorVisual::runClock() {
  const bool runs = turns_ && item_->isVisible() && !pictures_.empty();
  if (runs == clock_.isActive()) {
    return;
  }
  if (runs) {
    clock_.start();
  } else {
    clock_.stop();
  }
}

void ActivityIndicatorVisual::turn() {
  shown_ = (shown_ + 1) % pictures_.size();
  item_->setImage(pictures_[shown_]);
}
