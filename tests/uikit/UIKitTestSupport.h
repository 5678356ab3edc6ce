#pragma once

#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIEvent.h"
#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIWindow.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

inline void PrintTo(const CGRect& r, std::ostream* out) {
  *out << "(" << r.origin.x << ", " << r.origin.y << "; " << r.size.width << " x " << r.size.height << ")";
}

/// Every test text is half as wide a letter as the font is high.
inline constexpr float testLetterWidth = 0.5f;

/// A target that writes down what it is sent: "one:", "two:", "three:" and "four" as they are spelt.
class Recorder : public NSObject {
  ZV_OBJECT(Recorder)
 public:
  std::vector<std::string> log;
  Strong<NSObject> lastArgument;
  std::function<void()> onMessage;

  void note(const std::string& what, const Strong<NSObject>& argument) {
    log.push_back(what);
    lastArgument = argument;
    if (onMessage) onMessage();
  }
};

/// Animation time that stands still until it is told to go on.
class StoppedClock {
 public:
  StoppedClock() {
    CAAnimator::shared().setClock([this] { return now_; });
  }
  ~StoppedClock() {
    advance(1000);  // ends what a failed test left running
    CAAnimator::shared().setClock(nullptr);
  }
  void advance(double seconds) {
    now_ += seconds;
    CAAnimator::shared().tick(now_);
  }

 private:
  double now_ = 1000;
};

inline constexpr int mouse = 0;
inline constexpr int finger = 1;

inline void touch(UIWindow& window, UITouchPhase phase, CGPoint at, int identifier = finger, double time = 0) {
  window.sendTouch({identifier, phase, at, time});
}

inline void tap(UIWindow& window, CGPoint at, int identifier = finger) {
  touch(window, UITouchPhase::Began, at, identifier, 0);
  touch(window, UITouchPhase::Ended, at, identifier, 0.1);
}

/// A finger that goes from one place to another.
inline void swipe(UIWindow& window, CGPoint from, CGPoint to, int identifier = finger) {
  touch(window, UITouchPhase::Began, from, identifier);
  touch(window, UITouchPhase::Moved, to, identifier);
  touch(window, UITouchPhase::Ended, to, identifier);
}

template <class T = UIView>
Strong<T> viewIn(const Strong<UIView>& superview, CGRect frame) {
  auto view = std::make_shared<T>();
  view->setFrame(frame);
  superview->addSubview(view);
  return view;
}

/// A window of this size with an empty view in it.
inline Strong<UIWindow> windowOfSize(float width, float height) {
  auto window = std::make_shared<UIWindow>();
  window->setFrame(CGRectMake(0, 0, width, height));
  window->setRootViewController(std::make_shared<UIViewController>());
  return window;
}

/// A window, and what a person at the keyboard or a screen reader finds in it.
class WindowFixture : public testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  void present(const Strong<UIViewController>& controller) {
    window->rootViewController()->presentViewController_animated_completion(controller, false, nullptr);
    window->layoutIfNeeded();
  }
  /// Presses a key, and lets time pass for what it begins.
  bool key(const char* name, bool shift = false, bool control = false) {
    const bool meant = window->sendKey({name, shift, control, false});
    clock.advance(1);
    return meant;
  }
  /// What can be reached, in reading order.
  Texts reachable() {
    Texts labels;
    for (const auto& [view, element] : window->reachableElements()) labels.push_back(element.label);
    return labels;
  }
  CGRect frameOf(const std::string& label) {
    for (const auto& [view, element] : window->reachableElements()) {
      if (element.label == label) return element.frame;
    }
    ADD_FAILURE() << "there is no " << label;
    return CGRectZero;
  }

  Strong<UIBarButtonItem> item(UIBarButtonSystemItem kind, const char* action = "one:") {
    return UIBarButtonItem::initWithBarButtonSystemItem_target_action(kind, target, action);
  }

  StoppedClock clock;
  Strong<UIWindow> window = windowOfSize(320, 480);
  Strong<UIView> root = window->rootViewController()->view();
  Strong<Recorder> target = std::make_shared<Recorder>();
};
