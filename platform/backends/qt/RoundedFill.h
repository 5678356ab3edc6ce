#pragma once

#include <QColor>
#include <QRectF>
#include <QSGNode>

class QImage;
class QQuickWindow;

/// The rounded rectangle that cuts what lies in it.
struct RoundedClip {
  QRectF rect;       ///< points
  qreal radius = 0;  ///< points; 0 cuts nothing

  /// Whether one of the corners cuts into `part`.
  bool cuts(const QRectF& part) const;
  /// The same, wider by so much on each side.
  RoundedClip widened(qreal by) const { return {rect.adjusted(-by, -by, by, by), radius + by}; }
  /// Makes the pixels of `image`, which stands at `place`, transparent outside.
  void cut(QImage& image, const QRectF& place) const;
  RoundedClip translated(QPointF by) const { return {rect.translated(by), radius}; }
  bool operator==(const RoundedClip&) const = default;
};

/// A rectangle of one colour, with smooth edges where the corners of a rounded rectangle cut it. The renderers
/// themselves clip at rectangles only.
class RoundedFill : public QSGNode {
 public:
  /// `ratio`: pixels in a point. What is shown never changes: the software renderer would put nodes that come later in
  /// the wrong place.
  RoundedFill(QQuickWindow& window, const QRectF& rect, const QColor& color, const RoundedClip& clip, qreal ratio);

 private:
  void addRectangle(QQuickWindow& window, const QRectF& rect, const QColor& color);
  void addPicture(QQuickWindow& window, const QRectF& rect, const QImage& picture);
};
