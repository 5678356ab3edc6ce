#pragma once

#include <optional>
#include <string>
#include <vector>

/// The private directory for the movies that are being worked on: "zevanti/" in the user's cache directory
/// ($XDG_CACHE_HOME, else ~/.cache), absolute, with its trailing separator. The host makes it; the extension only uses
/// it. The same in both processes, and constant during a run.
const std::string& temporaryDirectoryPath();

/// What the host tells the extension when it starts it, apart from the items to edit. It travels in environment
/// variables, so that an extension can also be started by hand when something has to be looked into.
struct ExtensionLaunch {
  struct Size {
    int width = 0, height = 0;
  };

  std::optional<Size> size;    ///< ZEVANTI_SIZE, "WxH" in points; nothing: the whole screen
  float scale = 0;             ///< ZEVANTI_SCALE, pixels in a point; 0: the screen's own
  bool offscreen = false;      ///< ZEVANTI_OFFSCREEN, "1": no window, no sound
  bool pad = false;            ///< ZEVANTI_IDIOM, "pad" or "phone"
  std::string library;         ///< ZEVANTI_LIBRARY, absolute folder of saved movies; empty: the default one
  std::string appName;         ///< ZEVANTI_APP_NAME, for the window's title and the names of saved movies
  std::string script;          ///< ZEVANTI_SCRIPT, a file of steps to carry out; empty: none
  int connection = -1;         ///< ZEVANTI_CONNECTION, the inherited descriptor of the private connection; -1: none
  std::optional<int> quality;  ///< ZEVANTI_GRAPHICS_QUALITY, the device's graphics quality instead of the found one

  /// Reads the variables; one that makes no sense counts as not given. The connection's variable is removed, so that
  /// no program started later sees it. Call before there are other threads.
  static ExtensionLaunch takeFromEnvironment();
  /// "NAME=value" for all of it, for the extension's environment; the quality only when it is set.
  std::vector<std::string> environment() const;
};

/// "WIDTHxHEIGHT", each from 1 to 16384.
std::optional<ExtensionLaunch::Size> parseSize(const std::string& text);
/// A factor from 0.25 to 8, with a decimal point whatever the locale.
std::optional<float> parseScale(const std::string& text);
