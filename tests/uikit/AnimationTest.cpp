#include "tests/uikit/UIKitTestSupport.h"

namespace {

class Animation : public testing::Test {
 protected:
  float shown() const { return view->layer()->presentationOpacity(); }
  /// An animation whose end is written down by this name.
  void animate(const std::string& name, double seconds, const std::function<void()>& changes) {
    UIView::animateWithDuration_animations_completion(seconds, changes, [this, name](bool finished) {
      log.push_back(name + (finished ? " finished" : " replaced"));
    });
  }

  StoppedClock clock;
  Strong<UIView> view = std::make_shared<UIView>();
  std::vector<std::string> log;
};

TEST_F(Animation, EasesToTheNewValueAndTurnsRoundInMidFlightWithoutAJump) {
  animate("out", 0.25, [&] { view->setAlpha(0); });
  EXPECT_EQ(view->alpha(), 0) << "the model has the new value at once";
  EXPECT_EQ(shown(), 1);
  clock.advance(0.025);
  EXPECT_GT(shown(), 0.95f) << "slow at first";
  clock.advance(0.1);
  EXPECT_NEAR(shown(), 0.5f, 0.001f);
  EXPECT_TRUE(log.empty());
  const float before = shown();
  animate("in", 0.25, [&] { view->setAlpha(1); });
  EXPECT_EQ(shown(), before);
  EXPECT_EQ(log, (std::vector<std::string>{"out replaced"}));
  clock.advance(0.125);
  EXPECT_NEAR(shown(), 0.75f, 0.001f);
  clock.advance(0.1);
  EXPECT_GT(shown(), 0.97f) << "and at the end";
  EXPECT_TRUE(CAAnimator::shared().isAnimating());
  clock.advance(0.025);
  EXPECT_EQ(shown(), 1);
  EXPECT_EQ(log, (std::vector<std::string>{"out replaced", "in finished"}));
  EXPECT_FALSE(CAAnimator::shared().isAnimating());
}

TEST_F(Animation, MovesFramesAndWhatIsLaidOutWithThem) {
  view->setFrame(CGRectMake(0, 0, 100, 100));
  const auto inner = viewIn(view, CGRectMake(0, 0, 100, 10));
  inner->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  animate("move", 1, [&] {
    view->setFrame(CGRectMake(50, 0, 150, 100));
    view->setFrame(CGRectMake(100, 0, 200, 100));
  });
  clock.advance(0.5);
  EXPECT_NEAR(view->layer()->presentationFrame().origin.x, 50, 0.01);
  EXPECT_NEAR(inner->layer()->presentationFrame().size.width, 150, 0.01);
  EXPECT_TRUE(log.empty());
  animate("fade", 1, [&] {
    view->setAlpha(0.5f);
    view->setAlpha(0);
  });
  view->setFrame(CGRectMake(7, 0, 200, 100));
  EXPECT_EQ(view->layer()->presentationFrame().origin.x, 7) << "a plain change shows at once";
  clock.advance(0.5);
  EXPECT_EQ(inner->layer()->presentationFrame().size.width, 200);
  clock.advance(0.5);
  EXPECT_EQ(log, (std::vector<std::string>{"move replaced", "fade finished"}))
      << "two changes in one block are one animation";
}

TEST_F(Animation, CompletesOnceWhateverHappens) {
  animate("none", 0, [&] { view->setAlpha(0.5f); });
  EXPECT_EQ(shown(), 0.5f);
  animate("same", 1, [&] { view->setAlpha(0.5f); });
  EXPECT_EQ(log, (std::vector<std::string>{"none finished", "same finished"}));

  log.clear();
  const auto other = std::make_shared<UIView>();
  animate("both", 1, [&] {
    view->setAlpha(1);
    other->setAlpha(0);
  });
  animate("longer", 2, [&] { view->setAlpha(0); });
  view.reset();  // the animation goes with its layer, and its completion still comes
  EXPECT_TRUE(log.empty());
  clock.advance(1);
  EXPECT_EQ(log, (std::vector<std::string>{"longer replaced", "both replaced"}));
  EXPECT_FALSE(CAAnimator::shared().isAnimating());
}

TEST_F(Animation, MayStartInACompletion) {
  int starts = 0;
  CAAnimator::shared().setStartHandler([&] { ++starts; });
  UIView::animateWithDuration_animations_completion(
      1, [&] { view->setAlpha(0); }, [&](bool) { animate("second", 1, [&] { view->setAlpha(1); }); });
  EXPECT_EQ(starts, 1);
  clock.advance(1);
  EXPECT_EQ(shown(), 0);
  clock.advance(1);
  EXPECT_EQ(log, (std::vector<std::string>{"second finished"}));
  CAAnimator::shared().setStartHandler(nullptr);
}

}  // namespace
