#include "automation/DragAction.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace {

constexpr double kPatience = 2;          // seconds
constexpr double kMoveInterval = 0.012;  // seconds: about what a mouse reports
constexpr int kMoves = 12;
constexpr int kMostCorrections = 10;
constexpr CGFloat kHandleWidth = 12;
constexpr CGFloat kGrabWidth = 44;

}  // namespace

DragAction::DragAction(ScriptContext& context, const ScriptStep& step)
    : context_(context),
      name_(step.name),
      target_(step.seconds),
      handle_(step.name == "start" ? UIMovieScrubber::HandleStart
              : step.name == "end" ? UIMovieScrubber::HandleEnd
                                   : UIMovieScrubber::HandlePlayhead),
      deadline_(ScriptContext::now() + kPatience) {}

ScriptAction::Answer DragAction::tick() {
  if (!timeline()) return ScriptContext::now() < deadline_ ? pending() : failed("there is no editor yet");
  if (ScriptContext::now() < nextMove_) return pending();
  switch (phase_) {
    case Phase::Find:
      return tickFind();
    case Phase::Hold:
      return tickHold();
    case Phase::Move:
      return tickMove();
    case Phase::Correct:
      return tickCorrect();
    case Phase::LetGo:
      return tickLetGo();
  }
  return done();
}

ScriptAction::Answer DragAction::tickFind() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  const double duration = timeline->duration();
  const UIMovieScrubber::Look look = timeline->look();
  const std::optional<CGPoint> grip = this->grip(look);
  const bool isMoving = look.editing > 0 && look.editing < 1;  // handles appear or go
  const bool isThere = timeline->dataSource() && duration > 0 && grip && !isMoving;
  const CGPoint inWindow = grip ? timeline->convertPointToWindow(*grip) : CGPoint{};
  if (!isThere || context_.window().hitTest(inWindow) != timeline) {
    if (ScriptContext::now() < deadline_) return pending();
    if (!isThere) return failed("the timeline has nothing to drag yet");
    return failed("the timeline can't be reached");
  }
  if (target_ > duration + 0.05) {
    std::ostringstream why;
    why << "the movie is only " << duration << " s long";
    return failed(why.str());
  }
  secondsPerPoint_ = duration / std::max(CGFloat(1), look.strip.size.width - 2 * kHandleWidth);
  at_ = *grip;
  send(UIAutomation::Pointer::Press, *timeline, at_.x);
  phase_ = Phase::Hold;
  return pending();
}

ScriptAction::Answer DragAction::tickHold() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  // The first small move shows what was taken hold of.
  const CGFloat direction = target_ < value(*timeline) ? -1 : 1;
  if (moves_++ == 0) {
    send(UIAutomation::Pointer::Move, *timeline, at_.x + 2 * direction);
    return pending();
  }
  if (timeline->look().activeHandle != handle_) {
    send(UIAutomation::Pointer::Release, *timeline, at_.x);
    return failed("could not take hold of the " + name_ +
                  (handle_ == UIMovieScrubber::HandlePlayhead ? "" : " handle"));
  }
  from_ = at_.x;
  to_ = at_.x + static_cast<CGFloat>((target_ - value(*timeline)) / secondsPerPoint_);
  phase_ = Phase::Move;
  moves_ = 0;
  return pending();
}

ScriptAction::Answer DragAction::tickMove() {
  ++moves_;
  send(UIAutomation::Pointer::Move, *timeline(), from_ + (to_ - from_) * static_cast<CGFloat>(moves_) / kMoves);
  if (moves_ == kMoves) {
    phase_ = Phase::Correct;
    bestError_ = INFINITY;
  }
  return pending();
}

ScriptAction::Answer DragAction::tickCorrect() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  const double error = target_ - value(*timeline);
  worse_ = std::abs(error) < bestError_ ? 0 : worse_ + 1;
  bestError_ = std::min(bestError_, std::abs(error));
  if (std::abs(error) > 1e-6 && worse_ < 2 && corrections_++ < kMostCorrections) {
    send(UIAutomation::Pointer::Move, *timeline, at_.x + static_cast<CGFloat>(error / secondsPerPoint_));
    return pending();
  }
  send(UIAutomation::Pointer::Release, *timeline, at_.x);
  phase_ = Phase::LetGo;
  return pending();
}

ScriptAction::Answer DragAction::tickLetGo() {
  const double reached = value(*timeline());
  // Handles may keep to whole frames.
  if (std::abs(reached - target_) <= std::max(secondsPerPoint_, 0.05)) return done();
  std::ostringstream why;
  why << "the " << name_ << " stopped at " << reached << " s";
  return failed(why.str());
}

Strong<UIMovieScrubber> DragAction::timeline() {
  const auto editor = context_.editor();
  return editor ? editor->avTrimmer() : nullptr;
}

double DragAction::value(const UIMovieScrubber& timeline) const {
  if (handle_ == UIMovieScrubber::HandlePlayhead) return timeline.value();
  if (!timeline.isEditing()) return handle_ == UIMovieScrubber::HandleStart ? 0 : timeline.duration();
  return handle_ == UIMovieScrubber::HandleStart ? timeline.editingStartValue() : timeline.editingEndValue();
}

/// Where to press: on a handle its middle; for the playhead the place in the strip that is nearest to it and not near a
/// handle.
std::optional<CGPoint> DragAction::grip(const UIMovieScrubber::Look& look) const {
  const CGRect& strip = look.strip;
  if (strip.size.width <= 0) return {};
  const CGFloat y = strip.origin.y + strip.size.height / 2;
  const bool editing = look.editing > 0;
  const CGFloat start = editing ? look.startX : strip.origin.x + kHandleWidth;
  const CGFloat end = editing ? look.endX : strip.maxX() - kHandleWidth;
  if (handle_ == UIMovieScrubber::HandleStart) return CGPoint{start - kHandleWidth / 2, y};
  if (handle_ == UIMovieScrubber::HandleEnd) return CGPoint{end + kHandleWidth / 2, y};

  std::optional<CGPoint> best;
  for (CGFloat x = strip.origin.x + kHandleWidth; x <= strip.maxX() - kHandleWidth; x += 1) {
    const CGFloat fromHandles = std::min(std::abs(x - start), std::abs(x - end));
    if (fromHandles < kGrabWidth) continue;
    if (!best || std::abs(x - look.playheadX) < std::abs(best->x - look.playheadX)) best = CGPoint{x, y};
  }
  if (!best && start + kHandleWidth < end - kHandleWidth) best = CGPoint{(start + end) / 2, y};
  return best;
}

void DragAction::send(UIAutomation::Pointer kind, const UIMovieScrubber& timeline, CGFloat x) {
  at_.x = x;
  nextMove_ = ScriptContext::now() + kMoveInterval;
  context_.automation().sendPointer(kind, timeline.convertPointToWindow(at_));
}
