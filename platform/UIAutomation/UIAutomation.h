#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"

#include <functional>
#include <string>

class UIWindow;

/// Works the program's own window from inside, through the same events that a person's mouse and keyboard make.
/// Main queue only.
class UIAutomation {
 public:
  virtual ~UIAutomation() = default;

  virtual UIWindow* window() = 0;
  enum class Pointer { Press, Move, Release };
  /// A mouse event at a place in the window, in points; it takes the way of a real one.
  virtual void sendPointer(Pointer kind, CGPoint location) = 0;
  /// "Escape", "Space", "Control+Z", "Shift+Left", ...; false when the name means no key.
  virtual bool sendKey(const std::string& name) = 0;
  /// Types the text (UTF-8), one key press for each character; "\n" is Return.
  virtual void sendText(const std::string& text) = 0;
  virtual void sendShake() = 0;
  virtual void resize(CGSize points) = 0;
  /// What the button in the window's frame does.
  virtual void closeWindow() = 0;
  /// Draws what is pending, then writes the window's picture as PNG and calls `done` (false: could not be written).
  virtual void screenshot(const std::string& path, std::function<void(bool)> done) = 0;
  /// The principal view controller of the extension.
  virtual Strong<NSObject> principalObject() = 0;
  /// Ends the program with this exit status, after the usual tidying up, as if the host had dismissed the extension.
  virtual void finish(int status) = 0;

  /// A script driver: called on the main queue as soon as the window is there. `script` is the path given to the host.
  using Driver = std::function<void(UIAutomation& automation, const std::string& script)>;
  static void setDriver(Driver driver);
  static const Driver& driver();
};
