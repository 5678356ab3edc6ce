#include "platform/backends/qt/SymbolProvider.h"

#include "platform/backends/qt/VectorImage.h"

QImage SymbolProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  const QImage image = VectorImage(QStringLiteral(":/Zevanti/symbols/%1.svg").arg(id)).draw(requestedSize);
  *size = image.size();
  return image;
}
