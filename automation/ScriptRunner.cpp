#include "automation/ScriptRunner.h"

#include "automation/DragAction.h"
#include "automation/EditorState.h"
#include "automation/FormAction.h"
#include "automation/JSON.h"
#include "automation/ScreenshotAction.h"
#include "automation/ShareActions.h"
#include "automation/TapAction.h"
#include "automation/WaitAction.h"
#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/UIKit/UIAlertController.h"

#include <cstdio>
#include <iostream>

namespace {

constexpr double kTick = 0.005;  // seconds
constexpr double kFarewell = 5;  // seconds for the host to take the editor off the screen
constexpr double kAnswer = 0.3;  // seconds for the host to hear of it

/// `resize W H`: done when the window has that size.
class ResizeAction : public ScriptAction {
 public:
  ResizeAction(ScriptContext& context, const ScriptStep& step)
      : context_(context),
        size_{static_cast<CGFloat>(step.width), static_cast<CGFloat>(step.height)},
        deadline_(ScriptContext::now() + 2) {
    context_.automation().resize(size_);
  }

  Answer tick() override {
    const CGSize size = context_.window().bounds().size;
    if (size == size_) return done();
    if (ScriptContext::now() < deadline_) return pending();
    return failed("the window stays " + std::to_string(static_cast<int>(size.width)) + " by " +
                  std::to_string(static_cast<int>(size.height)) + " points");
  }

 private:
  ScriptContext& context_;
  CGSize size_;
  double deadline_;
};

}  // namespace

std::shared_ptr<ScriptRunner>& ScriptRunner::current() {
  static std::shared_ptr<ScriptRunner> runner;
  return runner;
}

void ScriptRunner::start(UIAutomation& automation, Script script) {
  current() = std::make_shared<ScriptRunner>(automation, std::move(script));
  current()->scheduleTick();
}

int ScriptRunner::exitStatus(int status) {
  const std::shared_ptr<ScriptRunner> runner = std::move(current());
  if (!runner || runner->failed_ || status != 0) return status;
  const ScriptStep* step = runner->stepLeftOver();
  if (!step) return status;
  std::cerr << scriptMessage(step->line, "the editor has finished") << std::endl;
  return kFailureStatus;
}

const ScriptStep* ScriptRunner::stepLeftOver() {
  using Kind = ScriptStep::Kind;
  // The step under way may be the one that finished the editor.
  if (action_ && (script_.steps[next_ - 1].kind == Kind::Wait || script_.steps[next_ - 1].kind == Kind::Drag)) --next_;
  for (; next_ < script_.steps.size(); ++next_) {
    const ScriptStep& step = script_.steps[next_];
    const bool isFulfilled =
        step.kind == Kind::Wait && (step.name == "finished" || (step.name == "saved" && context_.hasNewSave()));
    if (!isFulfilled) return &step;
    if (step.name == "saved") context_.acknowledgeSaves();
  }
  return nullptr;
}

ScriptRunner::ScriptRunner(UIAutomation& automation, Script script)
    : context_(automation), script_(std::move(script)) {}

void ScriptRunner::scheduleTick() {
  dispatch_after(kTick, dispatch_get_main_queue(), [self = shared_from_this()] { self->tick(); });
}

void ScriptRunner::tick() {
  if (failed_ || context_.hasFinished()) return;
  if (next_ == script_.steps.size() && !action_) {
    end();
    return;
  }
  const ScriptStep& step = script_.steps[action_ ? next_ - 1 : next_];
  ScriptAction::Answer answer = action_ ? action_->tick() : begin(script_.steps[next_++]);
  if (!answer.failure.empty()) {
    fail(step.line, answer.failure);
    return;
  }
  if (answer.done) action_ = nullptr;
  scheduleTick();
}

ScriptAction::Answer ScriptRunner::begin(const ScriptStep& step) {
  using Kind = ScriptStep::Kind;
  context_.editor();
  switch (step.kind) {
    case Kind::Wait:
      action_ = std::make_unique<WaitAction>(context_, step);
      break;
    case Kind::Tap:
      action_ = std::make_unique<TapAction>(context_, step);
      break;
    case Kind::Drag:
      action_ = std::make_unique<DragAction>(context_, step);
      break;
    case Kind::Share:
      action_ = std::make_unique<ShareAction>(context_, step);
      break;
    case Kind::Activity:
      action_ = std::make_unique<ActivityAction>(context_, step);
      break;
    case Kind::Form:
      action_ = std::make_unique<FormAction>(context_, step);
      break;
    case Kind::Alert:
      action_ = std::make_unique<AlertAction>(context_, step);
      break;
    case Kind::Screenshot:
      action_ = std::make_unique<ScreenshotAction>(context_, step);
      break;
    case Kind::Resize:
      action_ = std::make_unique<ResizeAction>(context_, step);
      break;
    case Kind::Key:
      if (!context_.automation().sendKey(step.name)) {
        return ScriptAction::failed("there is no key " + jsonString(step.name));
      }
      return ScriptAction::done();
    case Kind::Shake:
      context_.automation().sendShake();
      return ScriptAction::done();
    case Kind::Close:
      context_.automation().closeWindow();
      return ScriptAction::done();
    case Kind::Time:
    case Kind::State:
    case Kind::Dump:
      return print(step);
  }
  return action_->tick();
}

ScriptAction::Answer ScriptRunner::print(const ScriptStep& step) {
  const Strong<ZVVideoEditorViewController> editor = context_.editor();
  if (step.kind == ScriptStep::Kind::Dump) {
    std::cout << viewTree(context_.window()) << std::flush;
    return ScriptAction::done();
  }
  if (!editor) return ScriptAction::failed("there is no editor yet");
  if (step.kind == ScriptStep::Kind::Time) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", editor->avTrimmer()->value());
    std::cout << text << std::endl;
  } else {
    std::cout << editorState(*editor, context_.window()) << std::endl;
  }
  return ScriptAction::done();
}

void ScriptRunner::fail(int line, const std::string& why) {
  failed_ = true;
  std::cerr << scriptMessage(line, why) << std::endl;
  context_.automation().finish(kFailureStatus);
}

/// Whether a save has failed that the script does not care for: a person would have to say that they have read it.
bool ScriptRunner::isKeptByAlert() {
  const bool hadTime = ScriptContext::now() > endDeadline_ - kFarewell + kAnswer;
  const auto front = context_.window().frontmostPresentedViewController();
  return hadTime && !EssentialWork::isUnderWay() && std::dynamic_pointer_cast<UIAlertController>(front);
}

void ScriptRunner::end() {
  if (endDeadline_ == 0) {
    endDeadline_ = ScriptContext::now() + kFarewell;
    if (const Strong<ZVVideoEditorViewController> editor = context_.editor()) editor->doneAction();
  } else if (ScriptContext::now() > endDeadline_ || !context_.editor() || isKeptByAlert()) {
    // No host, or nothing ever on screen: nobody will dismiss it.
    context_.automation().finish(0);
    return;
  }
  scheduleTick();
}
