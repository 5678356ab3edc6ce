#pragma once

#include "platform/backends/qt/EditorWindow.h"

#include <memory>

class QGuiApplication;

/// Chooses how the window is drawn and connects to the window system.
namespace WindowSystem {

/// See EditorWindow::prepareEnvironment.
void prepareEnvironment(const EditorWindow::Options& options);

/// Software rendering where no graphics processor is (or offscreen), OpenGL elsewhere; ZEVANTI_RENDERER=software or
/// =opengl overrides. Tells UIDevice. To be called once.
std::unique_ptr<QGuiApplication> connect(int& argc, char** argv, const EditorWindow::Options& options);

}  // namespace WindowSystem
