#include "platform/QuartzCore/CATransaction.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

using A = NSLayoutAttribute;

void constrain(const Strong<UIView>& holder, const Strong<UIView>& item, A attribute, const Strong<UIView>& toItem,
               A toAttribute, float multiplier = 1, float constant = 0) {
  holder->addConstraint(NSLayoutConstraint::constraintWithItem_attribute_relatedBy_toItem_attribute_multiplier_constant(
      item, attribute, NSLayoutRelation::Equal, toItem, toAttribute, multiplier, constant));
}

/// A strip above a bar at the bottom, or on the bottom edge itself.
class StripLayout : public testing::Test {
 protected:
  void SetUp() override {
    root->setFrame(CGRectMake(0, 0, 320, 568));
    bar = viewIn<UIToolbar>(root, CGRectMake(0, 524, 320, 44));
    bar->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
    strip = viewIn(root, CGRectZero);
    strip->setTranslatesAutoresizingMaskIntoConstraints(false);
    inStrip = viewIn(strip, CGRectMake(0, 0, 0, 38));
    inStrip->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  }

  void placeStripOn(const Strong<UIView>& below, A edge) {
    constrain(root, strip, A::Leading, root, A::Leading);
    constrain(root, strip, A::Trailing, root, A::Trailing);
    constrain(root, strip, A::Bottom, below, edge);
    constrain(root, strip, A::Height, nullptr, A::NotAnAttribute, 1, 38);
  }

  Strong<UIView> root = std::make_shared<UIView>();
  Strong<UIToolbar> bar;
  Strong<UIView> strip, inStrip;
};

TEST_F(StripLayout, FollowsTheBarAndTheRootAndGoesFromOneToTheOtherAlthoughOldConstraintsStay) {
  placeStripOn(bar, A::Top);
  root->layoutIfNeeded();
  EXPECT_EQ(strip->frame(), CGRectMake(0, 486, 320, 38));
  EXPECT_EQ(inStrip->frame(), CGRectMake(0, 0, 320, 38));

  bar->removeFromSuperview();
  EXPECT_EQ(root->constraints().size(), 3u) << "the constraint on the bar goes with the bar";
  placeStripOn(root, A::Bottom);
  root->layoutIfNeeded();
  EXPECT_EQ(strip->frame(), CGRectMake(0, 530, 320, 38));

  root->addSubview(bar);
  placeStripOn(bar, A::Top);
  root->layoutIfNeeded();
  EXPECT_EQ(strip->frame(), CGRectMake(0, 486, 320, 38)) << "the latest of two bottoms holds";
  root->addSubview(bar);
  EXPECT_EQ(root->constraints().size(), 11u) << "moving to the front drops nothing";

  bar->setFrame(CGRectMake(0, 300, 320, 44));
  root->layoutIfNeeded();
  EXPECT_EQ(strip->frame(), CGRectMake(0, 262, 320, 38));

  root->setFrame(CGRectMake(0, 0, 500, 568));
  root->layoutIfNeeded();
  EXPECT_EQ(strip->frame(), CGRectMake(0, 262, 500, 38));
  EXPECT_EQ(inStrip->frame(), CGRectMake(0, 0, 500, 38));
}

TEST(Constraints, AreSolvedInAnyOrderThroughSiblingsAndBothAxes) {
  const auto root = std::make_shared<UIView>();
  root->setFrame(CGRectMake(50, 50, 400, 300));
  const auto a = viewIn(root, CGRectZero), b = viewIn(root, CGRectMake(0, 0, 0, 20)), c = viewIn(a, CGRectZero);
  for (const auto& view : {a, b, c}) view->setTranslatesAutoresizingMaskIntoConstraints(false);
  // c lies in a, b hangs on a, and a comes last.
  constrain(root, c, A::CenterX, root, A::CenterX);
  constrain(root, c, A::Width, root, A::Width, 0.25f, 30);
  constrain(root, c, A::Top, a, A::Top, 1, 5);
  constrain(root, b, A::Left, a, A::Right, 1, 8);
  constrain(root, b, A::Width, a, A::Height, 0.25f);
  constrain(root, b, A::CenterY, a, A::CenterY);
  constrain(root, root, A::Right, a, A::Right, 1, 100);  // said from the other side
  constrain(root, a, A::Width, nullptr, A::NotAnAttribute, 1, 120);
  constrain(root, a, A::Top, root, A::Top, 1, 10);
  constrain(root, a, A::Bottom, root, A::Bottom, 1, -50);
  root->layoutIfNeeded();
  EXPECT_EQ(a->frame(), CGRectMake(180, 10, 120, 240));
  EXPECT_EQ(b->frame(), CGRectMake(308, 120, 60, 20));
  EXPECT_EQ(c->frame(), CGRectMake(200 - 65 - 180, 5, 130, 0));
}

