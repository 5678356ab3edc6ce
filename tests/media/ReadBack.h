#pragma once

#include <optional>
#include <string>
#include <vector>

/// What a plain player sees in a movie file, read with the decoders themselves.
namespace read_back {

struct Picture {
  int number = -1;  ///< the frame number drawn into it; -1 when unreadable
  double time = 0;  ///< seconds
};

/// Every picture that is shown, in order, turned as the file asks.
std::vector<Picture> pictures(const std::string& path);

/// The pitch in hertz of the sound between `from` and `from + length` seconds; 0 when there is none. `track` counts
/// sound tracks from 0.
double pitch(const std::string& path, double from, double length = 0.2, int track = 0);

/// What of the sound between `from` and `from + length` seconds is a sine of `hertz`: as loud as `level`, of 1, and
/// `delay` seconds later (to within a period) than one that was at 0 at time 0. `peak` is the loudest sample there.
struct Tone {
  double level = 0, delay = 0, peak = 0;
};
Tone tone(const std::string& path, double hertz, double from, double length, int track = 0);

struct Track {
  std::string type;  ///< "video", "audio", ...
  std::string codec, language, name;
  double duration = 0;
};

struct Facts {
  double duration = 0;
  std::string creationTime, title;
  int clockwiseQuarters = 0;
  bool indexFirst = false;  ///< "moov" stands before "mdat"
  std::vector<Track> tracks;
};

/// Nothing when the file can't be opened as a movie.
std::optional<Facts> facts(const std::string& path);

}  // namespace read_back
