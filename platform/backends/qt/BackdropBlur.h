#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>
#include <vector>

/// The arithmetic of a backdrop: what lies behind it, in coarse cells, blurred and whitened. Any thread.
class BackdropBlur {
 public:
  /// Side of a cell in points. The blur is far wider than that, so nobody sees the cells.
  static constexpr qreal kCell = 4;
  /// How far outside itself a backdrop looks, in cells.
  static constexpr int kMargin = 12;

  /// A backdrop that covers `place` (in the window, in points).
  explicit BackdropBlur(QRectF place);

  /// The area whose contents count, in window coordinates.
  QRectF reach() const { return reach_; }

  // What is behind, from back to front; nothing is black.
  void addColor(QRectF place, const QColor& color, qreal opacity);
  void addPicture(QRectF place, const QImage& picture, qreal opacity);

  /// The backdrop's picture, to be stretched smoothly over its place.
  QImage result() const;

 private:
  QRectF place_, reach_;
  QSize cells_;  ///< of the place itself
  QTransform toCells_;
  QImage canvas_;
};
