#pragma once

#include "tests/matrix/Reading.h"

#include <string>
#include <vector>

/// What a plain player sees in a movie file, read with the decoders themselves.
namespace read_back {

using matrix::Picture;

/// Every picture that is shown, in order, turned as the file asks.
std::vector<Picture> pictures(const std::string& path);

/// What of the sound between `from` and `from + length` seconds is a sine of `hertz`: as loud as `level`, of 1, and
/// `delay` seconds later (to within a period) than one that was at 0 at time 0. `peak` is the loudest sample there.
/// `track` counts sound tracks from 0.
struct Tone {
  double level = 0, delay = 0, peak = 0;
};
Tone tone(const std::string& path, double hertz, double from, double length, int track = 0);

struct Facts {
  double duration = 0;
  std::string title;
  bool indexFirst = false;        ///< "moov" stands before "mdat"
  std::vector<double> durations;  ///< of each track
};

/// All zero when the file can't be opened as a movie.
Facts facts(const std::string& path);

}  // namespace read_back
