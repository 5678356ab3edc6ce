#include "platform/backends/mpv/PlaybackEnd.h"

#include "platform/backends/mpv/decimal.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double sameTime = 1e-5;
// A picture that begins within this before a boundary counts as the boundary's own.
constexpr double boundaryMargin = 0.0005;
// What is left to play when the core says that it has reached the end, and need not be waited for.
constexpr double negligible = 0.01;
// A file whose data ends so shortly before its length is whole: tracks seldom end together.
constexpr double sameEnd = 0.5;

}  // namespace

void PlaybackEnd::setBoundary(std::optional<double> boundary) {
  if (boundary && !std::isnan(duration_) && *boundary >= duration_ - sameTime) {
    boundary.reset();
  }
  if (boundary == boundary_ || !core_) {
    return;
  }
  boundary_ = boundary;
  core_->setProperty("end", boundary ? decimal(std::max(*boundary - boundaryMargin, 0.0)) : "none");
}

void PlaybackEnd::handleCoreEnded() {
  if (waiting_) {
    return;
  }
  const double end = boundary_ ? *boundary_ : duration_;
  const double position = source_.position();
  waiting_ = true;
  if (std::isnan(end) || end - position <= negligible) {
    finish(std::isnan(end) ? position : end);
    return;
  }
  // Either the last picture stays for longer than the core believes, or the file has been cut off.
  callbacks_.pictureStays();
  source_.locate(end, [weak = weak_from_this(), turn = ++turn_, end](std::optional<FrameLocation> last) {
    const auto self = weak.lock();
    if (!self || !self->waiting_ || self->turn_ != turn) {
      return;
    }
    double stop = self->source_.position();
    if (last) {
      stop = std::isnan(last->end) ? end : std::clamp(last->end, stop, std::max(stop, end));
    }
    self->waitUntil(end - stop < sameEnd ? end : stop);
  });
}

void PlaybackEnd::waitUntil(double stop) {
  const double left = stop - source_.position();
  if (left <= negligible) {
    finish(stop);
    return;
  }
  dispatch_after(left, dispatch_get_main_queue(), [weak = weak_from_this(), turn = turn_, stop] {
    const auto self = weak.lock();
    if (self && self->waiting_ && self->turn_ == turn) {
      self->finish(stop);
    }
  });
}

void PlaybackEnd::finish(double stop) {
  waiting_ = false;
  if (boundary_ && stop >= *boundary_ - sameTime) {
    callbacks_.atBoundary();
  } else {
    callbacks_.atMovie(stop);
  }
}
