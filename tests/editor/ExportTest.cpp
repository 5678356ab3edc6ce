#include "EditorFixture.h"
#include "platform/Dispatch/ThreadPool.h"
#include "platform/Foundation/os_trace.h"
#include "platform/UIKit/UIActivity.h"
#include "platform/UIKit/UIProgressView.h"
#include "support/NSFileManagerZVExtensions.h"

#include <sys/mount.h>
#include <algorithm>
#include <cerrno>
#include <fstream>
#include <future>
#include <iterator>

namespace fs = std::filesystem;

namespace {

std::string contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool traced(const std::string& start) {
  const auto messages = trace_log::messages();
  return std::any_of(messages.begin(), messages.end(), [&](const auto& m) { return m.text.starts_with(start); });
}

}  // namespace

TEST_F(EditorTest, SavingWithoutTrimReportsFirstAndStoresTheSameBytes) {
  openReady("basic.mp4");
  const std::string original = contents(movie);
  editor->saveButton()->sendAction();
  ASSERT_EQ(delegate->reports.size(), 1U);
  EXPECT_EQ(delegate->reports[0], std::vector<std::string>{UIActivityTypeSaveToCameraRoll});
  close();  // the editor and its file go while the save may still be under way
  ASSERT_TRUE(pumpUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  ASSERT_EQ(libraryFiles().size(), 1U);
  EXPECT_EQ(contents(library / libraryFiles()[0]), original);
}

TEST_F(EditorTest, TrimmedSavesReplaceTheMovieOnScreen) {
  openReady("basic.mp4");
  editor->avTrimmer()->setValue(12);
  select(10, 25);
  editor->trimButton()->sendAction();
  EXPECT_TRUE(editor->isExporting());
  editor->undoAction();
  EXPECT_TRUE(editor->isTrimming()) << "no undo during an export";
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting(); }));
  const NSURL first = editor->videoURL();
  EXPECT_EQ(first, editor->trimFilePath());
  EXPECT_FALSE(editor->isTrimming());
  EXPECT_TRUE(delegate->reports.empty()) << "the editor stays open";
  ASSERT_TRUE(pumpUntil([&] { return editor->avTrimmer()->duration() < 20; }));
  EXPECT_NEAR(editor->getPlayerDuration(), 15, 0.05);
  EXPECT_EQ(editor->avTrimmer()->value(), 0) << "the new movie stands at its start";
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Done flex title flex Save");

  // The second export reads what the first one wrote.
  select(2, 6);
  editor->saveAction();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting(); }));
  ASSERT_TRUE(pumpUntil([&] { return editor->avTrimmer()->duration() < 10; }));
  EXPECT_NEAR(editor->getPlayerDuration(), 4, 0.05);
  ASSERT_TRUE(dispatch_main::waitForBackgroundWork(20));
  EXPECT_TRUE(fs::exists(editor->videoURL().path()));
  EXPECT_EQ(fs::exists(first.path()), first == editor->videoURL()) << "the replaced copy is deleted";
  ASSERT_TRUE(pumpUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  EXPECT_EQ(libraryFiles().size(), 2U);
  EXPECT_EQ(*editor->activityTypes(), (std::vector<std::string>(2, UIActivityTypeSaveToCameraRoll)));

  // The end of the new movie is noticed, too.
  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(3.7, 1000000));
  editor->playAction();
  EXPECT_TRUE(pumpUntil([&] { return editor->avPlayer()->rate() == 0 && !editor->isUIHidden(); }));
}

TEST_F(EditorTest, AFailedExportKeepsTheTrimAndLeavesNothing) {
  openReady("basic.mp4");
  select(5, 5);  // an empty range
  editor->saveAction();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting(); }));
  EXPECT_TRUE(traced("ZXVideoEditorViewController: Export Trim Video Failed, due to error: "));
  EXPECT_TRUE(editor->isTrimming());
  EXPECT_EQ(editor->videoURL(), editor->originalVideoURL());
  EXPECT_TRUE(libraryFiles().empty());
  EXPECT_EQ(std::distance(fs::directory_iterator(ZVScreenRecorderTempDirectory), {}), 1) << "only the movie itself";

  // And the next one works.
  select(5, 8);
  editor->saveAction();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting(); }));
  EXPECT_EQ(editor->videoURL(), editor->trimFilePath());
}

