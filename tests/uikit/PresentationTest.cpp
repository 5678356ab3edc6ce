#include "platform/Foundation/os_trace.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIPopoverBackgroundView.h"
#include "platform/UIKit/UIPopoverPresentationController.h"
#include "platform/UIKit/UIPresentationContainerView.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

/// Writes down what happens to it.
class Screen : public UIViewController {
 public:
  std::vector<std::string> log;
  std::vector<std::string> keys;
  bool takesKeys = false;
  void viewWillAppear(bool) override { log.emplace_back("will appear"); }
  void viewDidAppear(bool) override { log.emplace_back("did appear"); }
  void viewWillDisappear(bool) override { log.emplace_back("will disappear"); }
  bool canBecomeFirstResponder() override { return true; }
  void motionEnded_withEvent(UIEventSubtype, const UIEvent&) override { log.emplace_back("shake"); }
  bool keyPressed(const UIKey& key) override {
    keys.push_back(key.name);
    return takesKeys;
  }
  CGSize preferredContentSizeThatFits(CGSize room) override {
    return {std::min(room.width, 200.0F), std::min(room.height, 150.0F)};
  }
};

class Presentation : public WindowFixture {
 protected:
  void SetUp() override {
    window->setRootViewController(screen);
    screen->becomeFirstResponder();
    bar = viewIn<UIToolbar>(screen->view(), CGRectMake(0, 0, 320, 60));
    bar->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
    bar->setItems({cancel, play, flexible, share});
    button = viewIn<UIButton>(presented->view(), CGRectMake(10, 10, 40, 40));
    button->setAccessibilityLabel("Inside");
    button->addTarget_action_forControlEvents(target, "four", UIControlEventTouchUpInside);
    screen->log.clear();
  }
  CGRect frame() {
    window->layoutIfNeeded();
    return presented->view()->frame();
  }

  Strong<Screen> screen = std::make_shared<Screen>(), presented = std::make_shared<Screen>();
  Strong<UIToolbar> bar;
  using Item = UIBarButtonSystemItem;
  Strong<UIBarButtonItem> share = item(Item::Action, "two:"), flexible = item(Item::FlexibleSpace, "four"),
                          play = item(Item::Play, "three:"), cancel = item(Item::Cancel);
  Strong<UIButton> button;
};

TEST_F(Presentation, ThePresentedControllerHasAllInputAndTheOtherStaysOnScreen) {
  touch(*window, UITouchPhase::Began, {100, 30});
  key("Tab");
  ASSERT_EQ(window->focusedLabel(), "Cancel");
  bool completed = false;
  screen->presentViewController_animated_completion(presented, true, [&] { completed = true; });
  touch(*window, UITouchPhase::Ended, {100, 30});
  EXPECT_TRUE(target->log.empty()) << "a touch under way is cancelled";
  EXPECT_EQ(screen->presentedViewController(), presented);
  EXPECT_EQ(presented->presentingViewController(), screen);
  EXPECT_EQ(presented->log, (Texts{"will appear", "did appear"}));
  EXPECT_TRUE(screen->log.empty()) << "it is not told to disappear";
  EXPECT_FALSE(completed);
  clock.advance(1);
  EXPECT_TRUE(completed);
  EXPECT_EQ(presented->view()->layer()->presentationFrame(), CGRectMake(0, 0, 320, 480));

  EXPECT_EQ(reachable(), (Texts{"Inside"}));
  EXPECT_FALSE(window->focusRing());
  tap(*window, {100, 30});
  for (const char* name : {"Space", "Return", "Left"}) EXPECT_FALSE(key(name)) << name;
  for (const char* name : {"S", "Z"}) EXPECT_FALSE(key(name, false, true)) << name;
  window->sendShake();
  EXPECT_FALSE(key("Escape")) << "there is no Cancel in it";
  EXPECT_TRUE(target->log.empty());
  EXPECT_TRUE(screen->log.empty());
  EXPECT_EQ(presented->keys, (Texts{"Space", "Return", "Left", "S", "Z", "Escape"}));
  tap(*window, {20, 20});
  key("Tab");
  key("Return");
  EXPECT_EQ(target->log, (Texts{"four", "four"}));
  presented->becomeFirstResponder();
  window->sendShake();
  EXPECT_EQ(presented->log.back(), "shake") << "that goes to the first responder in front";
  EXPECT_TRUE(screen->log.empty());

  presented->dismissViewControllerAnimated_completion(true, nullptr);
  EXPECT_EQ(screen->presentedViewController(), nullptr);
  EXPECT_TRUE(presented->isBeingDismissed());
  EXPECT_EQ(presented->log.back(), "will disappear");
  EXPECT_EQ(reachable(), (Texts{"Cancel", "Play", "Share"})) << "while it is still seen to go";
  EXPECT_EQ(window->focusedLabel(), "Cancel") << "the focus is back where it was";
  tap(*window, {20, 20});
  EXPECT_EQ(target->lastArgument, cancel);
  clock.advance(1);
  EXPECT_EQ(presented->view()->superview(), nullptr);
  EXPECT_EQ(presented->presentationController(), nullptr);
  EXPECT_TRUE(key("Space"));
  EXPECT_EQ(target->lastArgument, play);
  window->sendShake();
  EXPECT_EQ(screen->log, (Texts{"shake"})) << "the first responder is the one from before";
}

