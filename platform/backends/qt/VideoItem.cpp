#include "platform/backends/qt/VideoItem.h"

#include "platform/backends/qt/OpenGLVideoItem.h"
#include "platform/backends/qt/SoftwareVideoItem.h"

#include <QQuickWindow>

std::unique_ptr<VideoItem> VideoItem::make(LayerItem& host) {
  if (QQuickWindow::sceneGraphBackend() != QLatin1String("software")) {
    return std::make_unique<OpenGLVideoItem>(host);
  }
  return std::make_unique<SoftwareVideoItem>(host);
}
