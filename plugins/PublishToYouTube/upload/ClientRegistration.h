#pragma once

#include "platform/Foundation/NSError.h"

#include <optional>
#include <string>

namespace publishing {

/// The identifier under which the person's copy of the program is known to the video service. The person registers a
/// client of the kind "desktop application" there and puts what they are given into
///
///     $XDG_CONFIG_HOME/zevanti/publishing.json      (by default ~/.config/zevanti/publishing.json)
///
///     { "client_id": "...", "client_secret": "..." }
///
/// The secret may be left out. The file that the service offers for download, where the same two stand inside
/// "installed", can be put there as it is.
struct ClientRegistration {
  std::string identifier, secret;

  /// Reads the file; nothing and an error that names it and says what belongs there when it is missing or wrong.
  static std::optional<ClientRegistration> load(const std::string& path, NSErrorPtr* error);
  static std::string defaultPath();
};

}  // namespace publishing