TEST_F(EditorTest, ATemporaryDirectoryThatCannotBeWrittenFailsTheExportOnly) {
  openReady("basic.mp4");
  select(5, 8);
  const char* const folder = ZVScreenRecorderTempDirectory.c_str();
  if (mount(folder, folder, nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "no right to mount a folder";
  EXPECT_EQ(mount(nullptr, folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
  editor->saveAction();
  EXPECT_TRUE(pumpUntil([&] { return !editor->isExporting(); }));
  EXPECT_EQ(umount2(folder, MNT_DETACH), 0);
  EXPECT_TRUE(traced("ZXVideoEditorViewController: Export Trim Video Failed, due to error: " + std::to_string(EROFS)));
  EXPECT_TRUE(editor->isTrimming());
  EXPECT_EQ(editor->editEndTime(), 8);
  EXPECT_EQ(editor->videoURL(), editor->originalVideoURL());
  EXPECT_TRUE(libraryFiles().empty());
  editor->undoAction();
  EXPECT_FALSE(editor->isTrimming()) << "the trim can be left again";
}

TEST_F(EditorTest, LeavingDuringAnExportStillSavesIt) {
  openReady("basic.mp4");
  select(1, 59);
  editor->saveAction();
  close();
  ASSERT_TRUE(pumpUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  EXPECT_EQ(libraryFiles().size(), 1U);
}

TEST_F(EditorTest, AnExportThatTakesItsTimeShowsHowFarItIs) {
  openReady("basic.mp4");
  select(1, 50);
  const auto bar = [&] {
    const auto& views = editor->topToolBar()->subviews();
    return std::any_of(views.begin(), views.end(),
                       [](const auto& view) { return dynamic_cast<const UIProgressView*>(view.get()) != nullptr; });
  };
  // Nothing is left to run it.
  std::promise<void> end;
  const auto ended = end.get_future().share();
  for (int i = 0; i < ThreadPool::maxThreads; ++i) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_HIGH), [ended] { ended.wait(); });
  }
  editor->saveAction();
  EXPECT_FALSE(bar()) << "most exports are done in a moment";
  EXPECT_TRUE(pumpUntil(bar));
  end.set_value();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting() && !bar(); }));
  ASSERT_TRUE(pumpUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  EXPECT_EQ(libraryFiles().size(), 1U);
}

TEST_F(EditorTest, ARangeChangedDuringAnExportIsSavedAfterIt) {
  openReady("basic.mp4");
  select(1, 50);
  editor->saveAction();
  ASSERT_TRUE(editor->isExporting());
  editor->saveAction();  // a double tap saves once
  editor->movieScrubber_editingEndValueDidChange(*editor->avTrimmer(), 30);
  editor->saveAction();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting() && !editor->isTrimming(); }));
  ASSERT_TRUE(pumpUntil([&] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  EXPECT_EQ(libraryFiles().size(), 2U);
  ASSERT_TRUE(pumpUntil([&] { return editor->avTrimmer()->duration() < 40; }));
  EXPECT_NEAR(editor->getPlayerDuration(), 29, 0.05) << "of the movie that was on screen, not of the first copy";
}

TEST_F(EditorTest, TheCopyOfAnotherEditorIsLeftAlone) {
  openReady("basic.mp4");
  const std::string foreign = editor->trimFilePath().path();  // made in the same second elsewhere
  std::ofstream(foreign) << "another editor's";
  select(1, 2);
  editor->saveAction();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting(); }));
  ASSERT_TRUE(dispatch_main::waitForBackgroundWork(20));
  EXPECT_EQ(contents(foreign), "another editor's");
  fs::remove(foreign);
}
