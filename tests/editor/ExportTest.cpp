#include "EditorFixture.h"
#include "platform/Dispatch/ThreadPool.h"
#include "platform/UIKit/UIActivity.h"
#include "platform/UIKit/UIProgressView.h"
#include "tests/common/Files.h"

#include <algorithm>
#include <fstream>
#include <future>

namespace fs = std::filesystem;

TEST_F(EditorTest, WhatIsBeingSavedIsSavedThoughTheEditorAndItsFileGo) {
  for (const bool trims : {false, true}) {
    SCOPED_TRACE(trims);
    openReady("basic.mp4");
    const std::string original = contentOf(movie);
    if (trims) select(1, 59);
    editor->saveAction();
    EXPECT_EQ(delegate->reports, (std::vector<std::vector<std::string>>{{UIActivityTypeSaveToCameraRoll}}))
        << "before anything is saved, and not of a trimmed copy";
    close();
    ASSERT_TRUE(waitUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
    ASSERT_EQ(libraryFiles().size(), trims ? 2U : 1U);
    if (!trims) {
      EXPECT_EQ(contentOf(library / libraryFiles()[0]), original);
    }
  }
}

TEST_F(EditorTest, ATrimmedCopyOnScreenIsTrimmedAndPlayedLikeTheMovie) {
  openReady("basic.mp4");
  const Weak<AVPlayer> old = editor->avPlayer();
  select(10, 25);
  editor->trimButton()->sendAction();
  EXPECT_TRUE(editor->isExporting());
  editor->undoAction();
  EXPECT_TRUE(editor->isTrimming()) << "no undo during an export";
  ASSERT_TRUE(waitUntil([&] { return !editor->isExporting() && editor->avTrimmer()->duration() < 20; }));
  EXPECT_TRUE(waitUntil([&] { return old.expired(); }));
  EXPECT_TRUE(delegate->reports.empty()) << "the editor stays open";

  select(2, 6);
  editor->saveAction();
  ASSERT_TRUE(waitUntil([&] { return !editor->isExporting() && editor->avTrimmer()->duration() < 10; }));
  EXPECT_NEAR(editor->getPlayerDuration(), 4, 0.05);
  ASSERT_TRUE(waitUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  EXPECT_EQ(libraryFiles().size(), 2U);

  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(2, 1000000));
  editor->playAction();
  EXPECT_TRUE(waitUntil([&] { return editor->avTrimmer()->value() > 2.1; })) << "the new player moves the playhead";
  EXPECT_TRUE(waitUntil([&] { return editor->avPlayer()->rate() == 0 && !editor->isUIHidden(); }))
      << "the end of the new movie is noticed, too";
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
  EXPECT_TRUE(waitUntil(bar));
  end.set_value();
  ASSERT_TRUE(waitUntil([&] { return !editor->isExporting() && !bar(); }));
  ASSERT_TRUE(waitUntil([] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
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
  ASSERT_TRUE(waitUntil([&] { return !editor->isExporting() && !editor->isTrimming(); }));
  ASSERT_TRUE(waitUntil([&] { return !PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves(); }));
  EXPECT_EQ(libraryFiles().size(), 2U);
  ASSERT_TRUE(waitUntil([&] { return editor->avTrimmer()->duration() < 40; }));
  EXPECT_NEAR(editor->getPlayerDuration(), 29, 0.05) << "of the movie that was on screen, not of the first copy";
}

TEST_F(EditorTest, TheCopyOfAnotherEditorIsLeftAlone) {
  openReady("basic.mp4");
  const std::string foreign = editor->trimFilePath().path();  // made in the same second elsewhere
  std::ofstream(foreign) << "another editor's";
  select(1, 2);
  editor->saveAction();
  ASSERT_TRUE(waitUntil([&] { return !editor->isExporting(); }));
  ASSERT_TRUE(dispatch_main::waitForBackgroundWork(20));
  EXPECT_EQ(contentOf(foreign), "another editor's");
  fs::remove(foreign);
}
