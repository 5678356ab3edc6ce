#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QString>

/// The same pixels, shared, not copied: the QImage keeps the CGImage alive. Null for null.
QImage toQImage(const CGImageRef& image);
/// A copy of the pixels.
CGImageRef toCGImage(const QImage& image);
QColor toQColor(const UIColor& color);
/// The system font: Inter where it is installed, else the desktop's own sans serif. For `text` in Latin letters other
/// fonts are not even looked for, which at the program's start takes longer than all text together.
QFont toQFont(const UIFont& font, const QString& text = {});

inline QPointF toQPointF(CGPoint p) {
  return {p.x, p.y};
}
inline QRectF toQRectF(CGRect r) {
  return {r.origin.x, r.origin.y, r.size.width, r.size.height};
}
inline CGPoint toCGPoint(QPointF p) {
  return {static_cast<CGFloat>(p.x()), static_cast<CGFloat>(p.y())};
}
inline CGSize toCGSize(QSizeF s) {
  return {static_cast<CGFloat>(s.width()), static_cast<CGFloat>(s.height())};
}
