#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/backends/qt/QtConversions.h"

#include <QPainter>
#include <QPainterPath>
#include <QtMath>
#include <memory>
#include <vector>

/// A canvas under way. `image` may be empty (a size of zero): drawing into it does nothing.
struct CGContext {
  CGContext(CGSize size, bool isOpaque, float pixelRatio)
      : image(qRound(size.width * pixelRatio), qRound(size.height * pixelRatio),
              isOpaque ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied),
        scale(pixelRatio) {
    if (!image.isNull()) {
      image.fill(isOpaque ? Qt::black : Qt::transparent);
      painter = std::make_unique<QPainter>(&image);
      painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
      painter->scale(scale, scale);
    }
  }

  QImage image;
  float scale;
  QColor fill = Qt::black;
  std::unique_ptr<QPainter> painter;  // ends before the image goes
};

namespace {

std::vector<std::unique_ptr<CGContext>>& contexts() {
  static std::vector<std::unique_ptr<CGContext>> stack;
  return stack;
}

}  // namespace

void UIGraphicsBeginImageContextWithOptions(CGSize size, bool opaque, CGFloat scale) {
  contexts().push_back(std::make_unique<CGContext>(size, opaque, scale > 0 ? scale : UIScreen::mainScreen().scale()));
}

Strong<UIImage> UIGraphicsGetImageFromCurrentImageContext() {
  const CGContext* context = UIGraphicsGetCurrentContext();
  if (!context || context->image.isNull()) {
    return nullptr;
  }
  return std::make_shared<UIImage>(toCGImage(context->image), context->scale);
}

void UIGraphicsEndImageContext() {
  if (!contexts().empty()) {
    contexts().pop_back();
  }
}

CGContext* UIGraphicsGetCurrentContext() {
  return contexts().empty() ? nullptr : contexts().back().get();
}

void CGContextSetGrayFillColor(CGContext* context, CGFloat gray, CGFloat alpha) {
  if (context) {
    context->fill = QColor::fromRgbF(gray, gray, gray, alpha);
  }
}

void CGContextFillRect(CGContext* context, CGRect rect) {
  if (context && context->painter) {
    context->painter->fillRect(toQRectF(rect), context->fill);
  }
}

void UIImage::drawAtPoint_blendMode_alpha(CGPoint point, CGBlendMode mode, CGFloat alpha) const {
  const CGContext* context = UIGraphicsGetCurrentContext();
  if (!context || !context->painter || !image_) {
    return;
  }
  QPainter& painter = *context->painter;
  painter.save();
  painter.setCompositionMode(mode == CGBlendMode::DestinationOut ? QPainter::CompositionMode_DestinationOut
                                                                 : QPainter::CompositionMode_SourceOver);
  painter.setOpacity(alpha);
  painter.drawImage(QRectF(toQPointF(point), QSizeF(size().width, size().height)), toQImage(image_));
  painter.restore();
}

Strong<UIImage> UIImage::_applicationIconImageForFormat_precomposed_scale(int format, bool precomposed,
                                                                          float scale) const {
  constexpr CGFloat side = 29, radius = 6.5F;  // points
  if (format != 0 || !image_ || scale <= 0) {
    return nullptr;
  }
  CGContext canvas({side, side}, false, scale);
  QPainterPath shape;
  if (precomposed) {
    shape.addRect(0, 0, side, side);
  } else {
    shape.addRoundedRect(QRectF(0, 0, side, side), radius, radius);
  }
  canvas.painter->setClipPath(shape);
  canvas.painter->drawImage(QRectF(0, 0, side, side), toQImage(image_));
  canvas.painter->end();
  return std::make_shared<UIImage>(toCGImage(canvas.image), scale);
}
