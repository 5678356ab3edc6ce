#pragma once

#include <optional>

namespace publishing {

/// How long to wait before another try: twice as long each time, up to a limit, less a random part of up to a half so
/// that many programs don't all come back at once.
class RetryDelays {
 public:
  struct Times {
    double first = 1, most = 64;  ///< seconds
    int tries = 30;               ///< without any progress: about half an hour
    double longestAsked = 600;    ///< seconds that a server may ask for at most
  };

  explicit RetryDelays(Times times) : times_(times) {}

  /// Seconds to wait before the next try; nothing when there were enough. `asked` are the seconds that the server
  /// wants.
  std::optional<double> next(std::optional<double> asked);
  /// Something worked.
  void reset() { tried_ = 0; }

 private:
  Times times_;
  int tried_ = 0;
};

}  // namespace publishing
