#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIDevice.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UITapGestureRecognizer.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

class TouchLog : public UIView {
 public:
  std::vector<UITouchPhase> phases;
  std::vector<std::optional<CGPoint>> hovers;
  void handleTouch(const UITouch& touch) override { phases.push_back(touch.phase); }
  void handleHover(std::optional<CGPoint> point) override { hovers.push_back(point); }
};

using Phases = std::vector<UITouchPhase>;

class Input : public testing::Test {
 protected:
  Strong<UIWindow> window = windowOfSize(200, 200);
  Strong<UIView> root = window->rootViewController()->view();
  Strong<Recorder> target = std::make_shared<Recorder>();

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
}

TEST_F(Input, AFadingViewNoLongerTakesTouches) {
  StoppedClock clock;
  const auto front = viewIn(root, CGRectMake(0, 0, 200, 200));
  UIView::animateWithDuration_animations(0.25, [&] { front->setAlpha(0); });
  EXPECT_GT(front->layer()->presentationOpacity(), 0.9f);
  EXPECT_EQ(window->hitTest({10, 10}), root);
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

TEST_F(Input, HoverTellsTheViewThatItLeft) {
  const auto left = viewIn<TouchLog>(root, CGRectMake(0, 0, 100, 200));
  const auto right = viewIn<TouchLog>(root, CGRectMake(100, 0, 100, 200));
  window->sendHover(CGPoint{10, 20});
  window->sendHover(CGPoint{110, 20});
  window->sendHover(std::nullopt);
  EXPECT_EQ(left->hovers, (std::vector<std::optional<CGPoint>>{CGPoint{10, 20}, std::nullopt}));
  EXPECT_EQ(right->hovers, (std::vector<std::optional<CGPoint>>{CGPoint{10, 20}, std::nullopt}));
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

/// A view whose inner button is wired up while the view itself is still being made.
class Owner : public UIView {
  ZV_OBJECT(Owner)
 public:
  Owner() {
    inner->setFrame(CGRectMake(0, 0, 50, 50));
    inner->addOwner_action_forControlEvents(this, "pressed", UIControlEventTouchUpInside | UIControlEventTouchCancel);
    addSubview(inner);
  }
  void pressed() {
    ++presses;
    if (onPress) onPress();
  }
  Strong<UIButton> inner = std::make_shared<UIButton>();
  int presses = 0;
  std::function<void()> onPress;
};

}  // namespace

ZV_REGISTER_CLASS(Owner, "UIKitTestOwner", UIView, {{"pressed", runtime::method(&Owner::pressed)}})

namespace {

TEST_F(Input, AnOwnerMayGoWithinItsOwnActionOrWhileItIsPressed) {
  auto owner = viewIn<Owner>(root, CGRectMake(0, 0, 50, 50));
  tap(*window, {10, 10});
  EXPECT_EQ(owner->presses, 1);
  const Weak<Owner> first = owner;
  owner->onPress = [&] {
    owner->removeFromSuperview();
    owner.reset();
  };
  tap(*window, {10, 10});
  EXPECT_TRUE(first.expired());

  auto second = viewIn<Owner>(root, CGRectMake(0, 0, 50, 50));
  touch(*window, UITouchPhase::Began, {10, 10});
  second->removeFromSuperview();
  second.reset();
  touch(*window, UITouchPhase::Ended, {10, 10});

  auto third = viewIn<Owner>(root, CGRectMake(0, 0, 50, 50));
  const auto inner = third->inner;
  touch(*window, UITouchPhase::Began, {10, 10});
  third->removeFromSuperview();
  third.reset();
  touch(*window, UITouchPhase::Moved, {10, 10});
  EXPECT_FALSE(inner->isHighlighted()) << "cancelled, and without asking the owner that has gone";
}

TEST_F(Input, AWindowMayGoWhileItIsTouched) {
  const Weak<UIWindow> weak = window;
  root->removeFromSuperview();
  touch(*window, UITouchPhase::Began, {10, 10});
  window.reset();
  EXPECT_TRUE(weak.expired());
}

TEST(Views, TakeTheSizeAndShapeOfTheirPictures) {
  const auto pixels = [](int width, int height) {
    auto image = std::make_shared<CGImage>();
    image->width = width;
    image->height = height;
    return image;
  };
  const auto small = std::make_shared<UIImage>(pixels(40, 20), 2.0f);
  const auto large = std::make_shared<UIImage>(pixels(200, 160), 2.0f);
  const auto button = std::make_shared<UIButton>();
  button->setImage_forState(small, UIControlStateNormal);
  button->sizeToFit();
  EXPECT_EQ(button->frame(), CGRectMake(0, 0, 20, 10));
  EXPECT_EQ(button->currentImage(), small);

  EXPECT_EQ(UIImageView::initWithImage(nullptr)->frame(), CGRectZero);
  const auto shape = UIImageView::initWithImage(large);
  EXPECT_EQ(shape->frame(), CGRectMake(0, 0, 100, 80));
  const auto backdrop = UIBackdropView::initWithPrivateStyle(2010);
  button->_setBackdropMaskViewFlags(3);
  backdrop->updateMaskViewsForView(button);
  EXPECT_EQ(backdrop->frame(), CGRectZero) << "a hole gives no size";
  shape->_setBackdropMaskViewFlags(7);
  backdrop->updateMaskViewsForView(shape);
  backdrop->updateMaskViewsForView(shape);
  EXPECT_EQ(backdrop->frame(), shape->frame());
  EXPECT_EQ(backdrop->maskViews().size(), 2u);
  EXPECT_EQ(NSClassFromString("_UIBackdropView"), backdrop->class_());
}

TEST(Device, AnswersForItsIdiomByName) {
  EXPECT_TRUE(UIDevice::currentDevice()->respondsToSelector("userInterfaceIdiom"));
  EXPECT_FALSE(UIDevice::currentDevice()->respondsToSelector("unheardOf"));
}

}  // namespace
