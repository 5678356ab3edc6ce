#include "platform/backends/qt/BackdropBlur.h"

#include <QPainter>
#include <QTransform>
#include <QtMath>
#include <algorithm>
#include <array>
#include <cmath>

namespace {

/// Three passes of a box of this radius (in cells) come close to a Gaussian with a standard deviation of 18 points.
constexpr int kBoxRadius = 4;
constexpr int kPasses = 3;
static_assert(kBoxRadius * kPasses == BackdropBlur::kMargin);

/// The light look: colours made livelier, then covered with a white that lets a little of them through.
constexpr float kSaturation = 1.8F;
constexpr float kWhite = 0.97F * 255;
constexpr float kWhiteAlpha = 0.88F;

using Pixel = std::array<float, 3>;

/// Averages `count` pixels that lie `step` apart with their neighbours; the border pixels count for what is beyond.
void boxBlur(Pixel* line, int count, std::ptrdiff_t step, std::vector<Pixel>& scratch) {
  scratch.resize(static_cast<std::size_t>(count));
  const auto at = [&](int i) -> const Pixel& { return line[std::clamp(i, 0, count - 1) * step]; };
  Pixel sum{};
  for (int i = -kBoxRadius; i <= kBoxRadius; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      sum[c] += at(i)[c];
    }
  }
  for (int i = 0; i < count; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      scratch[static_cast<std::size_t>(i)][c] = sum[c] / (2 * kBoxRadius + 1);
      sum[c] += at(i + kBoxRadius + 1)[c] - at(i - kBoxRadius)[c];
    }
  }
  for (int i = 0; i < count; ++i) {
    line[i * step] = scratch[static_cast<std::size_t>(i)];
  }
}

QRgb whitened(const Pixel& pixel) {
  const float luma = 0.2126F * pixel[0] + 0.7152F * pixel[1] + 0.0722F * pixel[2];
  std::array<int, 3> out{};
  for (std::size_t c = 0; c < 3; ++c) {
    const float lively = std::clamp(luma + (pixel[c] - luma) * kSaturation, 0.0F, 255.0F);
    out[c] = static_cast<int>(std::lround(lively * (1 - kWhiteAlpha) + kWhite * kWhiteAlpha));
  }
  return qRgb(out[0], out[1], out[2]);
}

}  // namespace

BackdropBlur::BackdropBlur(QRectF place, QRectF bounds) : place_(place) {
  const QSize cells(std::max(1, qRound(place.width() / kCell)), std::max(1, qRound(place.height() / kCell)));
  const QSizeF cell(place.width() / cells.width(), place.height() / cells.height());
  const auto margin = [](qreal room, qreal size) { return std::clamp(qFloor(room / size), 0, kMargin); };
  const int left = margin(place.left() - bounds.left(), cell.width());
  const int top = margin(place.top() - bounds.top(), cell.height());
  const int right = margin(bounds.right() - place.right(), cell.width());
  const int bottom = margin(bounds.bottom() - place.bottom(), cell.height());

  cells_ = QRect(QPoint(left, top), cells);
  const QSize canvas = cells + QSize(left + right, top + bottom);
  reach_ = QRectF(place.topLeft() - QPointF(left * cell.width(), top * cell.height()),
                  QSizeF(canvas.width() * cell.width(), canvas.height() * cell.height()));
  toCells_ =
      QTransform::fromTranslate(-reach_.x(), -reach_.y()) * QTransform::fromScale(1 / cell.width(), 1 / cell.height());
  canvas_ = QImage(canvas, QImage::Format_RGB32);
  canvas_.fill(Qt::black);
}

void BackdropBlur::addColor(QRectF place, const QColor& color, qreal opacity) {
  QPainter painter(&canvas_);
  painter.setOpacity(opacity);
  painter.fillRect(toCells_.mapRect(place), color);
}

void BackdropBlur::addPicture(QRectF place, const QImage& picture, qreal opacity) {
  const QRectF seen = place & reach_;
  if (seen.isEmpty() || picture.isNull()) {
    return;
  }
  // Only the pixels that count, averaged over each cell: plain sampling would flicker with every movement.
  const QSizeF pixelsInPoint(picture.width() / place.width(), picture.height() / place.height());
  const QRect pixels =
      QRectF((seen.x() - place.x()) * pixelsInPoint.width(), (seen.y() - place.y()) * pixelsInPoint.height(),
             seen.width() * pixelsInPoint.width(), seen.height() * pixelsInPoint.height())
          .toAlignedRect() &
      picture.rect();
  if (pixels.isEmpty()) {
    return;
  }
  const QRectF target = toCells_.mapRect(
      QRectF(place.x() + pixels.x() / pixelsInPoint.width(), place.y() + pixels.y() / pixelsInPoint.height(),
             pixels.width() / pixelsInPoint.width(), pixels.height() / pixelsInPoint.height()));
  const QImage part(picture.constScanLine(pixels.y()) + static_cast<std::ptrdiff_t>(pixels.x()) * (picture.depth() / 8),
                    pixels.width(), pixels.height(), picture.bytesPerLine(), picture.format());
  const QSize coarse(std::max(1, qRound(target.width())), std::max(1, qRound(target.height())));
  QPainter painter(&canvas_);
  painter.setOpacity(opacity);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.drawImage(target, part.scaled(coarse, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
}

QImage BackdropBlur::result() const {
  const int width = canvas_.width();
  const int height = canvas_.height();
  std::vector<Pixel> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  const auto index = [width](int x, int y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
  };
  for (int y = 0; y < height; ++y) {
    const auto* line = reinterpret_cast<const QRgb*>(canvas_.constScanLine(y));
    for (int x = 0; x < width; ++x) {
      pixels[index(x, y)] = {static_cast<float>(qRed(line[x])), static_cast<float>(qGreen(line[x])),
                             static_cast<float>(qBlue(line[x]))};
    }
  }
  std::vector<Pixel> scratch;
  for (int pass = 0; pass < kPasses; ++pass) {
    for (int y = 0; y < height; ++y) {
      boxBlur(&pixels[index(0, y)], width, 1, scratch);
    }
    for (int x = 0; x < width; ++x) {
      boxBlur(&pixels[index(x, 0)], height, width, scratch);
    }
  }
  QImage result(cells_.size(), QImage::Format_RGB32);
  for (int y = 0; y < result.height(); ++y) {
    auto* line = reinterpret_cast<QRgb*>(result.scanLine(y));
    for (int x = 0; x < result.width(); ++x) {
      line[x] = whitened(pixels[index(x + cells_.x(), y + cells_.y())]);
    }
  }
  return result;
}