TEST(Autoresizing, WidthFollowsAndMarginsShareInProportion) {
  const auto root = std::make_shared<UIView>();
  root->setFrame(CGRectMake(0, 0, 200, 100));
  const auto wide = viewIn(root, CGRectMake(20, 0, 160, 60));
  wide->setAutoresizingMask(2);
  const auto floating = viewIn(root, CGRectMake(30, 20, 80, 40));  // margins 30 and 90, 20 and 40
  floating->setAutoresizingMask(45);
  const auto fixed = viewIn(root, CGRectMake(1, 2, 3, 4));

  root->setFrame(CGRectMake(0, 0, 320, 160));
  EXPECT_EQ(wide->frame(), CGRectMake(20, 0, 280, 60));
  EXPECT_EQ(floating->frame(), CGRectMake(60, 40, 80, 40));
  EXPECT_EQ(fixed->frame(), CGRectMake(1, 2, 3, 4));
  root->setFrame(CGRectMake(0, 0, 200, 100));
  EXPECT_EQ(floating->frame(), CGRectMake(30, 20, 80, 40));
  root->setFrame(CGRectMake(0, 0, 10, 100));
  EXPECT_EQ(wide->frame().size.width, 0) << "never negative";
}

class Restless : public UIView {
 public:
  int passes = 0;
  void layoutSubviews() override {
    ++passes;
    setNeedsLayout();
  }
};

class LaidOutController : public UIViewController {
 public:
  std::vector<CGRect> seen;
  Strong<UIView> watched;
  void viewDidLayoutSubviews() override { seen.push_back(watched->frame()); }
};

TEST(LayoutPass, EndsThoughAViewAlwaysAsksAgainAndTellsTheControllerAfterConstraints) {
  const auto window = windowOfSize(100, 100);
  const auto controller = std::make_shared<LaidOutController>();
  controller->watched = std::make_shared<UIView>();
  controller->watched->setTranslatesAutoresizingMaskIntoConstraints(false);
  window->setRootViewController(controller);
  controller->view()->addSubview(controller->watched);
  constrain(controller->view(), controller->watched, A::Width, controller->view(), A::Width, 0.5f);
  const auto restless = viewIn<Restless>(controller->view(), CGRectMake(0, 0, 10, 10));
  window->layoutIfNeeded();
  ASSERT_EQ(controller->seen.size(), 1u);
  EXPECT_EQ(controller->seen[0].size.width, 50);
  EXPECT_GE(restless->passes, 1);
  EXPECT_LT(restless->passes, 20);
}

TEST(Transaction, SchedulesOneCommitForAnyNumberOfChanges) {
  int scheduled = 0;
  CATransaction::commit();
  CATransaction::setCommitHandler([&] { ++scheduled; });
  const auto view = std::make_shared<UIView>();
  const auto other = viewIn(view, CGRectMake(0, 0, 10, 10));
  view->setAlpha(0.5f);
  EXPECT_EQ(scheduled, 1);
  CATransaction::commit();
  view->setAlpha(0.5f);
  other->setFrame(CGRectMake(0, 0, 10, 10));
  EXPECT_EQ(scheduled, 1) << "nothing changed";
  other->setHidden(true);
  EXPECT_EQ(scheduled, 2);
  CATransaction::setCommitHandler(nullptr);
  CATransaction::commit();
}

TEST(ViewTree, ALayerMayOutliveItsView) {
  const auto root = std::make_shared<UIView>();
  auto gone = viewIn(root, CGRectZero);
  const auto orphan = gone->layer();
  gone->removeFromSuperview();
  gone.reset();
  EXPECT_EQ(orphan->superlayer(), nullptr);
  EXPECT_EQ(orphan->view(), nullptr);
}

}  // namespace
