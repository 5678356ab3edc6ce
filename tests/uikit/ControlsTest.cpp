#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIPickerView.h"
#include "platform/UIKit/UIProgressView.h"
#include "platform/UIKit/UISegmentedControl.h"
#include "platform/UIKit/UISwitch.h"
#include "platform/UIKit/UITableView.h"
#include "platform/UIKit/UITextField.h"
#include "platform/UIKit/UITextView.h"
#include "tests/uikit/UIKitTestSupport.h"

#include <cmath>

namespace {

class TextLog : public UITextInputDelegate {
 public:
  std::vector<std::string> log;
  void textInputDidBeginEditing(UITextInputView& input) override { log.push_back("begin " + input.text()); }
  void textInputDidEndEditing(UITextInputView& input) override { log.push_back("end " + input.text()); }
  void textInputDidChange(UITextInputView& input) override { log.push_back("typed " + input.text()); }
};

class Controls : public WindowFixture {
 protected:
  template <class T>
  Strong<T> named(const char* name, CGRect frame) {
    const auto view = viewIn<T>(root, frame);
    view->setAccessibilityLabel(name);
    return view;
  }

  TextLog texts;
};

TEST_F(Controls, TypingIsToldAndEndsWithTheNextFieldTheReturnKeyAndTheViewItself) {
  const auto title = named<UITextField>("Title", CGRectMake(0, 0, 320, 44));
  const auto tags = named<UITextField>("Tags", CGRectMake(0, 44, 320, 44));
  title->setDelegate(&texts);
  tags->setDelegate(&texts);
  tap(*window, {100, 20});
  EXPECT_EQ(title->takeCaretRequest(), (CGPoint{100, 20})) << "the cursor goes to the finger";
  EXPECT_FALSE(title->takeCaretRequest());
  title->takeTypedText("A");
  EXPECT_TRUE(key("Tab"));
  EXPECT_TRUE(tags->isFirstResponder()) << "Tab goes on from where one types";
  EXPECT_TRUE(key("Tab", true));
  title->returnPressed();
  EXPECT_FALSE(key("Escape")) << "there is nothing more to end";
  EXPECT_EQ(texts.log, (Texts{"begin ", "typed A", "end A", "begin ", "end ", "begin A", "end A"}));

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

TEST_F(Controls, SwitchAndSegmentsTellOfWhatAPersonChangesOnly) {
  const auto onOff = named<UISwitch>("Made for children", CGRectMake(250, 0, 51, 31));
  const auto choice = UISegmentedControl::initWithItems({"Private", "Unlisted", "Public"});
  choice->setFrame(CGRectMake(0, 100, 300, 32));
  root->addSubview(choice);
  onOff->addTarget_action_forControlEvents(target, "one:", UIControlEventValueChanged);
  choice->addTarget_action_forControlEvents(target, "two:", UIControlEventValueChanged);
  onOff->setOn_animated(true, false);
  choice->setSelectedSegmentIndex(1);
  EXPECT_TRUE(target->log.empty()) << "setters tell nobody";

  tap(*window, {260, 15});
  EXPECT_FALSE(onOff->isOn());
  swipe(*window, {260, 15}, {260, 300});
  EXPECT_FALSE(onOff->isOn()) << "let go elsewhere";
  for (int i = 0; i < 2; ++i) tap(*window, {250, 110});
  EXPECT_EQ(choice->selectedSegmentIndex(), 2);
  EXPECT_EQ(target->log, (Texts{"one:", "two:"}));
  for (int i = 0; i < 2; ++i) key("Tab");
  EXPECT_TRUE(key("Return"));
  EXPECT_EQ(choice->selectedSegmentIndex(), 0);
  const auto elements = window->reachableElements();
  ASSERT_EQ(elements.size(), 4U);
  EXPECT_TRUE(!elements[0].element.checked && elements[1].element.checked && !elements[2].element.checked);
}

TEST_F(Controls, ThePickerTurnsByDragWheelKeysAndPress) {
  const auto picker = named<UIPickerView>("Category", CGRectMake(0, 0, 320, 216));
  std::vector<int> chosen;
  picker->setSelectionHandler([&](int row) { chosen.push_back(row); });
  picker->setRows({"Film", "Cars", "Music", "Animals", "Games"});
  picker->selectRow_inComponent_animated(2, 0, false);
  window->layoutIfNeeded();

  swipe(*window, {100, 108}, {100, 70});
  EXPECT_EQ(picker->selectedRowInComponent(0), 3) << "to the nearest row";
  tap(*window, {100, 108 - 64});
  EXPECT_EQ(picker->selectedRowInComponent(0), 1) << "the row that was pressed";
  EXPECT_TRUE(picker->handleScroll({0, 48}));
  EXPECT_EQ(picker->selectedRowInComponent(0), 2);
  key("Tab");
  for (int i = 0; i < 3; ++i) key("Down");
  key("Home");
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

  EXPECT_TRUE(key("Tab", true));
  EXPECT_EQ(window->focusedLabel(), "Row 9");
  EXPECT_LE(window->focusRing().value().frame.maxY(), 200) << "scrolled into sight";
  key("Tab");
  EXPECT_EQ(window->focusedLabel(), "Row 0");
  EXPECT_GE(window->focusRing()->frame.origin.y, 0);

  const CGFloat before = table->contentOffset().y;
  swipe(*window, {100, 100}, {100, 60});
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

TEST_F(Controls, AProgressBarFillsAndTellsHowFar) {
  const auto bar = named<UIProgressView>("Saving", CGRectMake(0, 57, 320, 3));
  const auto filled = [&bar] { return bar->subviews().front()->frame(); };
  bar->setProgress_animated(0.25F, false);
  EXPECT_EQ(filled(), CGRectMake(0, 0, 80, 3));
  const auto elements = bar->accessibilityElements();
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0].role, UIAccessibilityRole::ProgressBar);
  EXPECT_EQ(elements[0].label, "Saving");
  EXPECT_EQ(elements[0].value, "25%");
  bar->setFrame(CGRectMake(0, 57, 640, 3));
  window->layoutIfNeeded();
  EXPECT_EQ(filled(), CGRectMake(0, 0, 160, 3));
  for (const auto& [given, taken] : {std::pair(7.0F, 1.0F), {-1.0F, 0.0F}, {NAN, 0.0F}}) {
    bar->setProgress_animated(given, false);
    EXPECT_EQ(bar->progress(), taken);
  }
  EXPECT_NE(root->hitTest({10, 58}), bar) << "what lies under it can be touched";
}

}  // namespace
