#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIPopoverPresentationController.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/uikit/SystemActivities.h"
#include "tests/uikit/UIKitTestSupport.h"

#include <algorithm>

namespace {

using Category = UIActivityCategory;

/// Writes down what the sheet asks of it.
class Sharing : public UIActivity {
 public:
  Sharing(std::string type, Category category) : type_(std::move(type)), category_(category) {}
  UIActivityCategory activityCategory() const override { return category_; }
  std::string activityType() const override { return type_; }
  std::string activityTitle() const override { return type_ + " title"; }
  bool canPerformWithActivityItems(const std::vector<UIActivityItem>&) override { return able; }
  void prepareWithActivityItems(const std::vector<UIActivityItem>& items) override {
    log.emplace_back("prepare");
    prepared = items;
  }
  Strong<UIViewController> activityViewController() override {
    log.emplace_back("controller");
    return controller;
  }
  void performActivity() override { log.emplace_back("perform"); }

  bool able = true;
  Strong<UIViewController> controller;
  std::vector<std::string> log;
  std::vector<UIActivityItem> prepared;

 private:
  std::string type_;
  Category category_;
};

class ShareSheet : public testing::Test {
 protected:
  void SetUp() override { setSystemActivities({copy, mail, message, save, post}); }
  void TearDown() override {
    window->setRootViewController(nullptr);
    setSystemActivities({});
  }

  void make(const std::vector<Strong<UIActivity>>& own = {}) {
    sheet = UIActivityViewController::initWithActivityItems_applicationActivities(items, own);
    sheet->setCompletionWithItemsHandler([this](const std::string& type, bool completed, const auto&, const auto&) {
      reports.push_back(type + (completed ? " done" : " not done"));
    });
  }
  void present() {
    root->presentViewController_animated_completion(sheet, false, nullptr);
    window->layoutIfNeeded();
  }
  bool key(const char* name) {
    const bool meant = window->sendKey({name, false, false, false});
    clock.advance(1);
    return meant;
  }
  std::vector<std::string> types() {
    std::vector<std::string> shown;
    for (const auto& activity : sheet->activities()) shown.push_back(activity->activityType());
    return shown;
  }
  CGRect frameOf(const std::string& label) {
    for (const auto& [view, element] : window->reachableElements()) {
      if (element.label == label) return element.frame;
    }
    ADD_FAILURE() << "no " << label;
    return CGRectZero;
  }
  void press(const std::string& label) {
    const CGRect frame = frameOf(label);
    tap(*window, {frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2});
  }
  void pick(const std::string& type) {
    press(type + " title");
    clock.advance(1);
  }

