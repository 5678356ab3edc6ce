#pragma once

#include "platform/Foundation/NSError.h"

#include <optional>
#include <string>

namespace publishing {

/// Every address that publishing talks to. Nothing else in the program names a server.
struct ServiceAddresses {
  std::string authorization;  ///< the page for the person's browser
  std::string token;          ///< codes and refresh tokens are exchanged here
  std::string upload;         ///< upload sessions start here; its query is part of the address
  std::string video;          ///< a video's identifier behind this is its address
  std::string scope;          ///< what the sign-in asks for

  /// The video service itself.
  static ServiceAddresses service();
  /// A server at `base`, for example `http://127.0.0.1:8080`, with /authorize, /token, /upload/videos and /watch. Only
  /// loopback addresses (127.0.0.1, [::1], localhost) are taken; anything else gives an error.
  static std::optional<ServiceAddresses> loopback(const std::string& base, NSErrorPtr* error);
  /// `service()`, or `loopback()` of the environment variable ZEVANTI_PUBLISHING_SERVER when that is set. The variable
  /// is ignored in a process with more rights than the one that started it. An address there that isn't a loopback
  /// address is an error, so that what was meant as a trial is never published.
  static std::optional<ServiceAddresses> configured(NSErrorPtr* error);
};

/// Scheme, host and port, in lower case, with the scheme's own port when none is given. Empty when there is no host.
std::string originOf(const std::string& address);
/// Whether the address' host is 127.0.0.1, [::1] or localhost.
bool isLoopback(const std::string& address);

}  // namespace publishing
