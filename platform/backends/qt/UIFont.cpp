#include "platform/UIKit/UIFont.h"

#include "platform/backends/qt/QtConversions.h"

#include <QFontMetricsF>

CGSize UITextSize(const std::string& text, const UIFont& font) {
  const QString line = QString::fromStdString(text);
  const QFontMetricsF metrics(toQFont(font, line));
  return {static_cast<CGFloat>(metrics.horizontalAdvance(line)), static_cast<CGFloat>(metrics.height())};
}
