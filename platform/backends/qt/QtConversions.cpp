#include "platform/backends/qt/QtConversions.h"

#include <algorithm>
#include <cstring>

QImage toQImage(const CGImageRef& image) {
  if (!image || image->width <= 0 || image->height <= 0) {
    return {};
  }
  const auto format = image->opaque ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied;
  return QImage(
      image->pixels.data(), image->width, image->height, static_cast<qsizetype>(image->stride), format,
      [](void* owner) { delete static_cast<CGImageRef*>(owner); }, new CGImageRef(image));
}

CGImageRef toCGImage(const QImage& image) {
  if (image.isNull()) {
    return nullptr;
  }
  const QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  auto result = std::make_shared<CGImage>(source.width(), source.height());
  for (int y = 0; y < source.height(); ++y) {
    std::memcpy(result->pixels.data() + static_cast<std::size_t>(y) * result->stride, source.constScanLine(y),
                static_cast<std::size_t>(source.width()) * 4);
  }
  result->opaque = !image.hasAlphaChannel();
  return result;
}

QColor toQColor(const UIColor& color) {
  return QColor::fromRgbF(color.red, color.green, color.blue, color.alpha);
}

QFont toQFont(const UIFont& font, const QString& text) {
  constexpr char16_t kEndOfLatin = 0x250;  // every sans serif font has what is before
  QFont result;
  const bool isLatin = std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < kEndOfLatin; });
  // Always set: a text item takes what is not from the application's font, which is for Latin.
  result.setStyleStrategy(isLatin ? QFont::NoFontMerging : QFont::PreferDefault);
  result.setFamilies({QStringLiteral("Inter"), QStringLiteral("sans-serif")});
  result.setPixelSize(std::max(1, qRound(font.pointSize)));
  result.setWeight(font.semibold ? QFont::DemiBold : QFont::Normal);
  return result;
}
