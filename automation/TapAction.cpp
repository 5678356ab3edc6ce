#include "automation/TapAction.h"

#include "automation/JSON.h"

namespace {

constexpr double kPatience = 2;  // seconds: longer than any fade

/// Whether a touch at `point` would reach `view` or something in it.
bool isHit(UIWindow& window, CGPoint point, const Strong<UIView>& view) {
  for (Strong<UIView> hit = window.hitTest(point); hit; hit = hit->superview()) {
    if (hit == view) return true;
  }
  return false;
}

}  // namespace

TapAction::TapAction(ScriptContext& context, const ScriptStep& step)
    : context_(context), name_(step.name), deadline_(ScriptContext::now() + kPatience) {}

ScriptAction::Answer TapAction::tick() {
  UIAutomation& automation = context_.automation();
  switch (phase_) {
    case Phase::Find: {
      const std::optional<CGPoint> found = find();
      if (!found) return ScriptContext::now() < deadline_ ? pending() : failed(why_);
      at_ = *found;
      automation.sendPointer(UIAutomation::Pointer::Press, at_);
      phase_ = Phase::Release;
      return pending();
    }
    case Phase::Release:
      automation.sendPointer(UIAutomation::Pointer::Release, at_);
      phase_ = Phase::Settle;
      return pending();
    case Phase::Settle:
      return done();
  }
  return done();
}

std::optional<CGPoint> TapAction::find() {
  if (name_ == "video") return findVideo();
  if (name_ == "overlay") return findOverlay();
  return findNamed();
}

std::optional<CGPoint> TapAction::findVideo() {
  why_ = "no part of the video can be tapped";
  const auto editor = context_.editor();
  if (!editor) return {};
  const CGSize size = context_.window().bounds().size;
  for (const CGFloat y : {0.3F, 0.7F, 0.5F, 0.4F, 0.6F}) {
    for (const CGFloat x : {0.5F, 0.25F, 0.75F}) {
      const CGPoint point{size.width * x, size.height * y};
      if (context_.window().hitTest(point) == editor->videoOverlay()) return point;
    }
  }
  return {};
}

std::optional<CGPoint> TapAction::findOverlay() {
  why_ = "the large play button is not on screen";
  const auto editor = context_.editor();
  if (!editor || !editor->videoOverlayPlayButton() || !editor->videoOverlayPlayButton()->window()) return {};
  const Strong<UIView>& button = editor->videoOverlayPlayButton();
  const CGSize size = button->bounds().size;
  const CGPoint point = button->convertPointToWindow({size.width / 2, size.height / 2});
  if (!isHit(context_.window(), point, button)) return {};
  return point;
}

std::optional<CGPoint> TapAction::findNamed() {
  std::string names;
  why_.clear();
  for (const UIWindow::Reachable& found : context_.window().reachableElements()) {
    const UIAccessibilityElement& element = found.element;
    if (element.label != name_) {
      names += (names.empty() ? "" : ", ") + element.label;
      continue;
    }
    const CGPoint point{element.frame.origin.x + element.frame.size.width / 2,
                        element.frame.origin.y + element.frame.size.height / 2};
    if (!element.enabled) {
      why_ = jsonString(name_) + " is disabled";
    } else if (!isHit(context_.window(), point, found.view)) {
      why_ = jsonString(name_) + " is covered by something else";
    } else {
      return point;
    }
  }
  if (why_.empty()) why_ = "nothing on screen is called " + jsonString(name_) + "; there is: " + names;
  return {};
}
