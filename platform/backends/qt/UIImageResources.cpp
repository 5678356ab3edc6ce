#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/VectorImage.h"

#include <QFile>
#include <QtMath>
#include <utility>

namespace {

Strong<UIImage> drawVector(const QString& path) {
  VectorImage vector(path);
  const float scale = UIScreen::mainScreen().scale();
  const QSizeF pixels = vector.points() * scale;
  const QImage image = vector.draw(QSize(qCeil(pixels.width()), qCeil(pixels.height())));
  return image.isNull() || !vector.isValid() ? nullptr : std::make_shared<UIImage>(toCGImage(image), scale);
}

}  // namespace

Strong<UIImage> UIImage::systemImageNamed(const std::string& name) {
  const QString path = QStringLiteral(":/Zevanti/symbols/%1.svg").arg(QString::fromStdString(name));
  return QFile::exists(path) ? drawVector(path) : nullptr;
}

Strong<UIImage> UIImage::imageNamed_inBundle(const std::string& name, const std::shared_ptr<NSBundle>& bundle) {
  if (!bundle) {
    return nullptr;
  }
  if (const std::string path = bundle->pathForResource(name + ".svg"); !path.empty()) {
    return drawVector(QString::fromStdString(path));
  }
  for (const auto& [suffix, scale] : {std::pair{"@2x.png", 2.0F}, std::pair{".png", 1.0F}}) {
    const std::string path = bundle->pathForResource(name + suffix);
    if (const QImage image(QString::fromStdString(path)); !path.empty() && !image.isNull()) {
      return std::make_shared<UIImage>(toCGImage(image), scale);
    }
  }
  return nullptr;
}
