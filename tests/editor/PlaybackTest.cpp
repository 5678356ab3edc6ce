#include "EditorFixture.h"

TEST_F(EditorTest, PlayRemovesTheOverlayAndHidesTheControlsForGood) {
  openReady("basic.mp4");
  ASSERT_EQ(editor->videoOverlayPlayButton()->superview(), editor->view());
  editor->playAction();
  EXPECT_TRUE(editor->isUIHidden()) << "flipped when the fade starts, not when it ends";
  EXPECT_FALSE(editor->isIntroMode());
  EXPECT_EQ(editor->videoOverlayPlayButton()->superview(), nullptr);
  EXPECT_EQ(editor->topToolBar()->alpha(), 0);
  EXPECT_TRUE(pumpUntil([&] { return editor->avTrimmer()->value() > 0.3; })) << "the playhead follows";
  editor->handleSingleTap(nullptr);
  EXPECT_FALSE(editor->isUIHidden());
  EXPECT_EQ(editor->scrubberContainterView()->alpha(), 1);
  editor->pauseAction();
  const double paused = CMTimeGetSeconds(editor->avPlayer()->currentTime());
  pump(0.3);
  EXPECT_NEAR(editor->avTrimmer()->value(), paused, 0.1);
  editor->handleSingleTap(nullptr);
  editor->playAction();
  EXPECT_TRUE(editor->isUIHidden()) << "hidden controls stay hidden";
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Pause flex");
}

TEST_F(EditorTest, TheEndPausesShowsTheControlsAndReturnsToZero) {
  openReady("portrait.mp4");
  const double duration = editor->getPlayerDuration();
  EXPECT_NEAR(duration, 20, 0.2);
  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(duration - 0.4, 1000000));
  editor->playAction();
  ASSERT_TRUE(pumpUntil([&] { return editor->avPlayer()->rate() == 0; }));
  EXPECT_FALSE(editor->isUIHidden());
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Play flex");
  EXPECT_TRUE(pumpUntil([&] { return editor->avTrimmer()->value() == 0; }));
}

TEST_F(EditorTest, TheTrimmedRangePlaysFromItsStartAndStopsAtItsEnd) {
  openReady("basic.mp4");
  select(10, 11);
  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(10.5, 1000000));
  editor->playAction();
  EXPECT_LT(CMTimeGetSeconds(editor->avPlayer()->currentTime()), 10.3) << "always from the start of the range";
  ASSERT_TRUE(pumpUntil([&] { return editor->avPlayer()->rate() == 0; }));
  EXPECT_NEAR(CMTimeGetSeconds(editor->avPlayer()->currentTime()), 11, 0.07);
  EXPECT_TRUE(editor->isUIHidden()) << "the end of the range is not the end of the movie";

  // Without trimming, the old end must not stop playback.
  editor->undoAction();
  editor->avPlayer()->seekToTime(CMTimeMakeWithSeconds(10.7, 1000000));
  editor->playAction();
  EXPECT_TRUE(pumpUntil([&] { return CMTimeGetSeconds(editor->avPlayer()->currentTime()) > 11.3; }));
  EXPECT_EQ(editor->avPlayer()->rate(), 1);
}

TEST_F(EditorTest, ReloadingReplacesTheChainAndItsObservers) {
  openReady("basic.mp4");
  select(3, 5);
  const Weak<AVPlayer> old = editor->avPlayer();
  const NSURL url = NSURL::fileURLWithPath(std::string(ZEVANTI_TEST_DATA) + "/portrait.mp4");
  editor->reloadAVLayerWithURL(url);
  EXPECT_FALSE(editor->isTrimming());
  EXPECT_EQ(editor->videoURL(), url);
  EXPECT_EQ(editor->avPlayerLayer()->player(), editor->avPlayer());
  EXPECT_TRUE(pumpUntil([&] { return old.expired(); }));
  ASSERT_TRUE(pumpUntil([&] { return editor->avTrimmer()->duration() > 19 && editor->avTrimmer()->duration() < 21; }));
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
  editor->playAction();
  EXPECT_TRUE(pumpUntil([&] { return editor->avTrimmer()->value() > 0.2; })) << "the new player moves the playhead";
}
