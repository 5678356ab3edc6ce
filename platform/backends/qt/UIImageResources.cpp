#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/VectorImage.h"

#include <QtMath>
#include <utility>

Strong<UIImage> UIImage::imageNamed_inBundle(const std::string& name, const std::shared_ptr<NSBundle>& bundle) {
  if (!bundle) {
    return nullptr;
  }
  if (const std::string path = bundle->pathForResource(name + ".svg"); !path.empty()) {
    VectorImage vector(QString::fromStdString(path));
    const float scale = UIScreen::mainScreen().scale();
    const QSizeF pixels = vector.points() * scale;
    const QImage image = vector.draw(QSize(qCeil(pixels.width()), qCeil(pixels.height())));
    return image.isNull() || !vector.isValid() ? nullptr : std::make_shared<UIImage>(toCGImage(image), scale);
  }
  for (const auto& [suffix, scale] : {std::pair{"@2x.png", 2.0F}, std::pair{".png", 1.0F}}) {
    const std::string path = bundle->pathForResource(name + suffix);
    if (const QImage image(QString::fromStdString(path)); !path.empty() && !image.isNull()) {
      return std::make_shared<UIImage>(toCGImage(image), scale);
    }
  }
  return nullptr;
}
