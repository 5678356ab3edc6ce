#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIPanelButton.h"
#include "platform/UIKit/UITapGestureRecognizer.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

class TouchLog : public UIView {
 public:
  std::vector<UITouchPhase> phases;
  void handleTouch(const UITouch& touch) override { phases.push_back(touch.phase); }
};

using Phases = std::vector<UITouchPhase>;

class Input : public WindowFixture {
 protected:
  void recognizeTaps(const Strong<UIView>& view) {
    view->addGestureRecognizer(UITapGestureRecognizer::initWithTarget_action(target, "one:"));
  }
};

TEST_F(Input, HitsTheFrontmostViewThatIsThereToBeHit) {
  const auto back = viewIn(root, CGRectMake(0, 0, 200, 200));
  const auto front = viewIn(root, CGRectMake(50, 50, 100, 100));
  const auto inner = viewIn(front, CGRectMake(80, 80, 50, 50));  // reaches out of `front`
  EXPECT_EQ(window->hitTest({60, 60}), front);
  EXPECT_EQ(window->hitTest({140, 140}), inner);
  EXPECT_EQ(window->hitTest({160, 160}), back) << "nothing takes touches outside of its superview";
  EXPECT_EQ(window->hitTest({150, 60}), back) << "the far edge is outside";

  front->setAlpha(0.02f);
  EXPECT_EQ(window->hitTest({140, 140}), inner);
  front->setAlpha(0.005f);
  EXPECT_EQ(window->hitTest({140, 140}), back);
  front->setAlpha(1);
  front->setHidden(true);
  EXPECT_EQ(window->hitTest({140, 140}), back);
  front->setHidden(false);
  front->setUserInteractionEnabled(false);
  EXPECT_EQ(window->hitTest({140, 140}), back);
  EXPECT_EQ(window->hitTest({-1, 10}), nullptr);

  UIView::animateWithDuration_animations(0.25, [&] { back->setAlpha(0); });
  EXPECT_GT(back->layer()->presentationOpacity(), 0.9f);
  EXPECT_EQ(window->hitTest({10, 10}), root) << "a view that fades takes no more touches";
}

TEST_F(Input, ATapReachesTheRecognizersAroundUnlessAViewKeepsIt) {
  recognizeTaps(root);
  const auto view = viewIn<TouchLog>(root, CGRectMake(0, 0, 50, 50));
  const auto inner = viewIn(view, CGRectMake(0, 0, 20, 20));
  const auto button = viewIn<UIButton>(root, CGRectMake(100, 0, 50, 50));
  button->addTarget_action_forControlEvents(target, "two:", UIControlEventTouchUpInside);

  tap(*window, {10, 10});
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:"}));
  view->setDeliversTouchesForGesturesToSuperview(false);
  tap(*window, {10, 10});
  EXPECT_EQ(target->log.size(), 1u) << "a view in between keeps it";
  tap(*window, {30, 30});
  EXPECT_EQ(target->log.size(), 1u);
  EXPECT_EQ(view->phases, (Phases{UITouchPhase::Began, UITouchPhase::Ended}));
  tap(*window, {110, 10});
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:", "two:"})) << "a press on a button is no tap on the video";
}

TEST_F(Input, ATapIsShortAndStillAndOfOneFinger) {
  recognizeTaps(root);
  const auto attempt = [&](double seconds, float distance) {
    const std::size_t before = target->log.size();
    touch(*window, UITouchPhase::Began, {50, 50}, finger, 1);
    touch(*window, UITouchPhase::Moved, {50 + distance, 50}, finger, 1);
    touch(*window, UITouchPhase::Ended, {50, 50}, finger, 1 + seconds);
    return target->log.size() > before;
  };
  EXPECT_TRUE(attempt(0.7, 9));
  EXPECT_FALSE(attempt(0.8, 0));
  EXPECT_FALSE(attempt(0.1, 11)) << "coming back does not help";

  target->log.clear();
  touch(*window, UITouchPhase::Began, {50, 50}, 1);
  touch(*window, UITouchPhase::Began, {80, 50}, 2);
  touch(*window, UITouchPhase::Ended, {80, 50}, 2);
  touch(*window, UITouchPhase::Ended, {50, 50}, 1);
  EXPECT_TRUE(target->log.empty());
  touch(*window, UITouchPhase::Began, {50, 50}, 1);
  window->cancelTouches();
  touch(*window, UITouchPhase::Ended, {50, 50}, 1);
  EXPECT_TRUE(target->log.empty());
  tap(*window, {50, 50});
  EXPECT_EQ(target->log.size(), 1u) << "and the next tap counts again";
}

