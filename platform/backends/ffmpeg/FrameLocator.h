#pragma once

#include "platform/Dispatch/dispatch.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

struct PacketGroup;

/// Where a time lies among the pictures of a movie. Seconds, counted as the player counts.
struct FrameLocation {
  double frame;                                ///< when the picture that is on screen at the time begins
  double end;                                  ///< when the next one begins, or the movie's last one ends; not a number
                                               ///< when the file does not say
  double margin;                               ///< less than the distance to the picture before it; at most 0.005
  double keyFrame;                             ///< when the picture begins from which decoding has to start
  int framesToDecode;                          ///< pictures between the two, in the order of the file
  std::shared_ptr<const PacketGroup> packets;  ///< what has to be decoded; null when it is unusually much
};

/// Finds out which picture of a movie is on screen at a time, from the file's packets alone: nothing is decoded.
/// The times of what has been read once are kept. Any thread.
class FrameLocator {
 public:
  using Completion = std::function<void(std::optional<FrameLocation>)>;

  /// `stream` is the video stream's index in the file, `startTime` the file's start, which the player calls zero.
  /// The file is opened in the background, closed after some idle seconds, and opened again where it is needed.
  FrameLocator(const std::string& path, int stream, double startTime);
  ~FrameLocator();

  /// Answers on the main queue; nothing when the file can't be read there. Also for times before the first picture
  /// (the first is meant) and after the last that can be read, where a file has been cut off.
  void locate(double time, Completion completion);

 private:
  class Reader;
  std::shared_ptr<Reader> reader_;
  dispatch_queue_t queue_;
};
