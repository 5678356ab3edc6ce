#pragma once

#include "tests/matrix/Reading.h"

#include <optional>
#include <string>
#include <vector>

namespace matrix {

struct Range {
  std::string name;
  double start = 0, end = 0;  ///< in the player's times, in seconds
  double length() const { return end - start; }
};

/// What a copy of a range must show and sound: times from the range's start on.
struct Expected {
  std::vector<Picture> pictures;
  double length = 0;
};

/// What a source shows and sounds, in the times of our player. Everything that a copy is held against comes from here,
/// nothing from the exporter.
class Truth {
 public:
  /// Plays the whole source. Throws std::runtime_error when it can't be played.
  explicit Truth(const std::string& path);

  const Reading& reading() const { return reading_; }
  /// When the first picture or sound begins.
  double begin() const { return begin_; }
  /// When the last picture or sound ends.
  double end() const { return end_; }
  /// How long a picture is usually on screen.
  double pictureLength() const { return pictureLength_; }

  /// On a key picture; from just before one; one picture long; between pictures, over a key picture; to the very end;
  /// near the beginning; from a picture that stays on screen for long; and where one of picture and sound has ended
  /// already.
  std::vector<Range> ranges() const;

  Expected expected(const Range& range) const;
  /// The index of the picture on screen at `time`; the first one before that comes.
  std::size_t pictureAt(double time) const;

 private:
  Reading reading_;
  double begin_ = 0, end_ = 0, pictureLength_ = 0;
};

}  // namespace matrix
