#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIPickerView.h"
#include "platform/UIKit/UISegmentedControl.h"
#include "platform/UIKit/UISwitch.h"
#include "platform/UIKit/UITableView.h"
#include "platform/UIKit/UITextField.h"
#include "platform/UIKit/UITextView.h"
#include "tests/uikit/UIKitTestSupport.h"

namespace {

class TextLog : public UITextInputDelegate {
 public:
  std::vector<std::string> log;
  void textInputDidBeginEditing(UITextInputView& input) override { log.push_back("begin " + input.text()); }
  void textInputDidEndEditing(UITextInputView& input) override { log.push_back("end " + input.text()); }
  void textInputDidChange(UITextInputView& input) override { log.push_back("typed " + input.text()); }
};

class Controls : public testing::Test {
 protected:
  bool key(const char* name, bool shift = false) { return window->sendKey({name, shift, false, false}); }
  template <class T>
  Strong<T> named(const char* name, CGRect frame) {
    const auto view = viewIn<T>(root, frame);
    view->setAccessibilityLabel(name);
    return view;
  }

  StoppedClock clock;
  Strong<UIWindow> window = windowOfSize(320, 480);
  Strong<UIView> root = window->rootViewController()->view();
  TextLog texts;
};

TEST_F(Controls, TypingBeginsWithAPressOrTheFocusAndEndsWithEscapeReturnOrTheNextFocus) {
  const auto title = named<UITextField>("Title", CGRectMake(0, 0, 320, 44));
  const auto tags = named<UITextField>("Tags", CGRectMake(0, 44, 320, 44));
  title->setDelegate(&texts);
  tags->setDelegate(&texts);
  tap(*window, {100, 20});
  EXPECT_TRUE(title->isFirstResponder());
  EXPECT_EQ(title->takeCaretRequest(), (CGPoint{100, 20})) << "the cursor goes to the finger";
  EXPECT_FALSE(title->takeCaretRequest());
  title->takeTypedText("A");
  EXPECT_TRUE(key("Tab"));
  EXPECT_TRUE(tags->isFirstResponder()) << "Tab goes on from where one types";
  EXPECT_TRUE(key("Tab", true));
  EXPECT_TRUE(title->isFirstResponder());
  EXPECT_TRUE(key("Escape"));
  EXPECT_EQ(UIResponder::firstResponder(), nullptr);
  EXPECT_FALSE(key("Escape")) << "there is nothing more to end";
  EXPECT_EQ(window->focusedLabel(), "Title");
  EXPECT_TRUE(key("Return"));
  EXPECT_TRUE(title->isFirstResponder());
  title->returnPressed();
  EXPECT_FALSE(title->isFirstResponder());
  EXPECT_EQ(texts.log, (std::vector<std::string>{"begin ", "typed A", "end A", "begin ", "end ", "begin A", "end A",
                                                 "begin A", "end A"}));

  touch(*window, UITouchPhase::Began, {100, 60});
  touch(*window, UITouchPhase::Moved, {100, 75});
  touch(*window, UITouchPhase::Ended, {100, 75});
  EXPECT_FALSE(tags->isFirstResponder()) << "a finger that scrolls does not type";
  tags->setEnabled(false);
  tap(*window, {100, 60});
  EXPECT_FALSE(tags->isFirstResponder());
  tap(*window, {100, 20});
  EXPECT_TRUE(root->endEditing(true));
  EXPECT_FALSE(root->endEditing(true));
  tap(*window, {100, 20});
  title->removeFromSuperview();
  EXPECT_EQ(UIResponder::firstResponder(), nullptr) << "nobody types where nothing is to be seen";
}

TEST_F(Controls, SwitchAndSegmentsFollowPressesAndKeysAndTellOfThem) {
  const auto target = std::make_shared<Recorder>();
  const auto onOff = named<UISwitch>("Made for children", CGRectMake(250, 0, 51, 31));
  const auto choice = UISegmentedControl::initWithItems({"Private", "Unlisted", "Public"});
  choice->setFrame(CGRectMake(0, 100, 300, 32));
  root->addSubview(choice);
  onOff->addTarget_action_forControlEvents(target, "one:", UIControlEventValueChanged);
  choice->addTarget_action_forControlEvents(target, "two:", UIControlEventValueChanged);
  onOff->setOn_animated(true, false);
  choice->setSelectedSegmentIndex(1);
  choice->setSelectedSegmentIndex(7);
  EXPECT_EQ(choice->selectedSegmentIndex(), 1);
  EXPECT_TRUE(target->log.empty()) << "setters tell nobody";

  tap(*window, {260, 15});
  EXPECT_FALSE(onOff->isOn());
  touch(*window, UITouchPhase::Began, {260, 15});
  touch(*window, UITouchPhase::Moved, {260, 300});
  touch(*window, UITouchPhase::Ended, {260, 300});
  EXPECT_FALSE(onOff->isOn()) << "let go elsewhere";
  tap(*window, {250, 110});
  EXPECT_EQ(choice->selectedSegmentIndex(), 2);
  tap(*window, {250, 110});
  EXPECT_EQ(target->log, (std::vector<std::string>{"one:", "two:"}));

  key("Tab");
  EXPECT_TRUE(key("Space"));
  EXPECT_TRUE(onOff->isOn());
  key("Tab");
  EXPECT_EQ(window->focusedLabel(), "Private");
  EXPECT_TRUE(key("Return"));
  EXPECT_EQ(choice->selectedSegmentIndex(), 0);
  const auto elements = window->reachableElements();
  ASSERT_EQ(elements.size(), 4U);
  EXPECT_TRUE(elements[0].element.checked && elements[1].element.checked && !elements[2].element.checked);
}

TEST_F(Controls, ThePickerTurnsByDragWheelKeysAndPress) {
  const auto picker = named<UIPickerView>("Category", CGRectMake(0, 0, 320, 216));
  std::vector<int> chosen;
  picker->setSelectionHandler([&](int row) { chosen.push_back(row); });
  EXPECT_EQ(picker->selectedRowInComponent(0), -1);
  picker->setRows({"Film", "Cars", "Music", "Animals", "Games"});
  picker->selectRow_inComponent_animated(2, 0, false);
  picker->selectRow_inComponent_animated(9, 0, false);
  picker->selectRow_inComponent_animated(1, 1, false);
  EXPECT_EQ(picker->selectedRowInComponent(0), 2);
  EXPECT_TRUE(chosen.empty());
  window->layoutIfNeeded();

  touch(*window, UITouchPhase::Began, {100, 108});
  touch(*window, UITouchPhase::Moved, {100, 70});
  touch(*window, UITouchPhase::Ended, {100, 70});
  EXPECT_EQ(picker->selectedRowInComponent(0), 3) << "to the nearest row";
  tap(*window, {100, 108 - 64});
  EXPECT_EQ(picker->selectedRowInComponent(0), 1) << "the row that was pressed";
  EXPECT_TRUE(picker->handleScroll({0, 48}));
  EXPECT_EQ(picker->selectedRowInComponent(0), 2);
  key("Tab");
  key("Down");
  key("Down");
  key("Down");
  EXPECT_EQ(picker->selectedRowInComponent(0), 4);
  key("Home");
  EXPECT_EQ(picker->selectedRowInComponent(0), 0);
  EXPECT_EQ(window->reachableElements().front().element.value, "Film");
  EXPECT_EQ(chosen, (std::vector<int>{3, 1, 2, 3, 4, 0}));
}

TEST_F(Controls, ACellMakesRoomForALongText) {
  const std::string label = "Who can see the video";
  const auto cell = std::make_shared<UITableViewCell>();
  const auto words = UISegmentedControl::initWithItems({"Private", "By its address", "All"});
  cell->textLabel()->setText(label);
  cell->setAccessoryView(words);
  const auto layOut = [&](CGFloat width) {
    cell->setFrame(CGRectMake(0, 0, width, cell->heightForWidth(width)));
    cell->layoutIfNeeded();
  };
  const auto text = [&] { return cell->textLabel()->frame(); };
  layOut(600);
  EXPECT_EQ(cell->bounds().size.height, 44);
  EXPECT_EQ(words->frame().maxX(), 600 - UITableViewCell::margin);
  EXPECT_LT(text().maxX(), words->frame().origin.x);
  EXPECT_EQ(words->frameOfSegment(0).size.width, words->frameOfSegment(1).size.width);
  layOut(320);
  EXPECT_GE(words->frame().origin.y, text().maxY()) << "below";
  EXPECT_EQ(words->frame().size.width, 288);
  EXPECT_LE(words->frame().maxY(), cell->bounds().size.height - 8);
  layOut(240);
  EXPECT_GT(words->frameOfSegment(1).size.width,
            UITextSize("By its address", UISegmentedControl::titleFont()).width + 8)
      << "the long word has what the short ones don't need";
  EXPECT_EQ(words->frameOfSegment(2).maxX(), 208);

  cell->setAccessoryView(std::make_shared<UISwitch>());
  cell->accessoryView()->sizeToFit();
  layOut(200);
  EXPECT_GT(text().size.height, 2 * UITextSize(label, cell->textLabel()->font()).height - 2) << "in lines";
  EXPECT_LT(text().maxX(), cell->accessoryView()->frame().origin.x);
  EXPECT_NE(cell->textLabel()->numberOfLines(), 1);
  EXPECT_GT(cell->bounds().size.height, text().size.height + 16);
}

TEST_F(Controls, TheFocusRingFitsWhatItIsAround) {
  using Frame = UIWindow::FocusRing;
  const auto ringOf = [&](const Strong<UIView>& of) -> Frame {
    of->setAccessibilityLabel("here");
    window->setFocus(of, of->accessibilityElements().at(0).label);
    return window->focusRing().value_or(Frame{});
  };
  const auto text = viewIn<UITextView>(root, CGRectMake(16, 100, 200, 60));
  const Frame lines = ringOf(text);
  EXPECT_LT(lines.frame.origin.y, 97) << "above the first line";
  EXPECT_LT(lines.frame.maxY(), 161) << "not in what comes next";
  const auto segments = UISegmentedControl::initWithItems({"One", "Two"});
  segments->setFrame(CGRectMake(16, 200, 200, 32));
  root->addSubview(segments);
  EXPECT_LE(ringOf(segments).frame.origin.y, 200);
  EXPECT_GE(ringOf(segments).frame.maxY(), 232);
  const auto button = viewIn<UIButton>(root, CGRectMake(100, 10, 75, 75));
  const Frame round = ringOf(button);
  EXPECT_EQ(round.frame, CGRectMake(95, 5, 85, 85));
  EXPECT_EQ(round.radius, 42.5F);
  const auto field = viewIn<UITextField>(root, CGRectMake(16, 300, 200, 30));
  EXPECT_NEAR(ringOf(field).frame.origin.y + ringOf(field).frame.size.height / 2, 315, 1);
  EXPECT_GT(ringOf(field).frame.size.height, 28);
}

TEST_F(Controls, ATableScrollsToTheFocusAndKeepsThePathsOfHiddenCells) {
  const auto table = viewIn<UITableView>(root, CGRectMake(0, 0, 320, 200));
  std::vector<Strong<UITableViewCell>> cells;
  std::vector<std::string> pressed;
  for (int i = 0; i < 10; ++i) {
    const auto cell = std::make_shared<UITableViewCell>();
    cell->textLabel()->setText("Row " + std::to_string(i));
    cell->setSelectionHandler([&pressed, i] { pressed.push_back("Row " + std::to_string(i)); });
    cells.push_back(cell);
  }
  table->setSections(
      {{"First", "", {cells.begin(), cells.begin() + 5}}, {"", "A remark", {cells.begin() + 5, cells.end()}}});
  window->layoutIfNeeded();
  const CGFloat height = table->contentSize().height;
  cells[1]->setHidden(true);
  table->setNeedsLayout();
  window->layoutIfNeeded();
  EXPECT_EQ(table->contentSize().height, height - 44);
  EXPECT_EQ(table->cellForRowAtIndexPath({2, 0}), cells[2]);
  EXPECT_EQ(table->cellForRowAtIndexPath({4, 1}), cells[9]);
  EXPECT_EQ(table->cellForRowAtIndexPath({5, 1}), nullptr);
  EXPECT_EQ(table->cellForRowAtIndexPath({0, 2}), nullptr);

  EXPECT_TRUE(key("Tab", true));
  EXPECT_EQ(window->focusedLabel(), "Row 9");
  const auto ring = window->focusRing();
  ASSERT_TRUE(ring);
  EXPECT_LE(ring->frame.maxY(), 200) << "scrolled into sight";
  EXPECT_GT(table->contentOffset().y, 0);
  key("Tab");
  EXPECT_EQ(window->focusedLabel(), "Row 0");
  EXPECT_GE(window->focusRing()->frame.origin.y, 0);

  const CGFloat before = table->contentOffset().y;
  touch(*window, UITouchPhase::Began, {100, 100});
  touch(*window, UITouchPhase::Moved, {100, 60});
  touch(*window, UITouchPhase::Ended, {100, 60});
  EXPECT_EQ(table->contentOffset().y, before + 40);
  EXPECT_TRUE(pressed.empty()) << "that was no press";
  EXPECT_TRUE(table->handleScroll({0, 10000}));
  EXPECT_EQ(table->contentOffset().y, table->contentSize().height - 200);
  EXPECT_FALSE(table->handleScroll({0, 10})) << "at its end, what is around may scroll";
  table->setContentOffset_animated({0, 0}, false);
  const CGRect third = table->rectForRowAtIndexPath({2, 0});
  tap(*window, {100, third.origin.y + 10});
  EXPECT_EQ(pressed, (std::vector<std::string>{"Row 2"}));
}

}  // namespace