TEST_F(Presentation, WhatCannotBePresentedChangesNothing) {
  const auto another = std::make_shared<Screen>();
  present(presented);
  trace_log::clear();
  screen->presentViewController_animated_completion(another, false, nullptr);
  EXPECT_EQ(screen->presentedViewController(), presented);
  EXPECT_EQ(trace_log::messages().size(), 1u);
  const auto offScreen = std::make_shared<Screen>();
  offScreen->presentViewController_animated_completion(another, false, nullptr);
  EXPECT_EQ(offScreen->presentedViewController(), nullptr);
  EXPECT_EQ(another->presentingViewController(), nullptr);

  int completions = 0;
  presented->presentViewController_animated_completion(another, false, [&] { ++completions; });
  EXPECT_EQ(window->frontmostPresentedViewController(), another);
  screen->dismissViewControllerAnimated_completion(true, [&] { ++completions; });
  EXPECT_EQ(window->frontmostPresentedViewController(), nullptr) << "all above it goes as well";
  EXPECT_EQ(another->view()->superview(), nullptr);
  clock.advance(1);
  EXPECT_EQ(completions, 2);
  screen->dismissViewControllerAnimated_completion(true, [&] { ++completions; });
  EXPECT_EQ(completions, 3) << "nothing to do is done at once";
}

TEST_F(Presentation, AChildPresentsForItsAncestorAndEscapePressesCancel) {
  const auto child = std::make_shared<Screen>();
  screen->addChildViewController(child);
  screen->view()->addSubview(child->view());
  child->log.clear();
  child->presentViewController_animated_completion(presented, false, nullptr);
  EXPECT_EQ(child->presentedViewController(), presented);
  EXPECT_EQ(presented->presentingViewController(), screen);
  EXPECT_TRUE(child->log.empty());
  const auto innerBar = viewIn<UIToolbar>(presented->view(), CGRectMake(0, 100, 320, 44));
  const auto innerCancel = item(Item::Cancel, "three:");
  innerBar->setItems({innerCancel});
  EXPECT_TRUE(key("Escape"));
  EXPECT_EQ(target->lastArgument, innerCancel);
  presented->takesKeys = true;
  EXPECT_TRUE(key("Escape"));
  EXPECT_EQ(target->log.size(), 1u) << "the controller had a use for it";
}

