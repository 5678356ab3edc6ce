#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <array>
#include <cstdint>
#include <vector>

namespace isobmff {

/// A box at the top level of a file, by its place.
struct FileBox {
  FourCC type = 0;
  std::uint64_t start = 0;    ///< of its header
  std::uint64_t payload = 0;  ///< where its content begins
  std::uint64_t end = 0;      ///< at most the file's size
  bool cutOff = false;        ///< it says that it goes on behind the end of the file
};

/// Reads pieces of a file, and the list of its top-level boxes.
class FileScanner {
 public:
  /// At most this many boxes are looked at: ten hours of live fragments of one picture each are five million.
  static constexpr std::uint64_t maximumBoxes = 8'000'000;

  /// Throws ReadFailure when the file is none that can be read from any place.
  explicit FileScanner(int descriptor);

  std::uint64_t fileSize() const { return fileSize_; }

  /// The box whose header is at `position`; false at the end of the file and where no box header can be. Many small
  /// boxes in a row are read at once.
  bool boxAt(std::uint64_t position, FileBox& box);

  /// `count` bytes from `position`; throws ReadFailure when the file does not have them or can't be read.
  Bytes read(std::uint64_t position, std::uint64_t count) const;

 private:
  std::size_t readSome(std::uint64_t position, std::uint8_t* bytes, std::size_t count) const;

  int descriptor_;
  std::uint64_t fileSize_ = 0;
  std::array<std::uint8_t, 4096> window_{};  // the file's bytes from `windowStart_` on
  std::uint64_t windowStart_ = 0;
  std::size_t windowSize_ = 0;
};

}  // namespace isobmff
