#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/uikit/UIKitTestSupport.h"

#include <cstdio>
#include <cstdlib>

namespace {

using Item = UIBarButtonSystemItem;

class Toolbar : public WindowFixture {
 protected:
  Strong<UIToolbar> bar = viewIn<UIToolbar>(root, CGRectMake(0, 0, 320, 60));
  Strong<UIBarButtonItem> cancel = item(Item::Cancel), save = item(Item::Save), play = item(Item::Play),
                          share = item(Item::Action), flexible = item(Item::FlexibleSpace),
                          fixed = item(Item::FixedSpace);
  Strong<UILabel> label = std::make_shared<UILabel>();
  Strong<UIBarButtonItem> title;

  void SetUp() override {
    label->setFrame(CGRectMake(0, 0, 120, 16));
    title = UIBarButtonItem::initWithCustomView(label);
  }
};

TEST_F(Toolbar, SharesTheRoomAmongFlexibleSpaces) {
  bar->setItems({cancel, flexible, title, play, flexible, save});
  window->layoutIfNeeded();
  // "Cancel" is 51 wide, "Save" no wider than the least that can be pressed; 320 - 32 - 51 - 120 - 8 - 44 - 44 = 21 are
  // left.
  EXPECT_EQ(bar->frameOfItem(cancel.get()), CGRectMake(16, 0, 51, 60));
  EXPECT_EQ(bar->frameOfItem(save.get()), CGRectMake(260, 0, 44, 60));
  EXPECT_EQ(label->superview(), bar);
  EXPECT_NEAR(label->frame().origin.x, 16 + 51 + 10.5, 0.51);
  EXPECT_EQ(label->frame().origin.y, 22);
  EXPECT_EQ(label->frame().size, CGSizeMake(120, 16));

  bar->setFrame(CGRectMake(0, 0, 420, 60));
  EXPECT_EQ(bar->frameOfItem(save.get()), CGRectMake(360, 0, 44, 60)) << "true before the next layout pass, too";
}

TEST_F(Toolbar, KeepsTheOneItemBetweenFlexibleSpacesInTheMiddle) {
  const auto middle = [&](const Strong<UIBarButtonItem>& of) {
    const CGRect frame = bar->frameOfItem(of.get());
    return frame.origin.x + frame.size.width / 2;
  };
  bar->setItems({cancel, flexible, title, flexible, save});
  EXPECT_NEAR(middle(title), 160, 0.51);
  EXPECT_EQ(bar->frameOfItem(save.get()).maxX(), 304);
  bar->setItems({share, flexible, play, flexible});
  EXPECT_NEAR(middle(play), 160, 0.51);
  bar->setItems({cancel, flexible, title, flexible, play, fixed, share, fixed, save});
  EXPECT_EQ(bar->frameOfItem(title.get()).maxX(), bar->frameOfItem(play.get()).origin.x) << "nothing is left beside it";
  bar->setFrame(CGRectMake(0, 0, 400, 60));
  EXPECT_EQ(bar->frameOfItem(title.get()).maxX() + 8, bar->frameOfItem(play.get()).origin.x) << "as near as it can";
  EXPECT_EQ(bar->frameOfItem(save.get()).maxX(), 384);
  fixed->setWidth(10);
  EXPECT_EQ(bar->frameOfItem(save.get()).origin.x, bar->frameOfItem(share.get()).maxX() + 10);
  bar->setFrame(CGRectMake(0, 0, 100, 60));
  EXPECT_EQ(bar->frameOfItem(cancel.get()).origin.x, 16) << "too narrow: nothing moves out on the left";
}

TEST_F(Toolbar, HoldsACustomViewAsLongAsItsItem) {
  bar->setItems({flexible, title, flexible});
  bar->setItems({title, flexible});
  EXPECT_EQ(label->superview(), bar);
  bar->setItems({});
  EXPECT_EQ(label->superview(), nullptr);
}

// What is said is in the person's language; scripts and keys know the items by the same names everywhere.
TEST_F(Toolbar, SpeaksThePersonsLanguage) {
  // Words are read once in a process.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto tell = [&] {
    setenv("LC_ALL", "de_AT.UTF-8", 1);
    bar->setItems({play, flexible, title, fixed, share});
    std::fprintf(stderr, "%s", item(Item::Done)->title().c_str());
    for (const auto& element : bar->accessibilityElements())
      std::fprintf(stderr, ", %s=%s", element.label.c_str(), element.spoken.c_str());
    std::_Exit(0);
  };
  EXPECT_EXIT(tell(), testing::ExitedWithCode(0), "Fertig, Play=Wiedergabe, Share=Teilen");
}

TEST_F(Toolbar, SendsTheActionOfTheItemThatIsPressedAndLetGo) {
  bar->setItems({cancel, flexible, save});
  tap(*window, {20, 30});
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:"}));
  EXPECT_EQ(target->lastArgument, cancel);
  tap(*window, {160, 30});
  EXPECT_EQ(target->log.size(), 1u) << "there is nothing between the items";

  touch(*window, UITouchPhase::Began, {20, 30}, mouse);
  EXPECT_EQ(bar->pressedItem(), cancel.get());
  touch(*window, UITouchPhase::Moved, {20, 70}, mouse);
  EXPECT_EQ(bar->pressedItem(), nullptr);
  touch(*window, UITouchPhase::Ended, {20, 70}, mouse);
  EXPECT_EQ(target->log.size(), 1u);

  touch(*window, UITouchPhase::Began, {20, 30}, finger);
  touch(*window, UITouchPhase::Ended, {20, 120}, finger);
  EXPECT_EQ(target->log.size(), 2u) << "a finger may stray";
}

TEST_F(Toolbar, SurvivesAnActionThatReplacesTheItemsOrTheBar) {
  const auto pause = item(Item::Pause);
  bar->setItems({play});
  target->onMessage = [&] { bar->setItems({pause}); };
  play.reset();
  tap(*window, {20, 30});
  EXPECT_EQ(bar->items().front(), pause);

  // An item that leaves while it is pressed is not sent any more.
  target->onMessage = nullptr;
  touch(*window, UITouchPhase::Began, {20, 30});
  bar->setItems({share});
  touch(*window, UITouchPhase::Ended, {20, 30});
  EXPECT_EQ(target->log.size(), 1u);
  EXPECT_EQ(bar->pressedItem(), nullptr);

  const Weak<UIToolbar> weak = bar;
  target->onMessage = [&] {
    bar->removeFromSuperview();
    bar.reset();
    target.reset();
  };
  tap(*window, {20, 30});
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(target, nullptr);
}

}  // namespace
