#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UINavigationItem.h"
#include "platform/UIKit/UIProgressView.h"
#include "platform/UIKit/UISegmentedControl.h"
#include "platform/UIKit/UISwitch.h"
#include "platform/UIKit/UITableViewCell.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/uikit/SystemActivities.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

using Direction = UIUserInterfaceLayoutDirection;

/// In a language that is written from right to left.
class LayoutDirection : public WindowFixture {
 protected:
  LayoutDirection() { UIApplicationSetLayoutDirection(Direction::RightToLeft); }
  ~LayoutDirection() override { UIApplicationSetLayoutDirection(Direction::LeftToRight); }
};

Strong<UIBarButtonItem> titled(const char* title) {
  return UIBarButtonItem::initWithTitle_style_target_action(title, UIBarButtonItemStyle::Plain, nullptr, SEL());
}

}  // namespace

TEST_F(LayoutDirection, BarsBeginAtTheRight) {
  const auto controller = std::make_shared<UIViewController>();
  controller->navigationItem()->setTitle("Title");
  controller->navigationItem()->setLeftBarButtonItem(titled("Cancel"));
  controller->navigationItem()->setRightBarButtonItem(titled("Publish"));
  const auto navigation = UINavigationController::initWithRootViewController(controller);
  present(navigation);
  const CGRect cancel = frameOf("Cancel"), publish = frameOf("Publish"), title = frameOf("Title");
  EXPECT_EQ(cancel.maxX(), 320 - 16);
  EXPECT_EQ(publish.origin.x, 16);
  EXPECT_LT(publish.maxX(), title.origin.x);
  EXPECT_LT(title.maxX(), cancel.origin.x);
  EXPECT_EQ(reachable(), (Texts{"Cancel", "Title", "Publish"})) << "read from the right";
}

TEST_F(LayoutDirection, CellsAndControlsAreMirroredAndTextKeepsToItsSide) {
  const auto cell = viewIn<UITableViewCell>(root, CGRectMake(0, 0, 320, 44));
  cell->textLabel()->setText("Category");
  cell->detailTextLabel()->setText("Games");
  window->layoutIfNeeded();
  EXPECT_EQ(cell->textLabel()->frame().maxX(), 320 - UITableViewCell::margin);
  EXPECT_EQ(cell->detailTextLabel()->frame().origin.x, UITableViewCell::margin);
  EXPECT_EQ(cell->textLabel()->textAlignment(), NSTextAlignment::Right);
  EXPECT_EQ(cell->detailTextLabel()->textAlignment(), NSTextAlignment::Left);
  const auto segments = UISegmentedControl::initWithItems({"One", "Two", "Three"});
  segments->setFrame(CGRectMake(0, 0, 300, 32));
  EXPECT_EQ(segments->frameOfSegment(0), CGRectMake(200, 0, 100, 32));
  EXPECT_EQ(segments->frameOfSegment(2), CGRectMake(0, 0, 100, 32));

  const auto onOff = viewIn<UISwitch>(root, CGRectMake(0, 0, 51, 31));
  const auto bar = viewIn<UIProgressView>(root, CGRectMake(10, 50, 300, 3));
  window->layoutIfNeeded();
  const auto knob = [&] { return onOff->subviews().front()->frame(); };
  EXPECT_EQ(knob().maxX(), 49);
  onOff->setOn_animated(true, false);
  EXPECT_EQ(knob().origin.x, 2);
  bar->setProgress_animated(0.25F, false);
  EXPECT_EQ(bar->subviews().front()->frame(), CGRectMake(225, 0, 75, 3));
}

TEST_F(LayoutDirection, AlertsAndSheetsAreMirroredWithTheirKeys) {
  const auto alert =
      UIAlertController::alertControllerWithTitle_message_preferredStyle("T", "", UIAlertControllerStyle::Alert);
  alert->addAction(UIAlertAction::actionWithTitle_style_handler("View", UIAlertActionStyle::Default, nullptr));
  alert->addAction(UIAlertAction::actionWithTitle_style_handler("Close", UIAlertActionStyle::Cancel, nullptr));
  present(alert);
  EXPECT_EQ(frameOf("View").maxX(), frameOf("Close").origin.x) << "the way out at the right";
  alert->dismissViewControllerAnimated_completion(false, nullptr);

  setSystemActivities({std::make_shared<NamedActivity>("One"), std::make_shared<NamedActivity>("Two")});
  const auto sheet = UIActivityViewController::initWithActivityItems_applicationActivities({std::string("text")}, {});
  setSystemActivities({});
  present(sheet);
  EXPECT_GT(frameOf("One").origin.x, frameOf("Two").origin.x);
  for (const auto& [name, reached] : {std::pair("Left", "One"), std::pair("Left", "Two"), std::pair("Right", "One")}) {
    key(name);
    EXPECT_EQ(window->focusedLabel(), reached);
  }
  sheet->dismissViewControllerAnimated_completion(false, nullptr);
  clock.advance(1);
}
