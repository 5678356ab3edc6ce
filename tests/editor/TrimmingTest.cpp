#include "EditorFixture.h"

#include <cmath>

TEST_F(EditorTest, TimestampsAreEvenAndStopAtTheMoviesEnd) {
  open("basic.mp4");
  EXPECT_TRUE(std::isnan(editor->getPlayerDuration()));
  ASSERT_TRUE(waitUntil([&] { return editor->avTrimmer()->dataSource() != nullptr; }));
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
  ASSERT_TRUE(waitUntil(filled));
  const CGSize size = editor->getThumbnailSize();
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
      waitUntil([&] { return editor->cachedTimeStamps() && !editor->cachedTimeStamps()->empty() && filled(); }));
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

TEST_F(EditorTest, TurningWhileTrimmingChangesTheLayoutAndBack) {
  openReady("basic.mp4");
  select(2, 4);
  const auto thumbnails = editor->cachedTimeStamps();
  const auto turn = [&](CGSize size, bool pad) {
    testWindow().resize(size);
    ASSERT_TRUE(waitUntil([&] { return editor->view()->bounds().size == size && editor->isPadMode() == pad; }));
    ASSERT_TRUE(waitUntil([&] { return editor->avTrimmer()->bounds().size.width == size.width; }));
  };
  turn({667, 375}, true);
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Play fix Done");
  EXPECT_EQ(editor->playButton()->imageInsets(), (UIEdgeInsets{8, 0, -8, 0}));
  EXPECT_NE(editor->cachedTimeStamps(), thumbnails);
  turn({500, 500}, false);
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Done");
  EXPECT_EQ(editor->topToolBar()->items().front(), editor->cancelTrimButton());
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "flex Play flex");
  EXPECT_EQ(editor->playButton()->imageInsets(), UIEdgeInsets{});
  EXPECT_EQ(editor->view()->constraints().size(), 4U) << "earlier sets are removed";
}

TEST_F(EditorTest, TheTrimmedRangePlaysFromItsStartAndStopsAtItsEnd) {
  openReady("basic.mp4");
  select(10, 11);
  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(10.5, 1000000));
  editor->playAction();
  EXPECT_LT(CMTimeGetSeconds(editor->avPlayer()->currentTime()), 10.3) << "always from the start of the range";
  ASSERT_TRUE(waitUntil([&] { return editor->avPlayer()->rate() == 0; }));
  EXPECT_NEAR(CMTimeGetSeconds(editor->avPlayer()->currentTime()), 11, 0.07);
  EXPECT_TRUE(editor->isUIHidden()) << "the end of the range is not the end of the movie";

  // Without trimming, the old end must not stop playback.
  editor->undoAction();
  EXPECT_EQ(editor->editEndTime(), 11) << "undo keeps the range";
  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(10.7, 1000000));
  editor->playAction();
  EXPECT_TRUE(waitUntil([&] { return CMTimeGetSeconds(editor->avPlayer()->currentTime()) > 11.3; }));
  EXPECT_EQ(editor->avPlayer()->rate(), 1);
  EXPECT_TRUE(editor->isUIHidden()) << "hidden controls stay hidden";
}
