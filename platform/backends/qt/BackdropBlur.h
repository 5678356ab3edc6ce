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

  /// A backdrop that covers `place` in a window that covers `bounds`, in points. What lies outside the window does not
  /// count: the window's edge goes on there.
  BackdropBlur(QRectF place, QRectF bounds);

  /// The area whose contents count, in window coordinates.
  QRectF reach() const { return reach_; }

  // What is behind, from back to front; nothing is black.
  void addColor(QRectF place, const QColor& color, qreal opacity);
  void addPicture(QRectF place, const QImage& picture, qreal opacity);

  /// The backdrop's picture, to be stretched smoothly over its place.
  QImage result() const;

 private:
  QRectF place_, reach_;
  QRect cells_;  ///< of the place itself in the canvas
  QTransform toCells_;
  QImage canvas_;
};
