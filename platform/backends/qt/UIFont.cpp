#include "platform/UIKit/UIFont.h"

#include "platform/backends/qt/QtConversions.h"

#include <QFontMetricsF>

CGSize UITextSize(const std::string& text, const UIFont& font) {
  const QFontMetricsF metrics(toQFont(font));
  return {static_cast<CGFloat>(metrics.horizontalAdvance(QString::fromStdString(text))),
          static_cast<CGFloat>(metrics.height())};
}
