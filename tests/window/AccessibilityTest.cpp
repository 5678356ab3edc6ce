#include "tests/window/WindowTest.h"

#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>
#include <QAccessible>

namespace {

/// All interfaces below one, depth first, that have a name.
std::vector<QAccessibleInterface*> namedBelow(QAccessibleInterface* from) {
  std::vector<QAccessibleInterface*> result;
  for (int i = 0; i < from->childCount(); ++i) {
    QAccessibleInterface* child = from->child(i);
    if (!child->text(QAccessible::Name).isEmpty()) {
      result.push_back(child);
    }
    for (QAccessibleInterface* below : namedBelow(child)) {
      result.push_back(below);
    }
  }
  return result;
}

/// As when a screen reader connects to the desktop's accessibility bus.
void setScreenReader(bool listens) {
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(listens);
}

}  // namespace

class AccessibilityTest : public WindowTest {};

TEST_F(AccessibilityTest, AScreenReaderFindsAndPressesWhatCanBeReached) {
  using Item = UIBarButtonSystemItem;
  const auto target = std::make_shared<Pressed>();
  const auto bar = addToolbar(root(), {{0, 0}, {375, 60}},
                              {barItem(Item::Cancel), barItem(Item::FlexibleSpace), barItem(Item::Action, target)});
  theWindow().commit();
  QAccessibleInterface* window = QAccessible::queryAccessibleInterface(&theWindow().quickWindow());
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(namedBelow(window).empty()) << "nothing is built while nobody listens";

  setScreenReader(true);
  ASSERT_TRUE(waitUntil([&] { return !namedBelow(window).empty(); }));
  const auto found = namedBelow(window);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0]->text(QAccessible::Name), "Cancel");
  EXPECT_EQ(found[1]->text(QAccessible::Name), "Share") << "symbols have names, too";
  EXPECT_EQ(found[0]->role(), QAccessible::Button);
  EXPECT_TRUE(found[0]->rect().isValid());
  ASSERT_NE(found[1]->actionInterface(), nullptr);
  found[1]->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(target->presses, 1);

  bar->setItems({barItem(Item::Done)});
  ASSERT_TRUE(waitUntil([&] {
    const auto now = namedBelow(window);
    return now.size() == 1 && now[0]->text(QAccessible::Name) == "Done";
  }));
  setScreenReader(false);
}
