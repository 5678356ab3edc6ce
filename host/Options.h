#pragma once

#include "platform/Foundation/ExtensionLaunch.h"

#include <string>

/// What the person asked for on the command line.
struct Options {
  enum class Request { Edit, Help, Version };
  Request request = Request::Edit;
  std::string movie;             ///< the path as given
  std::string appName;           ///< UTF-8; the file's name without extension unless given
  std::string bundleIdentifier;  ///< UTF-8
  ExtensionLaunch launch;        ///< size, scale, offscreen, idiom, library, script
};

/// Reads the command line. On a mistake: false, and `problem` says what is wrong in a line.
bool parseOptions(int argc, char* const argv[], Options& options, std::string& problem);

/// The text of --help.
extern const char* const usageText;
