#include "platform/backends/qt/WindowSystem.h"

#include "platform/Foundation/Environment.h"
#include "platform/UIKit/UIDevice.h"
#include "platform/backends/qt/QtConversions.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QQuickWindow>
#include <clocale>
#include <filesystem>

namespace {

constexpr int kQualityWithoutGraphicsProcessor = 10;
constexpr int kQualityWithGraphicsProcessor = 100;

bool hasGraphicsProcessor() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", error)) {
    if (entry.path().filename().string().starts_with("renderD")) {
      return true;
    }
  }
  return false;
}

bool wantsOpenGL(bool offscreen) {
  const std::string choice = environmentVariable("ZEVANTI_RENDERER");
  if (choice == "software" || choice == "opengl") {
    return choice == "opengl";
  }
  return !offscreen && hasGraphicsProcessor();
}

/// A device node is no promise of a driver.
bool canUseOpenGL() {
  QOpenGLContext context;
  QOffscreenSurface surface;
  surface.create();
  return context.create() && context.makeCurrent(&surface);
}

}  // namespace

namespace WindowSystem {

void prepareEnvironment(const EditorWindow::Options& options) {
  if (options.offscreen) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  if (options.scale > 0) {
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    qputenv("QT_SCALE_FACTOR", QByteArray::number(options.scale));
  }
  if (!qEnvironmentVariableIsSet("QT_QPA_UPDATE_IDLE_TIME")) {
    // Without this a frame waits 5 ms for more to come. Frames are requested only when something has changed.
    qputenv("QT_QPA_UPDATE_IDLE_TIME", "0");
  }
  // What the desktop knows the window by: the host's name, which a person has started.
  qputenv("RESOURCE_NAME", "zevanti");
}

std::unique_ptr<QGuiApplication> connect(int& argc, char** argv, const EditorWindow::Options& options) {
  QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
  QCoreApplication::setApplicationName(QStringLiteral("Zevanti"));
  QGuiApplication::setDesktopFileName(QStringLiteral("zevanti"));
  auto application = std::make_unique<QGuiApplication>(argc, argv);
  // Qt takes over the person's locale; numbers that programs read and write stay as they are in C.
  std::setlocale(LC_NUMERIC, "C");
  application->setQuitOnLastWindowClosed(false);
  QGuiApplication::setFont(toQFont({}));  // else every text item looks up the desktop's font before it gets its own

  const bool openGL = wantsOpenGL(options.offscreen) && canUseOpenGL();
  QQuickWindow::setGraphicsApi(openGL ? QSGRendererInterface::OpenGL : QSGRendererInterface::Software);
  UIDevice::currentDevice()->setGraphicsQuality(openGL ? kQualityWithGraphicsProcessor
                                                       : kQualityWithoutGraphicsProcessor);
  return application;
}

}  // namespace WindowSystem
