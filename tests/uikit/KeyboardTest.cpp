#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIPanelButton.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

using Item = UIBarButtonSystemItem;

class Slider : public UIView {
 public:
  std::vector<std::string> log;
  std::vector<UIAccessibilityElement> accessibilityElements() override {
    UIAccessibilityElement element;
    element.label = "Playhead";
    element.role = UIAccessibilityRole::Slider;
    element.frame = bounds();
    element.adjust = [this](int steps, UIAdjustmentUnit unit) {
      log.push_back(std::to_string(steps) + (unit == UIAdjustmentUnit::Frame ? " frame" : " second"));
    };
    return {element};
  }
};

class Keyboard : public WindowFixture {
 protected:
  Texts tabOrder(bool backwards = false) {
    Texts order;
    for (int i = 0; i < 6; ++i) {
      EXPECT_TRUE(key("Tab", backwards));
      order.push_back(window->focusedLabel());
    }
    return order;
  }

  void SetUp() override {
    label->setFrame(CGRectMake(0, 0, 100, 16));
    label->setText("Game");
    top->setItems({cancel, flexible, UIBarButtonItem::initWithCustomView(label), flexible, save});
    bottom->setItems({share, flexible, play, flexible});
    overlay->setAccessibilityLabel("Play");
    overlay->addTarget_action_forControlEvents(target, "four", UIControlEventTouchUpInside);
  }

  Strong<UIButton> overlay = viewIn<UIButton>(root, CGRectMake(110, 190, 100, 100));
  Strong<UIToolbar> bottom = viewIn<UIToolbar>(root, CGRectMake(0, 436, 320, 44));
  Strong<Slider> slider = viewIn<Slider>(root, CGRectMake(0, 398, 320, 38));
  Strong<UIToolbar> top = viewIn<UIToolbar>(root, CGRectMake(0, 0, 320, 60));
  Strong<UILabel> label = std::make_shared<UILabel>();
  Strong<UIBarButtonItem> cancel = item(Item::Cancel, "one:"), save = item(Item::Save, "two:"),
                          share = item(Item::Action, "two:"), play = item(Item::Play, "three:"),
                          flexible = item(Item::FlexibleSpace, "one:");
};

TEST_F(Keyboard, ReachesEverythingInReadingOrder) {
  EXPECT_EQ(reachable(), (Texts{"Cancel", "Game", "Save", "Play", "Playhead", "Share", "Play"}));
  EXPECT_EQ(frameOf("Share").origin.y, 436) << "in the window's coordinates";
  bottom->setAlpha(0);
  overlay->setHidden(true);
  EXPECT_EQ(reachable().size(), 4u);
}

TEST_F(Keyboard, TabGoesRoundAndArrowsAndReturnWorkOnTheFocus) {
  EXPECT_FALSE(window->focusRing());
  EXPECT_EQ(tabOrder(), (Texts{"Cancel", "Save", "Play", "Playhead", "Share", "Play"}));
  EXPECT_TRUE(key("Tab"));
  EXPECT_EQ(window->focusedLabel(), "Cancel");
  const CGRect words = top->frameOfItem(cancel.get());
  EXPECT_EQ(window->focusRing()->frame,
            CGRectMake(words.origin.x - 7, words.origin.y + 5, words.size.width + 14, words.size.height - 10));
  EXPECT_EQ(tabOrder(true), (Texts{"Play", "Share", "Playhead", "Play", "Save", "Cancel"}));
  EXPECT_TRUE(key("Return"));
  EXPECT_EQ(target->log, (Texts{"one:"}));

  key("Tab", true);
  EXPECT_TRUE(key("Space"));
  EXPECT_EQ(target->log.back(), "three:");
  key("Tab", true);
  key("Tab", true);
  EXPECT_TRUE(key("Left"));
  EXPECT_TRUE(key("Right"));
  EXPECT_TRUE(key("Left", true));
  EXPECT_TRUE(key("Right", true));
  EXPECT_EQ(slider->log, (Texts{"-1 frame", "1 frame", "-1 second", "1 second"}));
  EXPECT_TRUE(key("Space"));
  EXPECT_EQ(target->log.back(), "three:") << "a slider has no use for Space: it plays";

  tap(*window, {160, 100});
  EXPECT_EQ(window->focusedLabel(), "");
  EXPECT_FALSE(window->focusRing());
}

