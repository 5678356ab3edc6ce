#include "platform/UIKit/UIMovieScrubberThumbnails.h"

#include <algorithm>
#include <cmath>
#include <iterator>

void UIMovieScrubberThumbnails::reload() {
  movie_ = {};
  zoom_ = {};
  movieCount_ = 0;
  movieDuration_ = 0;
  // Reloads that follow each other before anything comes keep what is shown, but not for ever.
  if (pictures_.size() > 256) std::erase_if(pictures_, [](const auto& entry) { return entry.second.stale; });
  for (auto& [time, picture] : pictures_) picture.stale = true;
}

void UIMovieScrubberThumbnails::layOutMovie(int count, double duration, const Source& source) {
  if (count == movieCount_ && duration == movieDuration_) return;
  movie_ = {};
  movieCount_ = count;
  movieDuration_ = duration;
  if (count < 1 || duration <= 0) return;
  movie_.step = duration / count;
  request(movie_, 0, count - 1, duration, source);
}

void UIMovieScrubberThumbnails::layOutZoom(double step, double start, double end, const Source& source) {
  if (zoom_.step != step) zoom_ = {};
  if (step <= 0 || end <= start) return;
  zoom_.step = step;
  const long first = std::max(0L, static_cast<long>(std::floor(start / step + 1e-9)));
  const long last = static_cast<long>(std::ceil(end / step - 1e-9)) - 1;
  // One question for each run of steps that has not been asked for.
  for (long index = first; index <= last; ++index) {
    if (zoom_.times.count(index)) continue;
    long until = index;
    while (until < last && !zoom_.times.count(until + 1)) ++until;
    request(zoom_, index, until, movieDuration_, source);
    index = until;
  }
}

void UIMovieScrubberThumbnails::request(Grid& grid, long first, long last, double duration, const Source& source) {
  const int count = static_cast<int>(last - first + 1);
  const bool whole = &grid == &movie_;
  const auto times = source.timestamps(count, static_cast<double>(first) * grid.step,
                                       whole ? duration : static_cast<double>(last + 1) * grid.step);
  std::vector<NSNumber> wanted;
  for (int i = 0; i < count; ++i) {
    auto& slot = grid.times[first + i];
    slot.reset();
    if (static_cast<std::size_t>(i) >= times.size()) continue;
    slot = times[static_cast<std::size_t>(i)];
    const auto have = pictures_.find(slot->doubleValue());
    if (have == pictures_.end() || have->second.stale) wanted.push_back(*slot);
  }
  for (const auto& time : wanted) source.request(time);
}

void UIMovieScrubberThumbnails::endZoom() {
  zoom_ = {};
  std::erase_if(pictures_, [this](const auto& entry) { return !entry.second.stale && !isWanted(entry.first); });
}

bool UIMovieScrubberThumbnails::setImage(const CGImageRef& image, NSNumber timestamp) {
  if (!image || !isWanted(timestamp.doubleValue())) return false;
  pictures_[timestamp.doubleValue()] = {image, false};
  dropStale();
  return true;
}

bool UIMovieScrubberThumbnails::isWanted(double timestamp) const {
  for (const auto* grid : {&movie_, &zoom_}) {
    for (const auto& [index, time] : grid->times) {
      if (time && time->doubleValue() == timestamp) return true;
    }
  }
  return false;
}

void UIMovieScrubberThumbnails::dropStale() {
  for (const auto& [index, time] : movie_.times) {
    if (!time) continue;
    const auto have = pictures_.find(time->doubleValue());
    if (have == pictures_.end() || have->second.stale) return;
  }
  std::erase_if(pictures_, [](const auto& entry) { return entry.second.stale; });
}

CGImageRef UIMovieScrubberThumbnails::image(Level level, long index) const {
  if (pictures_.empty()) return nullptr;
  const auto& times = grid(level).times;
  const auto slot = times.find(index);
  const double time =
      slot != times.end() && slot->second ? slot->second->doubleValue() : static_cast<double>(index) * grid(level).step;
  const auto after = pictures_.upper_bound(time);
  return (after == pictures_.begin() ? after : std::prev(after))->second.image;
}
