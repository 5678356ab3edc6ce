#include "platform/UIKit/UIMovieScrubberZoom.h"

#include <algorithm>
#include <cmath>

namespace {

// A tenth of the movie, but never more than what gives each frame a point or so to be hit.
constexpr double part = 0.1, longest = 5, shortest = 1;

}  // namespace

void UIMovieScrubberProgress::moveTo(double goal, double now, double seconds) {
  from_ = at(now);
  goal_ = goal;
  begin_ = now;
  seconds_ = seconds;
}

double UIMovieScrubberProgress::at(double now) const {
  if (!isMoving(now)) return goal_;
  const double p = std::clamp((now - begin_) / seconds_, 0.0, 1.0);
  return from_ + (goal_ - from_) * p * p * (3 - 2 * p);
}

void UIMovieScrubberZoom::reset(double duration) {
  duration_ = duration;
  zoomed_ = false;
  to_ = {0, duration};
  finish();
}

bool UIMovieScrubberZoom::zoomIn(double seconds, double now) {
  const double length = std::min(duration_, std::clamp(duration_ * part, shortest, longest));
  if (zoomed_ || length >= duration_) return false;
  from_ = shown(now);
  const double place = std::clamp((seconds - from_.start) / from_.length(), 0.0, 1.0);
  to_.start = std::clamp(seconds - place * length, 0.0, duration_ - length);
  to_.end = std::min(duration_, to_.start + length);
  zoomed_ = true;
  progress_ = {};
  progress_.moveTo(1, now, animationSeconds);
  return true;
}

void UIMovieScrubberZoom::zoomOut(double now) {
  if (!zoomed_) return;
  from_ = shown(now);
  to_ = {0, duration_};
  zoomed_ = false;
  progress_ = {};
  progress_.moveTo(1, now, animationSeconds);
}

void UIMovieScrubberZoom::finish() {
  progress_ = {};
  progress_.moveTo(1, 0, 0);
}

void UIMovieScrubberZoom::scrollBy(double seconds) {
  if (!zoomed_) return;
  const double length = to_.length();
  to_.start = std::clamp(to_.start + seconds, 0.0, duration_ - length);
  // Reaching the movie's end is reaching it exactly.
  to_.end = to_.start + length >= duration_ - 1e-9 ? duration_ : to_.start + length;
}

UIMovieScrubberWindow UIMovieScrubberZoom::shown(double now) const {
  const double p = progress_.at(now);
  const double growth = to_.length() - from_.length();
  if (p >= 1 || from_.length() <= 0) return to_;
  if (std::abs(growth) < 1e-9) {
    const double start = from_.start + (to_.start - from_.start) * p;
    return {start, start + to_.length()};
  }
  // The same factor in the same time, around the point that stays in place.
  const double length = from_.length() * std::pow(to_.length() / from_.length(), p);
  const double start = from_.start + (to_.start - from_.start) * (length - from_.length()) / growth;
  return {start, start + length};
}
