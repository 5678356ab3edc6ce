#pragma once

#include <QQuickImageProvider>

/// Draws the symbols of bar items ("image://symbols/play") at the very size in pixels that is asked for.
class SymbolProvider : public QQuickImageProvider {
 public:
  SymbolProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}
  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};