TEST_F(Keyboard, TheFocusStaysWhenPlayTurnsIntoPauseAndReturnsAfterAFade) {
  key("Tab", true);
  EXPECT_EQ(window->focusedLabel(), "Play");
  const auto pause = item(Item::Pause, "four");
  bottom->setItems({share, flexible, pause, flexible});
  EXPECT_EQ(window->focusRing()->frame, CGRectMake(bottom->frameOfItem(pause.get()).origin.x - 7, 441, 58, 34));
  bottom->setAlpha(0);
  EXPECT_FALSE(window->focusRing());
  EXPECT_TRUE(key("Space"));
  EXPECT_EQ(target->lastArgument, pause) << "and by its meaning it still pauses";
  bottom->setAlpha(1);
  EXPECT_TRUE(window->focusRing());
  bottom->removeFromSuperview();
  EXPECT_FALSE(window->focusRing());
}

TEST_F(Keyboard, TheFocusStaysOnAButtonThatTakesAnotherTitle) {
  const auto button = std::make_shared<UIPanelButton>();
  button->setFrame(CGRectMake(20, 200, 100, 40));
  button->setTitle("Copy");
  window->addSubview(button);
  window->setFocus(button, "Copy");
  button->setTitle("Copied");
  ASSERT_TRUE(window->focusRing());
  EXPECT_EQ(window->focusedLabel(), "Copied");
}

TEST_F(Keyboard, TheFocusNeverGoesToAnotherButtonByItself) {
  top->setItems({cancel, flexible, save});
  window->setFocus(top, "Save");
  save->setEnabled(false);
  EXPECT_FALSE(window->focusRing());
  key("Return");
  top->setItems({cancel, flexible});
  EXPECT_FALSE(window->focusRing()) << "and not when it is gone";
  key("Return");
  EXPECT_TRUE(target->log.empty());
  save->setEnabled(true);
  top->setItems({cancel, flexible, save});
  EXPECT_TRUE(window->focusRing()) << "it is where it was";

  bottom->setItems({share});
  window->setFocus(bottom, "Share");
  ASSERT_TRUE(window->focusRing());
  bottom->setItems({play});
  EXPECT_FALSE(window->focusRing()) << "another item of a bar with one";
}

TEST_F(Keyboard, KeysGoByTheirMeaningAlsoWhenTheBarsAreFadedOut) {
  for (const float alpha : {1.0f, 0.0f}) {
    target->log.clear();
    top->setAlpha(alpha);
    bottom->setAlpha(alpha);
    EXPECT_TRUE(key("Space"));
    EXPECT_EQ(target->lastArgument, play);
    EXPECT_TRUE(key("Escape"));
    EXPECT_EQ(target->lastArgument, cancel);
    EXPECT_TRUE(key("S", false, true));
    EXPECT_EQ(target->lastArgument, save);
    EXPECT_FALSE(key("Return")) << "there is no Done";
    EXPECT_FALSE(key("S"));
    EXPECT_EQ(target->log, (Texts{"three:", "one:", "two:"}));
  }
  EXPECT_TRUE(key("Right"));
  EXPECT_EQ(slider->log.back(), "1 frame") << "arrows without a focus step the playhead";

  bottom->removeFromSuperview();
  EXPECT_TRUE(key("Space"));
  EXPECT_EQ(target->lastArgument, overlay) << "while no bar has Play, the large button has";
  overlay->removeFromSuperview();
  EXPECT_FALSE(key("Space"));

  const auto done = item(Item::Done, "one:");
  top->setItems({cancel, flexible, done});
  EXPECT_TRUE(key("Return"));
  EXPECT_EQ(target->lastArgument, done);
  key("Tab");
  key("Tab");
  EXPECT_TRUE(key("Escape"));
  EXPECT_EQ(target->lastArgument, cancel) << "Escape is Cancel, wherever the focus is";
}

}  // namespace
