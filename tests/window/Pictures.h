#pragma once

#include "platform/CoreGraphics/CGImage.h"
#include "tests/window/WindowTest.h"

#include <QColor>
#include <QImage>
#include <QRect>
#include <cmath>
#include <memory>

/// Pictures to show, and what is to be found in those of the window.
namespace pictures {

/// Slanted colourful tiles on a gradient.
inline CGImageRef colourful(int width, int height) {
  auto image = std::make_shared<CGImage>(width, height);
  image->opaque = true;
  for (int y = 0; y < height; ++y) {
    std::uint8_t* line = image->pixels.data() + static_cast<std::size_t>(y) * image->stride;
    for (int x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      const bool tile = std::fmod(u * 4, 1.0) > 0.3 && std::fmod(v * 7 + u, 1.0) > 0.4;
      line[4 * x] = static_cast<std::uint8_t>(tile ? 40 : 255 * v);
      line[4 * x + 1] = static_cast<std::uint8_t>(tile ? 255 * u : 90);
      line[4 * x + 2] = static_cast<std::uint8_t>(tile ? 230 : 255 * (1 - u));
      line[4 * x + 3] = 255;
    }
  }
  return image;
}

inline bool isBlue(QColor color) {
  return color.blue() > 200 && color.red() < 100;
}
inline bool isDark(QColor color) {
  return color.lightness() < 110;
}

/// A place in points of the window in pixels of its picture.
inline QRect inPixels(CGRect place) {
  const qreal ratio = theWindow().mirror().pixelRatio();
  return QRectF(place.origin.x * ratio, place.origin.y * ratio, place.size.width * ratio, place.size.height * ratio)
      .toAlignedRect();
}

inline QColor at(const QImage& picture, CGFloat x, CGFloat y) {
  return picture.pixelColor(inPixels({{x, y}, {1, 1}}).topLeft());
}

/// How many pixels of a place in points are so.
inline int count(const QImage& picture, CGRect points, bool (*is)(QColor)) {
  const QRect place = inPixels(points) & picture.rect();
  int result = 0;
  for (int y = place.top(); y <= place.bottom(); ++y) {
    for (int x = place.left(); x <= place.right(); ++x) {
      result += is(picture.pixelColor(x, y));
    }
  }
  return result;
}

}  // namespace pictures
