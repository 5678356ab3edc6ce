#include "platform/UIKit/UIFont.h"

#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/Typesetting.h"

#include <QFontMetricsF>
#include <QTextLayout>
#include <algorithm>

CGSize UITextSize(const std::string& text, const UIFont& font) {
  const QString line = QString::fromStdString(text);
  const QFontMetricsF metrics(toQFont(font, line));
  return {static_cast<CGFloat>(metrics.horizontalAdvance(line)), static_cast<CGFloat>(metrics.height())};
}

CGSize UITextSizeInWidth(const std::string& text, const UIFont& font, CGFloat width) {
  const QString all = QString::fromStdString(text);
  const QFont qFont = toQFont(font, all);
  const QFontMetricsF metrics(qFont);
  QTextOption option;
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  QSizeF size;
  for (const QString& paragraph : all.split(QLatin1Char('\n'))) {
    QTextLayout layout(typeset(paragraph), qFont);
    layout.setTextOption(option);
    layout.beginLayout();
    while (true) {
      QTextLine line = layout.createLine();
      if (!line.isValid()) break;
      line.setLineWidth(width);
      size.setWidth(std::max(size.width(), line.naturalTextWidth()));
      size.rheight() += line.height();
    }
    layout.endLayout();
    if (paragraph.isEmpty() && layout.lineCount() == 0) size.rheight() += metrics.height();
  }
  return toCGSize(size);
}
