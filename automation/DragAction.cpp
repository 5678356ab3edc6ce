#include "automation/DragAction.h"

#include <cmath>
#include <sstream>

namespace {

constexpr double kPatience = 2;          // seconds
constexpr double kMoveInterval = 0.012;  // seconds: about what a mouse reports
constexpr int kMoves = 12;
constexpr double kTolerance = 0.05;  // seconds: handles may keep to whole frames

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
    case Phase::LetGo:
      return tickLetGo();
  }
  return done();
}

ScriptAction::Answer DragAction::tickFind() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  const double duration = timeline->duration();
  const UIMovieScrubber::Look look = timeline->look();
  const bool isMoving = look.editing > 0 && look.editing < 1;  // handles appear or go
  const bool isThere = timeline->dataSource() && duration > 0 && look.strip.size.width > 0 && !isMoving;
  at_ = timeline->grabPointForHandle(handle_);
  if (!isThere || context_.window().hitTest(timeline->convertPointToWindow(at_)) != timeline) {
    if (ScriptContext::now() < deadline_) return pending();
    if (!isThere) return failed("the timeline has nothing to drag yet");
    return failed("the timeline can't be reached");
  }
  if (target_ > duration + kTolerance) {
    std::ostringstream why;
    why << "the movie is only " << duration << " s long";
    return failed(why.str());
  }
  send(UIAutomation::Pointer::Press, *timeline, at_.x);
  phase_ = Phase::Hold;
  return pending();
}

ScriptAction::Answer DragAction::tickHold() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  // The first small move shows what was taken hold of.
  if (moves_++ == 0) {
    const CGFloat target = timeline->dragPointForHandle(handle_, target_).x;
    send(UIAutomation::Pointer::Move, *timeline, at_.x + (target < at_.x ? -2 : 2));
    return pending();
  }
  if (timeline->look().activeHandle != handle_) {
    send(UIAutomation::Pointer::Release, *timeline, at_.x);
    return failed("could not take hold of the " + name_ +
                  (handle_ == UIMovieScrubber::HandlePlayhead ? "" : " handle"));
  }
  from_ = at_.x;
  phase_ = Phase::Move;
  moves_ = 0;
  return pending();
}

ScriptAction::Answer DragAction::tickMove() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  // Asked for each time: a strip that zooms meanwhile moves under the pointer.
  const CGFloat target = timeline->dragPointForHandle(handle_, target_).x;
  if (moves_++ < kMoves) {
    send(UIAutomation::Pointer::Move, *timeline, from_ + (target - from_) * static_cast<CGFloat>(moves_) / kMoves);
  } else {
    send(UIAutomation::Pointer::Release, *timeline, target);
    phase_ = Phase::LetGo;
  }
  return pending();
}

ScriptAction::Answer DragAction::tickLetGo() {
  const Strong<UIMovieScrubber> timeline = this->timeline();
  const double reached = value(*timeline);
  const CGFloat away = timeline->pointForTime(reached).x - timeline->pointForTime(target_).x;
  if (std::abs(away) <= 1 || std::abs(reached - target_) <= kTolerance) return done();
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

void DragAction::send(UIAutomation::Pointer kind, const UIMovieScrubber& timeline, CGFloat x) {
  at_.x = x;
  nextMove_ = ScriptContext::now() + kMoveInterval;
  context_.automation().sendPointer(kind, timeline.convertPointToWindow(at_));
}
