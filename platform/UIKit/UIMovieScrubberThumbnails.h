#pragma once

#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/NSNumber.h"

#include <functional>
#include <map>
#include <optional>
#include <vector>

/// The pictures of a timeline: which are wanted, which have come, and which stands in for one that has not.
///
/// Pictures lie on a grid of equal steps of time. There is one grid for the whole movie and, while zoomed, a finer one.
/// Main queue only.
class UIMovieScrubberThumbnails {
 public:
  /// Asks for `count` evenly spaced times from `start` on, before `end`; fewer may come back.
  using Timestamps = std::function<std::vector<NSNumber>(int count, double start, double end)>;
  using Request = std::function<void(NSNumber timestamp)>;
  struct Source {
    Timestamps timestamps;
    Request request;
  };

  enum class Level { Movie, Zoom };

  /// From now on every picture is asked for anew; those that have come stand in for them.
  void reload();
  /// The movie's grid: `count` steps from the start to `duration`. Asks for the pictures that are not asked for yet. A
  /// grid that differs from the last one starts afresh.
  void layOutMovie(int count, double duration, const Source& source);
  /// The fine grid, for the steps between `start` and `end`; those that were asked for stay.
  void layOutZoom(double step, double start, double end, const Source& source);
  void endZoom();
  /// A picture that has come. One that nobody waits for, or none, changes nothing; then the answer is no.
  bool setImage(const CGImageRef& image, NSNumber timestamp);

  bool hasLevel(Level level) const { return grid(level).step > 0; }
  double step(Level level) const { return grid(level).step; }
  /// What to show from the grid's time `index * step` on: its own picture, else the nearest before it; null when none
  /// has come at all.
  CGImageRef image(Level level, long index) const;
  int movieCount() const { return movieCount_; }

 private:
  struct Grid {
    double step = 0;
    std::map<long, std::optional<NSNumber>> times;  ///< by index; nothing where the source has no time
  };
  struct Picture {
    CGImageRef image;
    bool stale = false;  ///< from before the last reload
  };

  const Grid& grid(Level level) const { return level == Level::Movie ? movie_ : zoom_; }
  void request(Grid& grid, long first, long last, double duration, const Source& source);
  bool isWanted(double timestamp) const;
  void dropStale();

  Grid movie_, zoom_;
  int movieCount_ = 0;
  double movieDuration_ = 0;
  std::map<double, Picture> pictures_;
};
