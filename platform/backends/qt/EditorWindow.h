#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/UIAutomation/UIAutomation.h"
#include "platform/UIKit/UIWindow.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// The program's one window, on screen or offscreen, and the event loop that it lives in. Everything on the main
/// thread.
class EditorWindow : public UIAutomation {
 public:
  struct Options {
    std::optional<CGSize> size;  ///< points; nothing: the whole screen (offscreen: 375 × 667)
    float scale = 0;             ///< pixels in a point; 0: the screen's own
    bool offscreen = false;
    std::string title;
  };

  /// Tells the window system's libraries what they are told by environment variables. Call before `create`, and before
  /// any thread that may look at the environment is started: one that reads it while it is added to may crash.
  static void prepareEnvironment(const Options& options);
  /// Sets up the window system connection, the main queue's thread and the event loop. Call before anything else of
  /// this class but that, and before any view is made. `argc` and `argv` must outlive the window.
  static std::unique_ptr<EditorWindow> create(int& argc, char** argv, const Options& options);
  ~EditorWindow() override = default;

  /// Fills the window with a controller's view and shows it.
  virtual void present(const Strong<UIViewController>& controller) = 0;
  /// Takes the controller out and hides the window.
  virtual void dismiss() = 0;
  /// Called when the person closes the window; the window stays until `dismiss`.
  virtual void setCloseHandler(std::function<void()> handler) = 0;
  /// Runs the event loop until `quit`; returns its status.
  virtual int run() = 0;
  virtual void quit(int status) = 0;
};
