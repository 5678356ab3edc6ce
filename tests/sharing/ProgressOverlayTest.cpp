#include "sharing/ZVYouTubeActivityProgressOverlay.h"

#include "tests/uikit/UIKitTestSupport.h"

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
  overlay->setShowing_animated(true, false);
  overlay->setShowing_animated(true, true);
  EXPECT_TRUE(overlay->isShowing());
  ASSERT_EQ(dimmings(), 1);
  EXPECT_EQ(overlay->subviews()[0]->layer()->backgroundColor(), UIColor::colorWithWhite_alpha(0, 0.5F));
  EXPECT_EQ(overlay->subviews()[0]->frame(), overlay->bounds());
  clock.advance(0.19);
  EXPECT_EQ(overlay->activityIndicator(), nullptr);
  clock.advance(0.02);
  ASSERT_EQ(wheels(), 1);
  EXPECT_EQ(dimmings(), 1);
  EXPECT_EQ(overlay->alpha(), 1);
  const auto wheel = overlay->activityIndicator();
  EXPECT_TRUE(wheel->isAnimating());
  EXPECT_EQ(wheel->activityIndicatorViewStyle(), UIActivityIndicatorViewStyle::WhiteLarge);
  EXPECT_EQ(wheel->center(), (CGPoint{160, 240}));
  window->setFrame(CGRectMake(0, 0, 640, 400));
  window->layoutIfNeeded();
  EXPECT_EQ(overlay->subviews()[0]->frame(), CGRectMake(0, 0, 640, 400)) << "covers a window that was made larger";
  EXPECT_EQ(wheel->center(), (CGPoint{320, 200}));

  overlay->stopActivity();
  EXPECT_EQ(wheels(), 0);
  EXPECT_EQ(dimmings(), 1) << "stays dimmed";
  EXPECT_EQ(overlay->activityIndicator(), wheel);
  overlay->setShowing_animated(false, true);
  EXPECT_EQ(overlay->superview(), covered);
  clock.advance(0.21);
  EXPECT_EQ(overlay->superview(), nullptr);
  EXPECT_TRUE(overlay->subviews().empty());
}

TEST_F(ProgressOverlay, AStopOrHideDuringTheFadeInLeavesNoWheel) {
  overlay->setShowing_animated(true, true);
  clock.advance(0.1);
  overlay->stopActivity();
  clock.advance(0.3);
  EXPECT_EQ(wheels(), 0);
  EXPECT_EQ(dimmings(), 1);
  EXPECT_EQ(overlay->alpha(), 1);

  const auto second = overlay = Overlay::initWithFrame(CGRectMake(0, 0, 320, 480));
  covered->addSubview(second);
  second->setShowing_animated(true, true);
  clock.advance(0.1);
  second->setShowing_animated(false, true);
  clock.advance(0.1);
  EXPECT_EQ(wheels(), 0);
  EXPECT_EQ(second->superview(), covered) << "still fading out";
  clock.advance(0.2);
  EXPECT_EQ(second->superview(), nullptr);
  EXPECT_EQ(wheels(), 0);
}

TEST_F(ProgressOverlay, AStopDuringTheFadeOutLetsItGoAllTheSame) {
  overlay->setShowing_animated(true, true);
  clock.advance(0.3);
  overlay->setShowing_animated(false, true);
  clock.advance(0.1);
  overlay->stopActivity();
  clock.advance(0.2);
  EXPECT_EQ(overlay->superview(), nullptr);
  EXPECT_TRUE(overlay->subviews().empty());
}

TEST_F(ProgressOverlay, ShownAgainWhileItFadesOutItStays) {
  overlay->setShowing_animated(true, true);
  clock.advance(0.3);
  overlay->setShowing_animated(false, true);
  clock.advance(0.1);
  overlay->setShowing_animated(true, true);
  clock.advance(0.3);
  EXPECT_EQ(overlay->superview(), covered);
  EXPECT_EQ(overlay->alpha(), 1);
  EXPECT_EQ(dimmings(), 1);
  EXPECT_EQ(wheels(), 1);
}

TEST_F(ProgressOverlay, SetIsShowingOnlyKeepsTheValue) {
  overlay->setIsShowing(true);
  EXPECT_TRUE(overlay->subviews().empty());
  overlay->setShowing_animated(true, true);
  EXPECT_TRUE(overlay->subviews().empty());
}