TEST_F(Presentation, AWindowThatClosesLetsGoOfEverything) {
  class Working : public Screen {
   public:
    bool told = false;
    void windowDidClose() override { told = true; }
  };
  const auto working = std::make_shared<Working>(), done = std::make_shared<Working>();
  window->addBackgroundController(working);
  window->addBackgroundController(done);
  window->removeBackgroundController(done.get());
  const Weak<UIViewController> watchedRoot = screen, watchedPresented = presented;
  screen->presentViewController_animated_completion(presented, true, nullptr);
  window->setRootViewController(nullptr);
  EXPECT_TRUE(working->told);
  EXPECT_FALSE(done->told);
  EXPECT_EQ(presented->log.back(), "will disappear");
  EXPECT_EQ(screen->log, (Texts{"will disappear"}));
  screen.reset();
  presented.reset();
  clock.advance(1);
  EXPECT_TRUE(watchedRoot.expired());
  EXPECT_TRUE(watchedPresented.expired());
}

TEST_F(Presentation, AFormSheetCoversANarrowWindowAndStandsInTheMiddleOfAWideOne) {
  presented->setModalPresentationStyle(UIModalPresentationStyle::FormSheet);
  present(presented);
  EXPECT_EQ(frame(), CGRectMake(0, 0, 320, 480));
  window->resize({1000, 800}, 0);
  EXPECT_EQ(frame(), CGRectMake(230, 90, 540, 620));
  tap(*window, {100, 400});
  EXPECT_EQ(screen->presentedViewController(), presented) << "a touch beside a form loses nothing";
  window->resize({700, 300}, 0);
  EXPECT_EQ(frame(), CGRectMake(80, 20, 540, 260));
}

TEST_F(Presentation, APopoverPointsAtItsItemWhereverItGoes) {
  EXPECT_EQ(presented->popoverPresentationController(), nullptr);
  presented->setModalPresentationStyle(UIModalPresentationStyle::Popover);
  const auto popover = presented->popoverPresentationController();
  popover->setBarButtonItem(share);
  present(presented);
  const auto bubble = [&] {
    return std::dynamic_pointer_cast<UIPopoverBackgroundView>(popover->containerView()->decoration());
  };
  using Arrow = UIPopoverBackgroundView::Arrow;
  CGRect now = frame();
  EXPECT_EQ(now.size.width, 200);
  EXPECT_EQ(now.maxX(), 312) << "within the window";
  EXPECT_GT(now.origin.y, 50);
  EXPECT_EQ(bubble()->arrow(), Arrow::Up);
  CGFloat tip = now.origin.x + bubble()->arrowOffset();
  EXPECT_EQ(tip, bar->frameOfItem(share.get()).origin.x + 22);

  bar->setItems({share, flexible});
  EXPECT_EQ(frame().origin.x, 8) << "the item has moved";
  bar->setFrame(CGRectMake(0, 420, 320, 60));
  bar->setNeedsLayout();
  now = frame();
  EXPECT_EQ(bubble()->arrow(), Arrow::Down);
  EXPECT_LT(now.maxY(), 430);
  bar->setItems({flexible, play});
  EXPECT_EQ(frame(), CGRectMake(60, 165, 200, 150)) << "the item has gone: in the middle";
  EXPECT_EQ(bubble()->arrow(), Arrow::None);
  bar->setItems({flexible, share});
  window->resize({160, 240}, 0);
  now = frame();
  EXPECT_GE(now.origin.x, 8);
  EXPECT_LE(now.maxX(), 152);

  tap(*window, {now.origin.x + 100, now.origin.y + 5});
  EXPECT_EQ(screen->presentedViewController(), presented) << "in it";
  touch(*window, UITouchPhase::Began, {5, 5});
  touch(*window, UITouchPhase::Ended, {now.origin.x + 70, now.origin.y + 5});
  EXPECT_EQ(screen->presentedViewController(), presented) << "ended elsewhere";
  tap(*window, {5, 5});
  EXPECT_EQ(screen->presentedViewController(), nullptr);
}

}  // namespace
