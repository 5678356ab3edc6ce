#pragma once

#include "platform/UIKit/UIMovieScrubber.h"

#include <QImage>
#include <QRectF>
#include <QSize>
#include <QSizeF>
#include <map>
#include <utility>

class QPainter;

/// Paints a timeline's strip: pictures, the dimmed part, handles and the frame between them; and by itself the
/// playhead, which moves without the rest. Keeps the pictures at the size they are shown. Main thread.
class TimelinePainter {
 public:
  /// `size` in points, `pixelRatio` pixels a point. Edges lie on whole pixels.
  QImage paint(const UIMovieScrubber::Look& look, QSizeF size, qreal pixelRatio);

  /// A playhead for a strip of a height in points; a little higher than that, its middle in the middle.
  static QImage paintPlayhead(qreal stripHeight, qreal pixelRatio);

 private:
  void paintThumbnails(QPainter& painter, const UIMovieScrubber::Look& look);
  void paintSelection(QPainter& painter, const UIMovieScrubber::Look& look, const QRectF& strip);
  void paintHandle(QPainter& painter, const UIMovieScrubber::Look& look, const QRectF& strip, qreal innerEdge,
                   bool isStart);
  QImage fitted(const CGImageRef& image, QSize pixels);
  qreal onPixel(qreal x) const;
  QRectF onPixels(const QRectF& rect) const;

  qreal ratio_ = 1;
  /// By picture and size. The reference keeps the address from being given to another picture.
  struct Fitted {
    CGImageRef original;
    QImage image;
    bool used = false;
  };
  std::map<std::pair<const CGImage*, std::pair<int, int>>, Fitted> fitted_;
};
