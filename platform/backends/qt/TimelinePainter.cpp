#include "platform/backends/qt/TimelinePainter.h"

#include "platform/backends/qt/QtConversions.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr qreal kRadius = 3;
constexpr qreal kFrame = 2;   // above and below the selection
constexpr qreal kDim = 0.55;  // of what is cut off
constexpr qreal kChevronWidth = 3.5, kChevronHeight = 10, kChevronLine = 2;
constexpr qreal kPlayheadBar = 3, kPlayheadLine = 1, kPlayheadBeyond = 3;
const QColor kEmpty(0x2c, 0x2c, 0x2e);
const QColor kEnd(0x1c, 0x1c, 0x1e), kEndHovered(0x48, 0x48, 0x4a);
const QColor kEndChevron(0xae, 0xae, 0xb2);
const QColor kTrim(0xff, 0xcc, 0x00), kTrimActive(0xff, 0xd6, 0x2e);
const QColor kTrimChevron(0x33, 0x29, 0x00);

QColor mixed(const QColor& from, const QColor& to, qreal part) {
  const auto mix = [part](int a, int b) { return static_cast<int>(std::lround(a + (b - a) * part)); };
  return QColor(mix(from.red(), to.red()), mix(from.green(), to.green()), mix(from.blue(), to.blue()),
                mix(from.alpha(), to.alpha()));
}

QColor black(qreal alpha) {
  return QColor::fromRgbF(0, 0, 0, static_cast<float>(alpha));
}

}  // namespace

qreal TimelinePainter::onPixel(qreal x) const {
  return std::round(x * ratio_) / ratio_;
}

QRectF TimelinePainter::onPixels(const QRectF& rect) const {
  return QRectF(QPointF(onPixel(rect.left()), onPixel(rect.top())),
                QPointF(onPixel(rect.right()), onPixel(rect.bottom())));
}

QImage TimelinePainter::paint(const UIMovieScrubber::Look& look, QSizeF size, qreal pixelRatio) {
  ratio_ = pixelRatio;
  QImage image((size * ratio_).toSize(), QImage::Format_ARGB32_Premultiplied);
  if (image.isNull()) {
    return image;
  }
  image.fill(Qt::transparent);
  const QRectF strip = onPixels(toQRectF(look.strip));
  if (strip.width() < 1 || strip.height() < 1) {
    return image;
  }
  QPainter painter(&image);
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  painter.scale(ratio_, ratio_);

  // Painted in whole rectangles, then cut to the rounded shape, so that no edge shows through another at the corners.
  painter.fillRect(strip, kEmpty);
  painter.setClipRect(strip);
  paintThumbnails(painter, look);
  paintSelection(painter, look, strip);
  painter.setClipping(false);

  QPainterPath outside, inside;
  outside.addRect(QRectF(QPointF(0, 0), size).adjusted(-1, -1, 1, 1));
  inside.addRoundedRect(strip, kRadius, kRadius);
  painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
  painter.fillPath(outside.subtracted(inside), Qt::black);
  return image;
}

