#pragma once

#include "platform/UIKit/UIViewController.h"
#include "platform/backends/qt/QtEditorWindow.h"
#include "tests/common/EventLoop.h"

#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <string>

/// The program's one window: a process can have only one, so the tests share it.
QtEditorWindow& theWindow();
/// The path of this test program.
const std::string& theProgram();

/// Puts a fresh, empty view controller into the window for each test.
class WindowTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Where this run's pictures go, for people to look at.
  static std::string picturePath(const std::string& name);

  Strong<UIView> root() { return controller_->view(); }
  Strong<UIViewController> controller_;
};
