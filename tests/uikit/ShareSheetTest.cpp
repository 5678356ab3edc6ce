#include "platform/UIKit/UIActivityViewController.h"
#include "tests/uikit/SystemActivities.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

using Category = UIActivityCategory;

/// Writes down what the sheet asks of it.
class Sharing : public NamedActivity {
 public:
  using NamedActivity::NamedActivity;
  bool canPerformWithActivityItems(const std::vector<UIActivityItem>&) override { return able; }
  void prepareWithActivityItems(const std::vector<UIActivityItem>& items) override {
    log.emplace_back("prepare");
    prepared = items;
  }
  Strong<UIViewController> activityViewController() override {
    log.emplace_back("controller");
    return nullptr;
  }
  void performActivity() override { log.emplace_back("perform"); }

  bool able = true;
  std::vector<std::string> log;
  std::vector<UIActivityItem> prepared;
};

class ShareSheet : public WindowFixture {
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
  void show() {
    make();
    present(sheet);
  }
  Texts types() {
    Texts shown;
    for (const auto& activity : sheet->activities()) shown.push_back(activity->activityType());
    return shown;
  }
  void press(const std::string& label) {
    const CGRect frame = frameOf(label);
    tap(*window, {frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2});
  }
  void pick(const std::string& type) {
    press(type);
    clock.advance(1);
  }

  Strong<UIViewController> screen = window->rootViewController();
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
  message->able = false;
  make({publish});
  EXPECT_EQ(types(), (Texts{"Mail", "Post", "Publish", "Copy", "Save"}));
  sheet->setActivityTypeOrder({"Copy", "Message", "Unknown"});
  EXPECT_EQ(types(), (Texts{"Copy", "Mail", "Post", "Publish", "Save"}));
}

TEST_F(ShareSheet, APickedActivityIsCarriedOutWithTheSheetOutOfTheWayAndReported) {
  show();
  pick("Mail");
  EXPECT_EQ(screen->presentedViewController(), nullptr);
  EXPECT_EQ(mail->log, (Texts{"prepare", "controller", "perform"}));
  EXPECT_EQ(mail->prepared, items);
  EXPECT_EQ(mail->activityPresenter(), screen);
  const Weak<UIActivityViewController> watched = sheet;
  sheet.reset();
  EXPECT_FALSE(watched.expired()) << "it waits for the activity";
  EXPECT_TRUE(reports.empty());
  mail->activityDidFinish(true);
  mail->activityDidFinish(false);
  EXPECT_EQ(reports, (Texts{"Mail done"}));
  EXPECT_TRUE(watched.expired());

  show();
  press("Copy");
  tap(*window, {160, 470});  // where the sheet still is to be seen
  clock.advance(1);
  copy->activityDidFinish(false);
  EXPECT_EQ(reports.back(), "Copy not done");
  EXPECT_EQ(reports.size(), 2u);
}

TEST_F(ShareSheet, EveryWayToCancelReportsNothingDone) {
  const auto cancelled = [&](const std::string& how, const std::function<void()>& cancel) {
    SCOPED_TRACE(how);
    reports.clear();
    show();
    cancel();
    EXPECT_EQ(screen->presentedViewController(), nullptr);
    clock.advance(1);
    EXPECT_EQ(reports, (Texts{" not done"}));
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
  show();
  pick("Mail");
  const Weak<UIActivityViewController> watched = sheet;
  sheet.reset();
  window->setRootViewController(nullptr);
  EXPECT_TRUE(mail->isFinished());
  EXPECT_TRUE(reports.empty());
  EXPECT_TRUE(watched.expired());

  window->setRootViewController(screen);
  show();
  press("Copy");
  window->setRootViewController(nullptr);
  clock.advance(1);
  EXPECT_TRUE(copy->log.empty()) << "closed before it began";
}

TEST_F(ShareSheet, TheKeyboardReachesEveryIcon) {
  show();  // three columns: Mail Message Post / Copy Save
  const auto at = [&](std::initializer_list<const char*> keys) {
    for (const char* each : keys) EXPECT_TRUE(key(each));
    return window->focusedLabel();
  };
  EXPECT_EQ(at({"Right"}), "Mail") << "the first key shows where the focus is";
  EXPECT_EQ(at({"Left"}), "Mail");
  EXPECT_EQ(at({"Right", "Right"}), "Post");
  EXPECT_EQ(at({"Left", "Down"}), "Save");
  EXPECT_EQ(at({"Up"}), "Message");
  EXPECT_EQ(at({"Down", "Down"}), "Cancel");
  EXPECT_EQ(at({"Up", "Tab"}), "Cancel") << "Tab goes on in reading order";
  EXPECT_EQ(at({"Tab", "Tab"}), "Message");
  key("Return");
  EXPECT_EQ(message->log.back(), "perform");
}

TEST_F(ShareSheet, ScrollsWhereThereIsNoRoom) {
  show();
  window->resize({1000, 700}, 0);
  EXPECT_EQ(frameOf("Cancel"), CGRectMake(260, 635, 480, 57));
  EXPECT_EQ(frameOf("Mail").origin.y, frameOf("Save").origin.y) << "all in one row";

  window->resize({160, 260}, 0);  // one column, and room for one row
  const CGRect cancel = frameOf("Cancel");
  EXPECT_EQ(cancel.maxY(), 252);
  EXPECT_GT(frameOf("Save").origin.y, cancel.origin.y);
  for (int i = 0; i < 5; ++i) key("Down");
  EXPECT_EQ(window->focusedLabel(), "Save");
  EXPECT_LE(frameOf("Save").maxY(), cancel.origin.y) << "what has the focus is scrolled into sight";

  // A drag over the icons scrolls and picks nothing.
  const CGFloat before = frameOf("Mail").origin.y;
  touch(*window, UITouchPhase::Began, {80, 60});
  for (const CGFloat y : {70.0F, 100.0F, 160.0F}) touch(*window, UITouchPhase::Moved, {80, y});
  touch(*window, UITouchPhase::Ended, {80, 160});
  EXPECT_GT(frameOf("Mail").origin.y, before);
  clock.advance(1);
  EXPECT_NE(screen->presentedViewController(), nullptr);
}

}  // namespace