TEST_F(Input, TouchesAreFollowedApartAndEndWithTheirView) {
  const auto left = viewIn<TouchLog>(root, CGRectMake(0, 0, 100, 200));
  const auto right = viewIn<TouchLog>(root, CGRectMake(100, 0, 100, 200));
  touch(*window, UITouchPhase::Began, {10, 10}, 1);
  touch(*window, UITouchPhase::Began, {110, 10}, 2);
  touch(*window, UITouchPhase::Moved, {150, 10}, 1);
  right->removeFromSuperview();
  touch(*window, UITouchPhase::Moved, {120, 10}, 2);
  touch(*window, UITouchPhase::Ended, {120, 10}, 2);
  touch(*window, UITouchPhase::Ended, {150, 10}, 1);
  EXPECT_EQ(left->phases, (Phases{UITouchPhase::Began, UITouchPhase::Moved, UITouchPhase::Ended}));
  EXPECT_EQ(right->phases, (Phases{UITouchPhase::Began, UITouchPhase::Cancelled}));

  touch(*window, UITouchPhase::Began, {10, 10}, 1);
  window->setRootViewController(nullptr);
  EXPECT_EQ(left->phases.back(), UITouchPhase::Cancelled);
}

class Control : public Input {
 protected:
  void SetUp() override {
    control->addTarget_action_forControlEvents(target, "one:", UIControlEventTouchDown | UIControlEventTouchDragInside);
    control->addTarget_action_forControlEvents(target, "two:", UIControlEventTouchDragOutside);
    control->addTarget_action_forControlEvents(target, "three:", UIControlEventTouchUpInside);
    control->addTarget_action_forControlEvents(target, "four",
                                               UIControlEventTouchUpOutside | UIControlEventTouchCancel);
  }
  Strong<UIControl> control = viewIn<UIControl>(root, CGRectMake(80, 80, 40, 40));
};

TEST_F(Control, SendsEventsAsTheTouchGoesInAndOut) {
  touch(*window, UITouchPhase::Began, {100, 100});
  EXPECT_TRUE(control->isHighlighted());
  touch(*window, UITouchPhase::Moved, {100, 189});
  EXPECT_TRUE(control->isHighlighted());
  touch(*window, UITouchPhase::Moved, {100, 191});
  EXPECT_FALSE(control->isHighlighted());
  touch(*window, UITouchPhase::Moved, {100, 100});
  touch(*window, UITouchPhase::Began, {100, 100}, 2);  // a second finger does not count
  touch(*window, UITouchPhase::Ended, {100, 100}, 2);
  touch(*window, UITouchPhase::Ended, {100, 100});
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:", "one:", "two:", "one:", "three:"}));
  EXPECT_EQ(target->lastArgument, control);

  target->log.clear();
  touch(*window, UITouchPhase::Began, {100, 100}, mouse);
  touch(*window, UITouchPhase::Ended, {100, 125}, mouse);
  touch(*window, UITouchPhase::Began, {100, 100}, mouse);
  touch(*window, UITouchPhase::Ended, {100, 123}, mouse);
  touch(*window, UITouchPhase::Began, {100, 100}, finger);
  touch(*window, UITouchPhase::Cancelled, {100, 100}, finger);
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:", "four", "one:", "three:", "one:", "four"}));
  EXPECT_FALSE(control->isHighlighted());
}

TEST_F(Control, ForgetsATargetThatHasGoneAndSkipsOneThatDoesNotRespond) {
  control->addTarget_action_forControlEvents(target, "unheardOf:", UIControlEventTouchUpInside);
  tap(*window, {100, 100});
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:", "three:"}));
  const Weak<Recorder> weak = target;
  target.reset();
  EXPECT_TRUE(weak.expired()) << "a control does not own its targets";
  tap(*window, {100, 100});
}

TEST_F(Input, AButtonMayGoWithinItsOwnActionOrWhileItIsPressed) {
  int presses = 0;
  Strong<UIPanelButton> button;
  const auto leave = [&] {
    button->removeFromSuperview();
    button.reset();
  };
  for (const bool isPressedToLeave : {true, false}) {
    button = viewIn<UIPanelButton>(root, CGRectMake(0, 0, 50, 50));
    button->setHandler([&] {
      ++presses;
      leave();
    });
    const Weak<UIPanelButton> watched = button;
    touch(*window, UITouchPhase::Began, {10, 10});
    if (!isPressedToLeave) leave();
    touch(*window, UITouchPhase::Ended, {10, 10});
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(presses, 1);
  }
}

TEST_F(Input, AWindowMayGoWhileItIsTouched) {
  const Weak<UIWindow> weak = window;
  root->removeFromSuperview();
  touch(*window, UITouchPhase::Began, {10, 10});
  window.reset();
  EXPECT_TRUE(weak.expired());
}

}  // namespace
