#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIPanelButton.h"
#include "tests/uikit/UIKitTestSupport.h"

#include <algorithm>

namespace {

using Style = UIAlertActionStyle;

class Alert : public WindowFixture {
 protected:
  void add(const std::string& title, Style style) {
    alert->addAction(UIAlertAction::actionWithTitle_style_handler(
        title, style, [this](UIAlertAction& action) { chosen.push_back(action.title()); }));
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

  Strong<UIAlertController> alert = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      "Published", "The video can be seen now.", UIAlertControllerStyle::Alert);
  Texts chosen;
};

TEST_F(Alert, TwoShortActionsStandSideBySideAndATouchBesideDoesNothing) {
  add("View", Style::Default);
  add("Close", Style::Cancel);
  present(alert);
  const CGRect view = frameOf("View"), close = frameOf("Close"), title = frameOf("Published");
  EXPECT_EQ(view.origin.y, close.origin.y);
  EXPECT_EQ(close.maxX(), view.origin.x) << "the way out at the left";
  EXPECT_GT(close.origin.y, title.maxY());
  tap(*window, {5, 5});
  tap(*window, {160, title.origin.y + 2});
  EXPECT_TRUE(isOnScreen());
  tap(*window, {view.origin.x + 10, view.origin.y + 10});
  EXPECT_FALSE(isOnScreen());
  EXPECT_TRUE(chosen.empty()) << "not before the alert has gone";
  clock.advance(1);
  EXPECT_EQ(chosen, Texts{"View"});
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
      present(alert);
      EXPECT_EQ(emphasized(), each.byReturn.empty() ? each.byEscape : each.byReturn);
      const std::string& expected = byReturn ? each.byReturn : each.byEscape;
      EXPECT_EQ(key(byReturn ? "Return" : "Escape"), !expected.empty());
      EXPECT_EQ(chosen, expected.empty() ? Texts() : Texts{expected});
      if (isOnScreen()) window->rootViewController()->dismissViewControllerAnimated_completion(false, nullptr);
    }
  }
}

TEST_F(Alert, TheFocusedButtonIsTheOneThatReturnPresses) {
  add("View", Style::Default);
  add("Close", Style::Cancel);
  present(alert);
  key("Tab");
  EXPECT_EQ(window->focusedLabel(), "Close");
  key("Return");
  key("Return");
  EXPECT_EQ(chosen, Texts{"Close"});
}

TEST_F(Alert, LongTitlesStandBelowEachOtherAndALongMessageScrolls) {
  alert = UIAlertController::alertControllerWithTitle_message_preferredStyle("Failed", std::string(4000, 'x'),
                                                                             UIAlertControllerStyle::Alert);
  add("Cancel", Style::Cancel);
  add("Try once more with another name", Style::Default);
  present(alert);
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
