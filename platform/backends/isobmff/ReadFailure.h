#pragma once

#include <string>

namespace isobmff {

/// Thrown inside the reader where a file can't be understood, and caught at its door.
struct ReadFailure {
  std::string reason;  ///< goes on after the file's name
  int posixError = 0;  ///< not 0: the system refused, `reason` then says what
};

/// For anything in the index that contradicts itself or the file.
[[noreturn]] inline void failDamaged(const char* what) {
  throw ReadFailure{std::string("has a damaged index (") + what + ")."};
}

}  // namespace isobmff
