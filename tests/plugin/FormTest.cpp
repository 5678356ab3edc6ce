#include "platform/UIKit/UIPasteboard.h"
#include "platform/UIKit/UITextInputView.h"
#include "tests/golden/GoldenPicture.h"
#include "tests/plugin/PluginTest.h"

#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>
#include <QAccessible>
#include <QGuiApplication>
#include <QInputMethodEvent>

#include <functional>
#include <map>
#include <tuple>

namespace {

std::string textOf(const Strong<NSObject>& object) {
  const auto string = std::dynamic_pointer_cast<NSString>(object);
  return string ? string->text() : "(none)";
}

class FormTest : public PluginTest {
 protected:
  std::string textIn(const char* field) { return element(field).value; }
  /// As whoever shows the form does.
  void setDescription(const char* text) {
    cell(1, 0)->performSelector_withObject("setValue:", NSString::stringWithString(text));
  }
};

}  // namespace

TEST_F(FormTest, CanBeSteeredByTheNamesOfItsParts) {
  const auto description = cell(1, 0);
  ASSERT_NE(description, nullptr);
  const auto placeholder = [&] {
    for (const auto& subview : std::dynamic_pointer_cast<UIView>(description)->subviews())
      if (const auto input = std::dynamic_pointer_cast<UITextInputView>(subview)) return input->placeholder();
    return std::string("there is nothing to type in");
  };
  description->performSelector_withObject("setPlaceholderText:", NSString::stringWithString("Something"));
  EXPECT_EQ(placeholder(), "Something");
  setDescription("Recorded in a game. https://x.y");
  description->performSelector_withObject("setPlaceholderText:", nullptr);
  EXPECT_EQ(placeholder(), "");
  present();
  EXPECT_EQ(textIn("Description"), "Recorded in a game. https://x.y");
  EXPECT_EQ(textIn("Category"), "Comedy") << "unless another routine stands in for the form's";
  EXPECT_EQ(delegate_->log, (std::vector<std::string>{"displayed"}));
}

TEST_F(FormTest, TakesWhatAPersonTypesPastesAndChooses) {
  present();
  press("Title");
  type("Größe 日本 ");
  QInputMethodEvent preedit(QStringLiteral("nih"), {});
  QCoreApplication::sendEvent(QGuiApplication::focusObject(), &preedit);
  EXPECT_EQ(textIn("Title"), "Größe 日本 ") << "what is being composed is not there yet";
  QInputMethodEvent commit;
  commit.setCommitString(QStringLiteral("語"));
  QCoreApplication::sendEvent(QGuiApplication::focusObject(), &commit);
  EXPECT_EQ(textIn("Title"), "Größe 日本 語");
  EXPECT_TRUE(isReachable("Publish")) << "while somebody types, too";

  pressKeys({"Shift+Left", "Control+C"});
  EXPECT_EQ(UIPasteboard::generalPasteboard().string(), "語");
  key("Tab");
  type("one");
  pressKeys({"Return", "Control+V"});
  EXPECT_EQ(textIn("Description"), "one\n語");
  key("Control+Z");
  EXPECT_EQ(textIn("Description"), "one\n") << "undoes the typing, nothing of the movie";
  key("Escape");
  EXPECT_EQ(UIResponder::firstResponder(), nullptr);
  EXPECT_TRUE(isReachable("Publish"));
  type("x");
  EXPECT_EQ(textIn("Description"), "one\n") << "nobody types any more";

  press("Category");
  theWindow().commit();
  for (int i = 0; i < 6; ++i) key("Tab");
  key("Down");
  EXPECT_EQ(textIn("Category"), "Education");
  EXPECT_EQ(textOf(part("_defaultCategory")), "27");
  press("Category");
  press("Unlisted");
  EXPECT_TRUE(element("Unlisted").checked);
  while (theWindow().window()->focusedLabel() != "Made for Children") key("Tab");
  const CGRect ring = theWindow().window()->focusRing()->frame;
  EXPECT_LT(ring.maxY(), 667) << "scrolled into sight";
  key("Space");
  EXPECT_TRUE(element("Made for Children").checked);
  press("Title");
  pressKeys({"Escape", "Escape"});
  EXPECT_EQ(delegate_->log.back(), "cancel");
}

TEST_F(FormTest, ACaptionLeadsToWhatStandsBesideIt) {
  present();
  const auto inCell = [&](int row, int section, CGPoint at) {
    return std::dynamic_pointer_cast<UIView>(cell(row, section))->convertPointToWindow(at);
  };
  const std::tuple<const char*, int, int> captions[] = {{"Title", 0, 0}, {"Description", 1, 0}, {"Tags", 2, 1}};
  for (const auto& [name, row, section] : captions) {
    pressAt(inCell(row, section, {30, 20}));
    type("x");
    EXPECT_EQ(textIn(name), "x") << name;
  }
  // A drag that begins on a caption scrolls.
  key("Escape");
  theWindow().sendPointer(UIAutomation::Pointer::Press, inCell(0, 0, {30, 20}));
  theWindow().sendPointer(UIAutomation::Pointer::Move, inCell(0, 0, {30, 50}));
  theWindow().sendPointer(UIAutomation::Pointer::Release, inCell(0, 0, {30, 50}));
  EXPECT_EQ(UIResponder::firstResponder(), nullptr);
  // What has a control gets the keyboard's focus: nothing is switched by accident.
  pressAt(inCell(0, 2, {20, 20}));
  EXPECT_EQ(theWindow().window()->focusedLabel(), "Private");
}

