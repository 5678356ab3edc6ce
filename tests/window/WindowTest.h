#pragma once

#include "platform/UIKit/UIToolbar.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/backends/qt/QtEditorWindow.h"
#include "tests/common/EventLoop.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

/// The program's one window: a process can have only one, so the tests share it.
QtEditorWindow& theWindow();
/// The path of this test program.
const std::string& theProgram();

/// Runs the event loop for so many milliseconds: how many pictures the window draws meanwhile.
int picturesDrawnIn(int milliseconds);

/// Counts the presses of what it is the target of.
class Pressed : public NSObject {
  ZV_OBJECT(Pressed)
 public:
  void press() { ++presses; }
  int presses = 0;
};

Strong<UIBarButtonItem> barItem(UIBarButtonSystemItem kind, const Strong<Pressed>& target = nullptr);
Strong<UIToolbar> addToolbar(const Strong<UIView>& to, CGRect frame, std::vector<Strong<UIBarButtonItem>> items);
Strong<UIView> addView(const Strong<UIView>& to, CGRect frame, UIColor color);

/// Puts a fresh, empty view controller into the window for each test.
class WindowTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Where this run's pictures go, for people to look at.
  static std::string picturePath(const std::string& name);

  /// Gives the window a size, and waits until it has it.
  static void resize(CGSize size);

  Strong<UIView> root() { return controller_->view(); }
  Strong<UIViewController> controller_;
};
