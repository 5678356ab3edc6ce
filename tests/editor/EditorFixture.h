#pragma once

#include "editor/ZVVideoEditorViewController.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/backends/qt/EditorWindow.h"
#include "tests/common/EventLoop.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

/// The one offscreen window of this test program.
EditorWindow& testWindow();
/// Runs the event loop for a while.
void pump(double seconds);
/// The accessible names of a toolbar's items, left to right; "flex", "fix" and "title" for the others.
std::string itemsOf(const Strong<UIToolbar>& bar);

/// Notes what the editor reports.
class RecordingDelegate : public ZVVideoEditorViewControllerDelegate {
 public:
  void videoEditor_didFinishWithActivityTypes(const std::shared_ptr<ZVVideoEditorViewController>&,
                                              const ActivityTypeList& types) override {
    reports.push_back(*types);
    list = types;
  }
  std::vector<std::vector<std::string>> reports;
  ActivityTypeList list;
};

/// An editor on a copy of a recording, in the real offscreen window, with a library and a temporary directory of its
/// own.
class EditorTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Opens a copy of a recording in a window of `size` points.
  void open(const std::string& recording, CGSize size = {375, 667});
  /// Opens it and waits until the timeline is attached.
  void openReady(const std::string& recording, CGSize size = {375, 667});
  /// Takes the editor off the screen and lets it go.
  void close();
  /// What a person's drag of both handles reports.
  void select(double start, double end);
  std::vector<std::string> libraryFiles() const;

  std::filesystem::path movie;  ///< the handed-over copy
  std::filesystem::path library;
  Strong<ZVVideoEditorViewController> editor;
  std::shared_ptr<RecordingDelegate> delegate;
};