TEST_F(FormTest, KeepsWhatWasFilledInWhenItIsCancelled) {
  const auto begin = [&](const char* text) {
    setDescription(text);
    present();
  };
  begin("Recorded in a game.");
  press("Title");
  type("My video");
  press("Tags");
  type("one, two, one");
  key("Escape");
  press("Unlisted");
  press("Cancel");
  EXPECT_EQ(delegate_->log.back(), "cancel");

  for (int again = 0; again < 2; ++again) {
    SCOPED_TRACE(again);
    closeAndStartAgain();
    begin("Recorded in another game.");
    EXPECT_EQ(textIn("Title"), "My video");
    EXPECT_EQ(textIn("Tags"), "one, two");
    EXPECT_EQ(textIn("Description"), "Recorded in another game.") << "the person has not changed it";
    EXPECT_TRUE(element("Unlisted").checked);
    EXPECT_FALSE(element("Made for Children").checked);
    press("Cancel");
  }
  closeAndStartAgain();
  begin("");
  for (const char* field : {"Title", "Tags"}) {
    press(field);
    pressKeys({"Control+A", "Delete", "Escape"});
  }
  press("Private");
  press("Cancel");
  closeAndStartAgain();
  begin("");
  EXPECT_EQ(textIn("Title") + textIn("Tags"), "") << "nothing is left of what was taken out";
}

TEST_F(FormTest, AsksBeforeTheWindowTakesWhatWasFilledInAlong) {
  int closed = 0;
  const auto close = [&] { return agent_->navigationController()->windowShouldClose([&] { ++closed; }); };
  present();
  EXPECT_TRUE(close()) << "there is nothing to lose";
  press("Title");
  type("My video");
  EXPECT_FALSE(close());
  EXPECT_FALSE(close()) << "one question";
  ASSERT_TRUE(waitUntil([&] { return isReachable("Keep Editing"); }));
  EXPECT_EQ(element("Close without publishing?").role, UIAccessibilityRole::StaticText);
  press("Keep Editing");
  ASSERT_TRUE(waitUntil([&] { return isReachable("Title"); }));
  EXPECT_EQ(closed, 0);
  EXPECT_EQ(textIn("Title"), "My video");
  EXPECT_FALSE(close());
  ASSERT_TRUE(waitUntil([&] { return isReachable("Close"); }));
  press("Close");
  ASSERT_TRUE(waitUntil([&] { return closed == 1; }));
}

TEST_F(FormTest, SelectsWithTheMouseAndScrollsWithTheWheel) {
  present();
  press("Title");
  type("first second");
  const CGRect field = element("Title").frame;
  const CGPoint left{field.origin.x + 1, field.origin.y + 22};
  pressAt(left);
  pressAt(left);
  type("X");
  EXPECT_EQ(textIn("Title"), "X second") << "a double click selects the word";
  theWindow().sendPointer(UIAutomation::Pointer::Press, left);
  theWindow().sendPointer(UIAutomation::Pointer::Move, {left.x + 100, left.y});
  theWindow().sendPointer(UIAutomation::Pointer::Move, {field.maxX() - 2, left.y});
  theWindow().sendPointer(UIAutomation::Pointer::Release, {field.maxX() - 2, left.y});
  type("all");
  EXPECT_EQ(textIn("Title"), "all");

  press("Description");
  for (int i = 0; i < 30; ++i) {
    type("line");
    key("Return");
  }
  theWindow().commit();
  EXPECT_LT(element("Title").frame.maxY(), 44) << "the cursor stays in sight";
  EXPECT_GT(element("Tags").frame.origin.y, 500) << "and the field is as high as its text";
}

TEST_F(FormTest, AScreenReaderReadsAndWritesTheFields) {
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
  present();
  press("Title");
  type("abc");
  theWindow().commit();
  std::multimap<QString, QAccessibleInterface*> named;
  const std::function<void(QAccessibleInterface*)> look = [&](QAccessibleInterface* from) {
    named.emplace(from->text(QAccessible::Name), from);
    for (int i = 0; i < from->childCount(); ++i) look(from->child(i));
  };
  look(QAccessible::queryAccessibleInterface(&theWindow().quickWindow()));
  EXPECT_EQ(named.count("Made for Children"), 1U);
  ASSERT_EQ(named.count("Title"), 1U);
  QAccessibleInterface* title = named.find("Title")->second;
  EXPECT_EQ(title->role(), QAccessible::EditableText);
  EXPECT_TRUE(title->state().focused && title->state().editable);
  ASSERT_NE(title->textInterface(), nullptr);
  EXPECT_EQ(title->textInterface()->text(0, 3), "abc");
  EXPECT_EQ(title->textInterface()->cursorPosition(), 3);
  title->setText(QAccessible::Value, "from the reader");
  EXPECT_EQ(textIn("Title"), "from the reader");
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(false);
}

TEST_F(FormTest, LooksLikeThePicturesThatWereFoundGood) {
  setDescription("A screen recording of Hexagon Quest by Lantern Works. https://lantern.example/hexagon");
  present();
  EXPECT_EQ(golden_picture::difference(theWindow().grab(), "form-phone"), "");
  press("Category");
  theWindow().resize({960, 720});
  ASSERT_TRUE(waitUntil([] { return theWindow().window()->bounds().size == CGSizeMake(960, 720); }));
  agent_->setMediaIsReady(false);
  agent_->setPreparationProgress(0.42F);
  EXPECT_EQ(golden_picture::difference(theWindow().grab(), "form-pad"), "");
}
