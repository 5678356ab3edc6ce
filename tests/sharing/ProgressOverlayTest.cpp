#include "sharing/ZVYouTubeActivityProgressOverlay.h"

#include "tests/uikit/UIKitTestSupport.h"

#include <functional>
#include <utility>
#include <vector>

namespace {

using Overlay = ZVYouTubeActivityProgressOverlay;

class ProgressOverlay : public testing::Test {
 protected:
  ProgressOverlay() { covered->addSubview(overlay); }
  int wheels() const {
    int count = 0;
    for (const auto& view : overlay->subviews())
      count += std::dynamic_pointer_cast<UIActivityIndicatorView>(view) ? 1 : 0;
    return count;
  }
  int dimmings() const { return static_cast<int>(overlay->subviews().size()) - wheels(); }

  StoppedClock clock;
  Strong<UIWindow> window = windowOfSize(320, 480);
  Strong<UIView> covered = window->rootViewController()->view();
  Strong<Overlay> overlay = Overlay::initWithFrame(CGRectMake(0, 0, 320, 480));
};

}  // namespace

TEST_F(ProgressOverlay, DimsAtOnceAndTurnsItsWheelWhenItHasFadedIn) {
  overlay->setShowing_animated(false, true);
  EXPECT_NE(overlay->superview(), nullptr) << "hidden as it was";
  for (int twice = 0; twice < 2; ++twice) overlay->setShowing_animated(true, true);
  EXPECT_EQ(dimmings(), 1);
  clock.advance(0.19);
  EXPECT_EQ(overlay->activityIndicator(), nullptr);
  clock.advance(0.02);
  ASSERT_EQ(wheels(), 1);
  const auto wheel = overlay->activityIndicator();
  EXPECT_TRUE(wheel->isAnimating());
  window->setFrame(CGRectMake(0, 0, 640, 400));
  window->layoutIfNeeded();
  EXPECT_EQ(overlay->subviews()[0]->frame(), CGRectMake(0, 0, 640, 400)) << "covers a window that was made larger";
  EXPECT_EQ(wheel->center(), (CGPoint{320, 200}));

  overlay->stopActivity();
  EXPECT_EQ(wheels(), 0);
  EXPECT_EQ(dimmings(), 1) << "stays dimmed";
  overlay->setShowing_animated(false, true);
  EXPECT_EQ(overlay->superview(), covered) << "until it has faded out";
  clock.advance(0.21);
  EXPECT_EQ(overlay->superview(), nullptr);
}

TEST_F(ProgressOverlay, WhatComesDuringAFadeCounts) {
  const auto show = [this] { overlay->setShowing_animated(true, true); };
  const auto hide = [this] { overlay->setShowing_animated(false, true); };
  const auto stop = [this] { overlay->stopActivity(); };
  struct Case {
    const char* name;
    std::vector<std::pair<double, std::function<void()>>> steps;  ///< with the seconds after each
    bool isThere;
    int wheels;
  };
  const Case cases[] = {{"stopped while it fades in", {{0.1, show}, {0.3, stop}}, true, 0},
                        {"hidden while it fades in", {{0.1, show}, {0.3, hide}}, false, 0},
                        {"stopped while it fades out", {{0.3, show}, {0.1, hide}, {0.2, stop}}, false, 0},
                        {"shown again while it fades out", {{0.3, show}, {0.1, hide}, {0.3, show}}, true, 1}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    overlay = Overlay::initWithFrame(CGRectMake(0, 0, 320, 480));
    covered->addSubview(overlay);
    for (const auto& [seconds, step] : each.steps) {
      step();
      clock.advance(seconds);
    }
    EXPECT_EQ(overlay->superview(), each.isThere ? covered : nullptr);
    EXPECT_EQ(wheels(), each.wheels);
    EXPECT_EQ(dimmings(), each.isThere ? 1 : 0);
    if (each.isThere) {
      EXPECT_EQ(overlay->alpha(), 1);
    }
  }
}