QImage TimelinePainter::paintPlayhead(qreal stripHeight, qreal pixelRatio) {
  const qreal line = std::max(1.0, std::round(kPlayheadLine * pixelRatio));
  const qreal bar = std::max(2.0, std::round(kPlayheadBar * pixelRatio));
  const qreal height = std::round((stripHeight + 2 * kPlayheadBeyond) * pixelRatio);
  QImage image(QSizeF(bar + 2 * line, height).toSize(), QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(black(0.45));
  const QRectF outline(QPointF(0, 0), QSizeF(image.size()));
  painter.drawRoundedRect(outline, outline.width() / 2, outline.width() / 2);
  painter.setBrush(Qt::white);
  painter.drawRoundedRect(outline.adjusted(line, line, -line, -line), bar / 2, bar / 2);
  return image;
}

void TimelinePainter::paintThumbnails(QPainter& painter, const UIMovieScrubber::Look& look) {
  for (auto& [key, entry] : fitted_) {
    entry.used = false;
  }
  for (const auto& thumbnail : look.thumbnails) {
    const QRectF place = onPixels(toQRectF(thumbnail.frame));
    const QSize pixels(static_cast<int>(std::ceil(thumbnail.frame.size.width * ratio_)),
                       static_cast<int>(std::lround(place.height() * ratio_)));
    const QImage image = fitted(thumbnail.image, pixels);
    if (image.isNull()) {
      painter.fillRect(place, kEmpty);
    } else {
      painter.drawImage(QRectF(place.topLeft(), QSizeF(pixels) / ratio_), image);
    }
  }
  for (auto entry = fitted_.begin(); entry != fitted_.end();) {
    entry = entry->second.used ? std::next(entry) : fitted_.erase(entry);
  }
}

QImage TimelinePainter::fitted(const CGImageRef& image, QSize pixels) {
  if (!image || image->width < 1 || image->height < 1 || pixels.isEmpty()) {
    return {};
  }
  Fitted& entry = fitted_[{image.get(), {pixels.width(), pixels.height()}}];
  entry.used = true;
  if (entry.image.isNull()) {
    entry.original = image;
    const QImage scaled = toQImage(image).scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    entry.image = scaled
                      .copy((scaled.width() - pixels.width()) / 2, (scaled.height() - pixels.height()) / 2,
                            pixels.width(), pixels.height())
                      .convertToFormat(QImage::Format_ARGB32_Premultiplied);
  }
  return entry.image;
}

void TimelinePainter::paintSelection(QPainter& painter, const UIMovieScrubber::Look& look, const QRectF& strip) {
  const qreal start = onPixel(look.startX), end = onPixel(look.endX);
  const qreal pixel = 1 / ratio_;
  if (look.showsEnds) {
    // Beyond the first and last picture.
    const qreal left = strip.left() + look.handleWidth, right = strip.right() - look.handleWidth;
    if (strip.left() >= 0) {
      painter.fillRect(QRectF(QPointF(strip.left(), strip.top()), QPointF(left, strip.bottom())), kEnd);
    }
    if (strip.right() <= painter.device()->width() / ratio_) {
      painter.fillRect(QRectF(QPointF(right, strip.top()), QPointF(strip.right(), strip.bottom())), kEnd);
    }
    const QColor dim = black(kDim * static_cast<qreal>(look.editing));
    painter.fillRect(QRectF(strip.topLeft(), QPointF(std::max(strip.left(), start), strip.bottom())), dim);
    painter.fillRect(QRectF(QPointF(std::min(strip.right(), end), strip.top()), strip.bottomRight()), dim);
  }
  // A thin line sets the pictures off from a bright background.
  painter.setPen(QPen(black(0.5), pixel));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(strip.adjusted(pixel / 2, pixel / 2, -pixel / 2, -pixel / 2), kRadius, kRadius);
  if (!look.showsEnds) {
    return;
  }
  if (look.editing > 0) {
    QColor frame = kTrim;
    frame.setAlphaF(look.editing);
    painter.fillRect(QRectF(start, strip.top(), end - start, kFrame), frame);
    painter.fillRect(QRectF(start, strip.bottom() - kFrame, end - start, kFrame), frame);
  }
  paintHandle(painter, look, strip, start, true);
  paintHandle(painter, look, strip, end, false);
}

void TimelinePainter::paintHandle(QPainter& painter, const UIMovieScrubber::Look& look, const QRectF& strip,
                                  qreal innerEdge, bool isStart) {
  const int handle = isStart ? UIMovieScrubber::HandleStart : UIMovieScrubber::HandleEnd;
  const bool emphasised = look.activeHandle == handle || look.hoveredHandle == handle;
  const qreal part = static_cast<qreal>(look.editing);
  const QRectF body(isStart ? innerEdge - look.handleWidth : innerEdge, strip.top(), look.handleWidth, strip.height());

  // Round on the outer side only.
  QPainterPath shape;
  shape.addRoundedRect(body.adjusted(isStart ? 0 : -kRadius, 0, isStart ? kRadius : 0, 0), kRadius, kRadius);
  QPainterPath side;
  side.addRect(body);
  painter.fillPath(shape.intersected(side),
                   mixed(emphasised ? kEndHovered : kEnd, emphasised ? kTrimActive : kTrim, part));

  const qreal direction = isStart ? -1 : 1;
  const QPointF tip(body.center().x() + direction * kChevronWidth / 2, body.center().y());
  QPen pen(mixed(emphasised ? QColor(Qt::white) : kEndChevron, kTrimChevron, part), kChevronLine);
  pen.setCapStyle(Qt::RoundCap);
  pen.setJoinStyle(Qt::RoundJoin);
  painter.setPen(pen);
  painter.drawPolyline(QPolygonF({tip - QPointF(direction * kChevronWidth, kChevronHeight / 2), tip,
                                  tip - QPointF(direction * kChevronWidth, -kChevronHeight / 2)}));
}
