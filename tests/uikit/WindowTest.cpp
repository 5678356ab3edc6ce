#include "tests/uikit/UIKitTestSupport.h"

namespace {

std::vector<std::string> events;

class LoggingController : public UIViewController {
 public:
  explicit LoggingController(std::string name) : name_(std::move(name)) {}
  void viewDidLoad() override { note("loaded"); }
  void viewWillAppear(bool animated) override {
    becomeFirstResponder();
    note("appears");
    UIViewController::viewWillAppear(animated);
  }
  void viewWillDisappear(bool animated) override {
    resignFirstResponder();
    note("disappears");
    UIViewController::viewWillDisappear(animated);
  }
  bool canBecomeFirstResponder() override { return true; }
  void motionEnded_withEvent(UIEventSubtype motion, const UIEvent& event) override {
    if (event.subtype() == UIEventSubtype::MotionShake) note("shaken");
    UIViewController::motionEnded_withEvent(motion, event);
  }
  void viewDidLayoutSubviews() override { note("laid out at " + width()); }
  void viewWillTransitionToSize_withTransitionCoordinator(CGSize size,
                                                          UIViewControllerTransitionCoordinator& coordinator) override {
    note("told at " + width());
    UIViewController::viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
    coordinator.animateAlongsideTransition_completion([this](auto&) { note("alongside at " + width()); },
                                                      [this](auto&) { note("completed"); });
  }

 private:
  std::string width() { return std::to_string(static_cast<int>(view()->bounds().size.width)); }
  void note(const std::string& what) { events.push_back(name_ + " " + what); }
  std::string name_;
};

class Window : public WindowFixture {
 protected:
  void SetUp() override {
    window->setRootViewController(parent);
    parent->addChildViewController(child);
    parent->view()->addSubview(child->view());
    child->didMoveToParentViewController(parent);
    window->layoutIfNeeded();
    events.clear();
  }
  void TearDown() override { events.clear(); }

  Strong<LoggingController> parent = std::make_shared<LoggingController>("parent");
  Strong<LoggingController> child = std::make_shared<LoggingController>("child");
};

using Events = std::vector<std::string>;

TEST_F(Window, ResizesInOrder) {
  child->view()->setFrame(parent->view()->bounds());
  window->layoutIfNeeded();
  events.clear();
  window->resize({500, 480}, 0.4);
  EXPECT_EQ(events, (Events{"parent told at 320", "child told at 320", "child alongside at 500",
                            "parent alongside at 500", "parent laid out at 500", "child laid out at 500"}));
  EXPECT_EQ(child->view()->layer()->presentationFrame().size.width, 320) << "and all of it is animated";
  events.clear();
  clock.advance(0.2);
  EXPECT_TRUE(events.empty());
  clock.advance(0.2);
  EXPECT_EQ(events, (Events{"child completed", "parent completed"}));
  events.clear();
  window->resize({500, 480}, 0.4);
  EXPECT_TRUE(events.empty()) << "no change, no transition";
  window->resize({320, 480}, 0);
  EXPECT_EQ(events.back(), "parent completed") << "without a duration all at once";
}

TEST_F(Window, AppearanceFollowsTheViewIntoAndOutOfTheWindow) {
  child->view()->removeFromSuperview();
  EXPECT_EQ(events, (Events{"child disappears"}));
  parent->view()->addSubview(child->view());
  parent->view()->addSubview(child->view());
  EXPECT_EQ(events, (Events{"child disappears", "child appears"}));
  events.clear();
  window->setRootViewController(nullptr);
  EXPECT_EQ(events, (Events{"parent disappears", "child disappears"}));
  EXPECT_EQ(parent->view()->superview(), nullptr);
  events.clear();
  window->setRootViewController(parent);
  window.reset();
  EXPECT_EQ(events, (Events{"parent appears", "child appears", "parent disappears", "child disappears"}))
      << "a window that goes lets its controllers know";
}

TEST_F(Window, AShakeReachesTheFirstResponderAndGoesUpFromThere) {
  EXPECT_EQ(UIResponder::firstResponder(), child);
  window->sendShake();
  EXPECT_EQ(events, (Events{"child shaken", "parent shaken"}));
  events.clear();
  EXPECT_TRUE(window->sendKey({"Z", false, true, false}));
  EXPECT_EQ(events.size(), 2u) << "the desktop's undo is a shake";
  child->view()->removeFromSuperview();
  EXPECT_FALSE(child->isFirstResponder());
  events.clear();
  window->sendShake();
  EXPECT_TRUE(events.empty());
}

TEST_F(Window, AChildMayGoBeforeItsView) {
  child->removeFromParentViewController();
  EXPECT_TRUE(parent->childViewControllers().empty());
  const Strong<UIView> view = child->view();
  view->removeFromSuperview();
  child.reset();
  EXPECT_EQ(view->viewController(), nullptr);
  window->addSubview(view);
  window->layoutIfNeeded();
}

}  // namespace
