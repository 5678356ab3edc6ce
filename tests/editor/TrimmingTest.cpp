#include "EditorFixture.h"
#include "platform/UIKit/UIScreen.h"

#include <cmath>

TEST_F(EditorTest, TimestampsAreEvenAndStopAtTheMoviesEnd) {
  open("basic.mp4");
  EXPECT_TRUE(std::isnan(editor->getPlayerDuration()));
  ASSERT_TRUE(pumpUntil([&] { return editor->avTrimmer()->dataSource() != nullptr; }));
  const auto times = [&](int count, double start, double end) {
    std::vector<double> seconds;
    for (const NSNumber& time : editor->movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(
             *editor->avTrimmer(), count, NSNumber(start), NSNumber(end))) {
      seconds.push_back(time.doubleValue());
    }
    return seconds;
  };
  EXPECT_EQ(times(4, 0, 10), (std::vector<double>{0, 2.5, 5, 7.5}));
  EXPECT_EQ(times(4, 0, 100), (std::vector<double>{0, 25, 50}));
  EXPECT_EQ(times(2, 50, 400), (std::vector<double>{50})) << "the first is always there";
  EXPECT_EQ(times(0, 0, 10), std::vector<double>{});
  EXPECT_EQ(times(4, 0, 0), std::vector<double>{0});
}

TEST_F(EditorTest, ThumbnailsAreMadeOnceAndServedFromTheCache) {
  openReady("basic.mp4");
  const auto filled = [&] {
    const auto look = editor->avTrimmer()->look();
    bool all = !look.thumbnails.empty();
    for (const auto& thumbnail : look.thumbnails) all &= thumbnail.image != nullptr;
    return all;
  };
  ASSERT_TRUE(pumpUntil(filled));
  const CGSize size = editor->getThumbnailSize();
  const float scale = UIScreen::mainScreen().scale();
  EXPECT_FLOAT_EQ(size.height, 36 * scale);
  EXPECT_FLOAT_EQ(size.width, std::rint(640.0F / 360.0F * 36 * scale) * scale);
  const auto [time, image] = *editor->cachedTimeStamps()->begin();
  EXPECT_LE(static_cast<float>(image->height), size.height);
  EXPECT_LE(static_cast<float>(image->width), size.width);

  const auto generator = editor->thumbnailGenerator();
  editor->movieScrubber_requestThumbnailImageForTimestamp(*editor->avTrimmer(), time);
  pump(0.05);
  EXPECT_EQ(editor->cachedTimeStamps()->at(time), image) << "the same picture, not made again";
  EXPECT_EQ(editor->thumbnailGenerator(), generator);
  editor->refreshAVRotation();
  EXPECT_NE(editor->thumbnailGenerator(), generator);
  ASSERT_TRUE(
      pumpUntil([&] { return editor->cachedTimeStamps() && !editor->cachedTimeStamps()->empty() && filled(); }));
}

TEST_F(EditorTest, AspectFollowsTheDisplayedSize) {
  openReady("turned.mp4");
  const CGSize size = editor->getVideoSize();
  EXPECT_GT(size.width, 0);
  EXPECT_LT(size.width, size.height) << "a quarter turn makes it portrait";
  EXPECT_FLOAT_EQ(editor->movieScrubberThumbnailAspectRatio(*editor->avTrimmer()), size.width / size.height);
  close();
  openReady("audio_only.mp4");
  EXPECT_EQ(editor->getVideoSize(), CGSizeZero);
  EXPECT_EQ(editor->movieScrubberThumbnailAspectRatio(*editor->avTrimmer()), 1.0F);
  EXPECT_FALSE(std::isnan(editor->getThumbnailSize().width));
}

TEST_F(EditorTest, DraggingThePlayheadPausesSeeksAndDoesNotResume) {
  openReady("basic.mp4");
  editor->playAction();
  ASSERT_TRUE(pumpUntil([&] { return editor->avTrimmer()->value() > 0.1; }));
  UIMovieScrubber& timeline = *editor->avTrimmer();
  editor->movieScrubberDidBeginScrubbing_withHandle(timeline, UIMovieScrubber::HandlePlayhead);
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Pause flex") << "the toolbar is not changed";
  timeline.setValue(30);
  editor->movieScrubber_valueDidChange(timeline, 30);
  pump(0.2);
  EXPECT_EQ(timeline.value(), 30) << "playback does not fight the finger";
  editor->movieScrubberDidEndScrubbing_withHandle(timeline, UIMovieScrubber::HandlePlayhead);
  EXPECT_FALSE(editor->isScrubbing());
  ASSERT_TRUE(pumpUntil([&] { return !editor->avPlayer()->isSeeking(); }));
  EXPECT_NEAR(CMTimeGetSeconds(editor->avPlayer()->currentTime()), 30, 0.001);
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
}

TEST_F(EditorTest, EditAndUndoSwitchTheToolbars) {
  openReady("basic.mp4");
  select(2, 4);
  EXPECT_TRUE(editor->isTrimming() && editor->hasEdit());
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Done");
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "flex Play flex");
  editor->cancelTrimButton()->sendAction();
  EXPECT_FALSE(editor->isTrimming());
  EXPECT_EQ(editor->topToolBar()->items().front(), editor->doneButton());
  EXPECT_EQ(editor->editEndTime(), 4) << "undo keeps the range";

  const UIEvent shake(UIEventSubtype::MotionShake);
  editor->motionEnded_withEvent(UIEventSubtype::MotionShake, shake);
  EXPECT_FALSE(editor->isTrimming());
  editor->movieScrubber_editingStartValueDidChange(*editor->avTrimmer(), 1);
  EXPECT_TRUE(editor->isTrimming()) << "a moved handle counts as trimming by itself";
  editor->setExporting(true);
  editor->motionEnded_withEvent(UIEventSubtype::MotionShake, shake);
  EXPECT_TRUE(editor->isTrimming()) << "not during an export";
  editor->setExporting(false);
  ASSERT_TRUE(pumpUntil([&] { return editor->isFirstResponder(); }));
  testWindow().sendShake();
  EXPECT_TRUE(pumpUntil([&] { return !editor->isTrimming(); }));
}
