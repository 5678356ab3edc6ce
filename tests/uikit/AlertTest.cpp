#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIPanelButton.h"
#include "tests/uikit/UIKitTestSupport.h"

#include <algorithm>

namespace {

using Style = UIAlertActionStyle;

class Alert : public testing::Test {
 protected:
  void add(const std::string& title, Style style) {
    alert->addAction(UIAlertAction::actionWithTitle_style_handler(
        title, style, [this](UIAlertAction& action) { chosen.push_back(action.title()); }));
  }
  void present() {
    window->rootViewController()->presentViewController_animated_completion(alert, false, nullptr);
    window->layoutIfNeeded();
  }
  bool key(const char* name) {
    const bool meant = window->sendKey({name, false, false, false});
    clock.advance(1);
    return meant;
  }
  bool isOnScreen() { return window->rootViewController()->presentedViewController() != nullptr; }
  /// The titles that stand out.
  std::string emphasized() {
    std::string titles;
    for (const auto& subview : alert->view()->subviews()) {
      const auto button = std::dynamic_pointer_cast<UIPanelButton>(subview);
      if (button && button->titleLabel()->font().semibold) titles += button->titleLabel()->text();
    }
    return titles;
  }
  CGRect frameOf(const std::string& label) {
    for (const auto& [view, element] : window->reachableElements()) {
      if (element.label == label) return element.frame;
    }
    return CGRectZero;
  }

  StoppedClock clock;
  Strong<UIWindow> window = windowOfSize(320, 480);
  Strong<UIAlertController> alert = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      "Published", "The video can be seen now.", UIAlertControllerStyle::Alert);
  std::vector<std::string> chosen;
};

TEST_F(Alert, TwoShortActionsStandSideBySideAndATouchBesideDoesNothing) {
  add("View", Style::Default);
  add("Close", Style::Cancel);
  present();
  const CGRect view = frameOf("View"), close = frameOf("Close"), title = frameOf("Published");
  EXPECT_EQ(view.origin.y, close.origin.y);
  EXPECT_EQ(close.maxX(), view.origin.x) << "the way out at the left";
  EXPECT_EQ(close.origin.x, 25);
  EXPECT_EQ(view.maxX(), 295);
  EXPECT_GT(close.origin.y, title.maxY());
  tap(*window, {5, 5});
  tap(*window, {160, title.origin.y + 2});
  EXPECT_TRUE(isOnScreen());
  tap(*window, {view.origin.x + 10, view.origin.y + 10});
  EXPECT_FALSE(isOnScreen());
  EXPECT_TRUE(chosen.empty()) << "not before the alert has gone";
  clock.advance(1);
  EXPECT_EQ(chosen, (std::vector<std::string>{"View"}));
}

TEST_F(Alert, ReturnTakesTheDefaultAndEscapeTheWayOut) {
  struct Case {
    std::vector<std::pair<std::string, Style>> actions;
    std::string preferred, byReturn, byEscape;
  };
  const Case cases[] = {
      {{{"View", Style::Default}, {"Close", Style::Cancel}}, "", "View", "Close"},
      {{{"OK", Style::Default}}, "", "OK", "OK"},
      {{{"Close", Style::Cancel}}, "", "Close", "Close"},
      {{{"One", Style::Default}, {"Two", Style::Default}}, "", "One", ""},
      {{{"Delete", Style::Destructive}, {"Cancel", Style::Cancel}}, "", "", "Cancel"},
      {{{"One", Style::Default}, {"Two", Style::Default}}, "Two", "Two", ""},
  };
  for (const Case& each : cases) {
    for (const bool byReturn : {true, false}) {
      alert =
          UIAlertController::alertControllerWithTitle_message_preferredStyle("T", "M", UIAlertControllerStyle::Alert);
      chosen.clear();
      for (const auto& [title, style] : each.actions) add(title, style);
      const auto preferred = std::find_if(alert->actions().begin(), alert->actions().end(),
                                          [&](const auto& action) { return action->title() == each.preferred; });
      if (preferred != alert->actions().end()) alert->setPreferredAction(*preferred);
      present();
      EXPECT_EQ(emphasized(), each.byReturn.empty() ? each.byEscape : each.byReturn);
      const std::string& expected = byReturn ? each.byReturn : each.byEscape;
      EXPECT_EQ(key(byReturn ? "Return" : "Escape"), !expected.empty());
      EXPECT_EQ(chosen, expected.empty() ? std::vector<std::string>() : std::vector<std::string>{expected});
      if (isOnScreen()) window->rootViewController()->dismissViewControllerAnimated_completion(false, nullptr);
    }
  }
}

TEST_F(Alert, TheFocusedButtonIsTheOneThatReturnPresses) {
  add("View", Style::Default);
  add("Close", Style::Cancel);
  present();
  key("Tab");
  EXPECT_EQ(window->focusedLabel(), "Close");
  key("Return");
  key("Return");
  EXPECT_EQ(chosen, (std::vector<std::string>{"Close"}));
}

TEST_F(Alert, LongTitlesStandBelowEachOtherAndALongMessageScrolls) {
  alert = UIAlertController::alertControllerWithTitle_message_preferredStyle("Failed", std::string(4000, 'x'),
                                                                             UIAlertControllerStyle::Alert);
  add("Cancel", Style::Cancel);
  add("Try once more with another name", Style::Default);
  present();
  for (const CGSize size : {CGSize{320, 480}, CGSize{200, 260}}) {
    window->resize(size, 0);
    window->layoutIfNeeded();
    const CGRect again = frameOf("Try once more with another name"), cancel = frameOf("Cancel");
    EXPECT_EQ(again.maxY(), cancel.origin.y) << "the way out comes last";
    EXPECT_EQ(cancel.maxY(), size.height - 16);
    EXPECT_EQ(cancel.size.width, std::min(270.0F, size.width - 32));
    EXPECT_GT(again.origin.y, 16);
  }
}

}  // namespace
