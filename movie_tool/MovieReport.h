#pragma once

#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A part of a track's timeline.
struct EditReport {
  double duration = 0;              ///< seconds; 0 in a fragmented file: to the end of the media
  std::optional<double> mediaTime;  ///< where it begins in the media, in seconds; none: nothing is shown
};

/// What `zevanti info` tells about a track.
struct TrackReport {
  std::uint32_t identifier = 0;
  std::string kind;           ///< video, sound, text, timecode, metadata, or what the file calls it
  std::string format;         ///< the file's own code of the coding (avc1, mp4a, ...) or the codec's name
  int width = 0, height = 0;  ///< of the coded pictures; 0 for none
  int rotation = 0;           ///< degrees clockwise that they are turned for showing
  int channels = 0;
  double sampleRate = 0;
  std::string language;  ///< three letters; empty when not said
  std::string name;
  double duration = 0;        ///< as shown, in seconds
  std::uint64_t samples = 0;  ///< pictures, packets or frames, as the file counts them
  std::uint64_t bytes = 0;
  double rate = 0;  ///< samples a second, of what is shown

  // Of tracks where not every sample is a place to start decoding.
  std::uint64_t keySamples = 0;
  double keySpacing = 0;         ///< seconds, mean
  double longestKeySpacing = 0;  ///< seconds
  std::vector<EditReport> edits;
};

/// What `zevanti info` tells about a movie.
struct MovieReport {
  std::string file;
  std::string container;  ///< MP4, QuickTime, or the name that libavformat has for it
  std::uint64_t bytes = 0;
  double duration = 0;  ///< as players show it, in seconds
  bool fragmented = false;
  std::vector<TrackReport> tracks;

  /// MP4 and QuickTime by our own reader (and, should that fail, as the rest), others by libavformat, which for the
  /// numbers of samples means reading the file to its end. Null and `error` when the file can't be read.
  static std::unique_ptr<MovieReport> read(const std::string& path, NSErrorPtr* error);
};
