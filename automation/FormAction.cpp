#include "automation/FormAction.h"

#include "automation/JSON.h"
#include "platform/UIKit/UIPickerView.h"
#include "platform/UIKit/UIResponder.h"

#include <algorithm>

namespace {

constexpr double kPatience = 10;  // seconds; what shows the form may have to be loaded first

}  // namespace

FormAction::FormAction(ScriptContext& context, const ScriptStep& step)
    : context_(context), field_(step.name), value_(step.value), deadline_(ScriptContext::now() + kPatience) {}

std::optional<FormAction::Element> FormAction::find(UIAccessibilityRole role) {
  for (auto& found : context_.window().reachableElements()) {
    if (found.element.label == field_ && found.element.role == role && found.element.enabled) return found;
  }
  return {};
}

std::optional<FormAction::Element> FormAction::findChoice() {
  for (auto& found : context_.window().reachableElements()) {
    if (found.element.group == field_ && found.element.label == value_ && found.element.enabled) return found;
  }
  return {};
}

std::optional<ScriptAction::Answer> FormAction::press(const Element& element) {
  context_.window().setFocus(element.view, element.element.label);
  context_.window().layoutIfNeeded();
  const CGSize size = element.element.frame.size;
  const CGPoint inView = element.view->convertPointFromWindow(element.element.frame.origin);
  // Where it is after it was scrolled into sight.
  const CGPoint at = element.view->convertPointToWindow({inView.x + size.width / 2, inView.y + size.height / 2});
  const auto hit = context_.window().hitTest(at);
  if (!hit || !(element.view->containsView(hit.get()) || hit->containsView(element.view.get()))) {
    return notYet(jsonString(field_) + " is covered by something else");
  }
  context_.automation().sendPointer(UIAutomation::Pointer::Press, at);
  context_.automation().sendPointer(UIAutomation::Pointer::Release, at);
  return {};
}

ScriptAction::Answer FormAction::notYet(const std::string& why) {
  return ScriptContext::now() < deadline_ ? pending() : failed(why);
}

ScriptAction::Answer FormAction::tick() {
  switch (phase_) {
    case Phase::Find:
      return tickFind();
    case Phase::TypedText:
      return tickType();
    case Phase::TurnedPicker:
      return tickTurn();
    case Phase::Check:
      return tickCheck();
  }
  return done();
}

ScriptAction::Answer FormAction::tickFind() {
  if (const auto text = find(UIAccessibilityRole::TextField)) {
    if (const auto answer = press(*text)) return *answer;
    phase_ = Phase::TypedText;
    return pending();
  }
  if (const auto picker = find(UIAccessibilityRole::Picker)) {
    context_.window().setFocus(picker->view, field_);
    phase_ = Phase::TurnedPicker;
    return pending();
  }
  if (const auto onOff = find(UIAccessibilityRole::Switch)) {
    if (value_ != "on" && value_ != "off") return failed(jsonString(field_) + " can be on or off");
    if (onOff->element.checked != (value_ == "on")) {
      if (const auto answer = press(*onOff)) return *answer;
    }
    phase_ = Phase::Check;
    return pending();
  }
  if (const auto choice = findChoice()) {
    if (const auto answer = press(*choice)) return *answer;
    phase_ = Phase::Check;
    return pending();
  }
  if (const auto row = find(UIAccessibilityRole::Button); row && !openedPicker_) {
    if (const auto answer = press(*row)) return *answer;
    openedPicker_ = true;
    return pending();
  }
  return notYet("no field on screen is called " + jsonString(field_) + " and can be " + jsonString(value_));
}

ScriptAction::Answer FormAction::tickType() {
  const auto text = find(UIAccessibilityRole::TextField);
  if (!text || !text->view->isFirstResponder()) return notYet(jsonString(field_) + " takes no text");
  UIAutomation& automation = context_.automation();
  automation.sendKey("Control+A");
  automation.sendKey("Delete");
  automation.sendText(value_);
  phase_ = Phase::Check;
  return pending();
}

ScriptAction::Answer FormAction::tickTurn() {
  const auto found = find(UIAccessibilityRole::Picker);
  const auto picker = found ? std::dynamic_pointer_cast<UIPickerView>(found->view) : nullptr;
  if (!picker) return notYet(jsonString(field_) + " can't be turned");
  const auto& rows = picker->rows();
  const auto row = std::find(rows.begin(), rows.end(), value_);
  if (row == rows.end()) return failed(jsonString(field_) + " can't be " + jsonString(value_));
  const int away = static_cast<int>(row - rows.begin()) - picker->selectedRowInComponent(0);
  if (away != 0) {
    context_.automation().sendKey(away > 0 ? "Down" : "Up");
    return notYet(jsonString(field_) + " does not turn");
  }
  if (openedPicker_) {
    if (const auto row = find(UIAccessibilityRole::Button)) {
      if (const auto answer = press(*row)) return *answer;
    }
  }
  return done();
}

ScriptAction::Answer FormAction::tickCheck() {
  if (const auto text = find(UIAccessibilityRole::TextField)) {
    if (text->element.value != value_) {
      return notYet(jsonString(field_) + " has become " + jsonString(text->element.value));
    }
    if (text->view->isFirstResponder()) context_.automation().sendKey("Escape");
    return done();
  }
  const auto onOff = find(UIAccessibilityRole::Switch);
  const auto choice = findChoice();
  const bool is = onOff ? onOff->element.checked == (value_ == "on") : choice && choice->element.checked;
  return is ? done() : notYet(jsonString(field_) + " does not become " + jsonString(value_));
}
