#include "automation/ShareActions.h"

#include "automation/JSON.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIAlertController.h"

#include <algorithm>

namespace {

// Seconds.
constexpr double kPatience = 2;
constexpr double kLookupPatience = 10;  // the store may be slow
constexpr double kAlertPatience = 10;   // what it tells of may take its time

Strong<UIActivityViewController> sheetInFront(ScriptContext& context) {
  return std::dynamic_pointer_cast<UIActivityViewController>(context.window().frontmostPresentedViewController());
}

ScriptStep tapOn(const std::string& name, int line) {
  ScriptStep step;
  step.kind = ScriptStep::Kind::Tap;
  step.name = name;
  step.line = line;
  return step;
}

bool isReachable(ScriptContext& context, const std::string& name) {
  const auto elements = context.window().reachableElements();
  return std::any_of(elements.begin(), elements.end(), [&](const auto& each) { return each.element.label == name; });
}

}  // namespace

ShareAction::ShareAction(ScriptContext& context, const ScriptStep& step)
    : context_(context), tap_(context, tapOn("Share", step.line)) {}

ScriptAction::Answer ShareAction::tick() {
  if (!tapped_) {
    const Answer answer = tap_.tick();
    if (!answer.done || !answer.failure.empty()) return answer;
    tapped_ = true;
    deadline_ = ScriptContext::now() + kLookupPatience;
  }
  if (sheetInFront(context_) && !CAAnimator::shared().isAnimating()) return done();
  return ScriptContext::now() < deadline_ ? pending() : failed("the share sheet does not come");
}

ActivityAction::ActivityAction(ScriptContext& context, const ScriptStep& step)
    : context_(context), name_(step.name), deadline_(ScriptContext::now() + kPatience) {}

ScriptAction::Answer ActivityAction::tickFind() {
  const auto sheet = sheetInFront(context_);
  if (!sheet) return ScriptContext::now() < deadline_ ? pending() : failed("there is no share sheet");
  if (CAAnimator::shared().isAnimating() && ScriptContext::now() < deadline_) return pending();
  std::string names;
  for (const auto& activity : sheet->activities()) {
    const std::string title = activity->activityTitle();
    if (title != name_ && activity->activityType() != name_) {
      names += (names.empty() ? "" : ", ") + title;
      continue;
    }
    // As with the arrow keys: what has the focus is scrolled into sight.
    for (const auto& [view, element] : context_.window().reachableElements()) {
      if (element.label == title) context_.window().setFocus(view, title);
    }
    context_.noteShare();
    tap_ = std::make_unique<TapAction>(context_, tapOn(title, 0));
    return pending();
  }
  return failed("no activity is called " + jsonString(name_) + "; there is: " + names);
}

ScriptAction::Answer ActivityAction::tick() {
  if (!tap_) return tickFind();
  if (sheetInFront(context_)) {
    const Answer answer = tap_->tick();
    if (!answer.failure.empty()) return answer;
    return ScriptContext::now() < deadline_ + kPatience ? pending() : failed("the share sheet stays");
  }
  return CAAnimator::shared().isAnimating() && ScriptContext::now() < deadline_ + kPatience ? pending() : done();
}

AlertAction::AlertAction(ScriptContext& context, const ScriptStep& step)
    : context_(context), step_(step), deadline_(ScriptContext::now() + kAlertPatience) {}

ScriptAction::Answer AlertAction::tick() {
  const auto front = context_.window().frontmostPresentedViewController();
  if (!tap_) {
    const bool isThere = std::dynamic_pointer_cast<UIAlertController>(front) ||
                         (front && step_.optional && isReachable(context_, step_.name));
    if (!isThere && step_.optional) return done();
    if (!isThere || CAAnimator::shared().isAnimating()) {
      return ScriptContext::now() < deadline_ ? pending() : failed("there is no alert");
    }
    alert_ = front;
    tap_ = std::make_unique<TapAction>(context_, tapOn(step_.name, step_.line));
    deadline_ = ScriptContext::now() + 2 * kPatience;
  }
  if (front && front == alert_.lock()) {
    const Answer answer = tap_->tick();
    if (!std::dynamic_pointer_cast<UIAlertController>(front)) return answer.failure.empty() ? answer : done();
    if (!answer.failure.empty()) return answer;
    return ScriptContext::now() < deadline_ ? pending() : failed("the alert stays");
  }
  return CAAnimator::shared().isAnimating() && ScriptContext::now() < deadline_ ? pending() : done();
}
