#pragma once

#include <QImage>
#include <QSizeF>
#include <QString>
#include <QSvgRenderer>

/// A picture in an SVG file; its own unit is the point.
class VectorImage {
 public:
  explicit VectorImage(const QString& path) : renderer_(path) {}
  bool isValid() const { return renderer_.isValid(); }
  QSizeF points() const { return renderer_.defaultSize(); }
  /// The whole picture, `pixels` large.
  QImage draw(QSize pixels);

 private:
  QSvgRenderer renderer_;
};