  StoppedClock clock;
  Strong<UIWindow> window = windowOfSize(320, 480);
  Strong<UIViewController> root = window->rootViewController();
  std::vector<UIActivityItem> items{std::string("A movie"), std::string("https://store/app"),
                                    NSURL::fileURLWithPath("/nowhere/movie.mp4")};
  static Strong<Sharing> make(const char* type, Category category) { return std::make_shared<Sharing>(type, category); }
  Strong<Sharing> mail = make("Mail", Category::Share), message = make("Message", Category::Share),
                  copy = make("Copy", Category::Action), post = make("Post", Category::Share),
                  save = make("Save", Category::Action), publish = make("Publish", Category::Share);
  Strong<UIActivityViewController> sheet;
  std::vector<std::string> reports;
};

TEST_F(ShareSheet, OrdersActivitiesAndLeavesOutThoseThatCannotWork) {
  using Types = std::vector<std::string>;
  make({publish});
  EXPECT_EQ(types(), (Types{"Mail", "Message", "Post", "Publish", "Copy", "Save"}));
  sheet->setActivityTypeOrder({"Mail", "Message", "Publish", "Copy", "Post", "Unknown"});
  EXPECT_EQ(types(), (Types{"Mail", "Message", "Publish", "Copy", "Post", "Save"}));
  message->able = false;
  publish->able = false;
  make({publish});
  sheet->setActivityTypeOrder({"Copy", "Message"});
  EXPECT_EQ(types(), (Types{"Copy", "Mail", "Post", "Save"}));
}

TEST_F(ShareSheet, APickedActivityIsCarriedOutWithTheSheetOutOfTheWayAndReported) {
  make();
  present();
  pick("Mail");
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(mail->log, (std::vector<std::string>{"prepare", "controller", "perform"}));
  EXPECT_EQ(mail->prepared, items);
  EXPECT_EQ(mail->activityPresenter(), root);
  const Weak<UIActivityViewController> watched = sheet;
  sheet.reset();
  EXPECT_FALSE(watched.expired()) << "it waits for the activity";
  EXPECT_TRUE(reports.empty());
  mail->activityDidFinish(true);
  mail->activityDidFinish(false);
  EXPECT_EQ(reports, (std::vector<std::string>{"Mail done"}));
  EXPECT_TRUE(watched.expired());

  make();
  present();
  press("Copy title");
  tap(*window, {160, 470});  // where the sheet still is to be seen
  clock.advance(1);
  copy->activityDidFinish(false);
  EXPECT_EQ(reports.back(), "Copy not done");
  EXPECT_EQ(reports.size(), 2u);
}

TEST_F(ShareSheet, AnActivitysControllerIsPresentedAndTakenAwayAtTheEnd) {
  publish->controller = std::make_shared<UIViewController>();
  make({publish});
  present();
  pick("Publish");
  EXPECT_EQ(publish->log, (std::vector<std::string>{"prepare", "controller"}));
  EXPECT_EQ(root->presentedViewController(), publish->controller);
  EXPECT_EQ(publish->activityPresenter(), publish->controller) << "an alert is to stand above the form";
  publish->activityDidFinish(true);
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(reports, (std::vector<std::string>{"Publish done"}));
}

TEST_F(ShareSheet, EveryWayToCancelReportsNothingDone) {
  const auto cancelled = [&](const std::string& how, const std::function<void()>& cancel) {
    SCOPED_TRACE(how);
    reports.clear();
    make();
    present();
    cancel();
    EXPECT_EQ(root->presentedViewController(), nullptr);
    clock.advance(1);
    EXPECT_EQ(reports, (std::vector<std::string>{" not done"}));
  };
  cancelled("button", [&] { press("Cancel"); });
  cancelled("Escape", [&] { key("Escape"); });
  cancelled("beside", [&] { tap(*window, {160, 10}); });
  cancelled("twice", [&] {
    press("Cancel");
    key("Escape");
  });
  for (const auto& activity : {mail, copy}) EXPECT_TRUE(activity->log.empty());
}

TEST_F(ShareSheet, AWindowThatClosesEndsAnActivityWithoutAReport) {
  make();
  present();
  pick("Mail");
  const Weak<UIActivityViewController> watched = sheet;
  sheet.reset();
  window->setRootViewController(nullptr);
  EXPECT_TRUE(mail->isFinished());
  EXPECT_TRUE(reports.empty());
  EXPECT_TRUE(watched.expired());

  window->setRootViewController(root);
  make();
  present();
  press("Copy title");
  window->setRootViewController(nullptr);
  clock.advance(1);
  EXPECT_TRUE(copy->log.empty()) << "closed before it began";
}

TEST_F(ShareSheet, TheKeyboardReachesEveryIcon) {
  make();
  present();  // three columns: Mail Message Post / Copy Save
  const auto at = [&](std::initializer_list<const char*> keys) {
    for (const char* each : keys) EXPECT_TRUE(key(each));
    return window->focusedLabel();
  };
  EXPECT_EQ(at({"Right"}), "Mail title") << "the first key shows where the focus is";
  EXPECT_EQ(at({"Left"}), "Mail title");
  EXPECT_EQ(at({"Right", "Right"}), "Post title");
  EXPECT_EQ(at({"Left", "Down"}), "Save title");
  EXPECT_EQ(at({"Up"}), "Message title");
  EXPECT_EQ(at({"Down", "Down"}), "Cancel");
  EXPECT_EQ(at({"Up", "Tab"}), "Cancel") << "Tab goes on in reading order";
  EXPECT_EQ(at({"Tab", "Tab"}), "Message title");
  key("Return");
  EXPECT_EQ(message->log.back(), "perform");
}

TEST_F(ShareSheet, StandsAtTheBottomAndScrollsWhereThereIsNoRoom) {
  make();
  present();
  EXPECT_EQ(sheet->view()->frame().maxY(), 472);
  EXPECT_EQ(sheet->view()->frame().size.width, 304);
  EXPECT_LT(frameOf("Mail title").origin.y, frameOf("Copy title").origin.y);
  window->resize({1000, 700}, 0);
  EXPECT_EQ(frameOf("Cancel"), CGRectMake(260, 635, 480, 57));
  EXPECT_EQ(frameOf("Mail title").origin.y, frameOf("Save title").origin.y) << "all in one row";

  window->resize({160, 260}, 0);  // one column, and room for one row
  const CGRect cancel = frameOf("Cancel");
  EXPECT_EQ(cancel.maxY(), 252);
  EXPECT_GT(frameOf("Save title").origin.y, cancel.origin.y);
  for (int i = 0; i < 5; ++i) key("Down");
  EXPECT_EQ(window->focusedLabel(), "Save title");
  EXPECT_LE(frameOf("Save title").maxY(), cancel.origin.y) << "what has the focus is scrolled into sight";

  // A drag over the icons scrolls and picks nothing.
  const CGFloat before = frameOf("Mail title").origin.y;
  touch(*window, UITouchPhase::Began, {80, 60});
  for (const CGFloat y : {70.0F, 100.0F, 160.0F}) touch(*window, UITouchPhase::Moved, {80, y});
  touch(*window, UITouchPhase::Ended, {80, 160});
  EXPECT_GT(frameOf("Mail title").origin.y, before);
  clock.advance(1);
  EXPECT_NE(root->presentedViewController(), nullptr);
}

TEST_F(ShareSheet, APopoverHasNoCancelButtonAndClosesBeside) {
  const auto bar = viewIn<UIToolbar>(root->view(), CGRectMake(0, 0, 320, 60));
  const auto item =
      UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::Action, nullptr, SEL());
  bar->setItems({item});
  make();
  sheet->setModalPresentationStyle(UIModalPresentationStyle::Popover);
  sheet->popoverPresentationController()->setBarButtonItem(item);
  present();
  for (const auto& [view, element] : window->reachableElements()) EXPECT_NE(element.label, "Cancel");
  EXPECT_GT(sheet->view()->frame().origin.y, 50);
  tap(*window, {310, 470});
  clock.advance(1);
  EXPECT_EQ(reports, (std::vector<std::string>{" not done"}));
}

}  // namespace
