#include "platform/AVFoundation/AVPlayer.h"
#include "platform/AVFoundation/AVPlayerLayer.h"
#include "platform/UIKit/UIBackdropView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/PictureItem.h"
#include "tests/data/FrameCode.h"
#include "tests/data/Recordings.h"
#include "tests/window/WindowTest.h"

/// A real player on a real recording, in the window.
class VideoTest : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    AVPlayer::Configuration configuration;
    configuration.audio = false;
    AVPlayer::setConfiguration(configuration);
    player = makePlayer();
    layer = std::make_shared<AVPlayerLayer>();
    layer->setPlayer(player);
    layer->setFrame(root()->bounds());
    root()->layer()->addSublayer(layer);
  }
  void TearDown() override {
    WindowTest::TearDown();
    layer.reset();
    player.reset();
    dispatch_main::waitForBackgroundWork(10);
  }

  static Strong<AVPlayer> makePlayer() {
    const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(recordings::path("basic.mp4")), nullptr);
    return AVPlayer::initWithPlayerItem(AVPlayerItem::initWithAsset(asset));
  }
  bool waitForPicture() {
    return waitUntil([&] { return shownFrame().has_value(); });
  }
  /// The number of the movie's frame that is on screen now, read from the window's own pixels.
  std::optional<int> shownFrame() {
    const QRect place = picturePlace();
    const QImage part = theWindow().grab().copy(place).convertToFormat(QImage::Format_RGB32);
    return part.isNull() ? std::nullopt
                         : frame_code::read(part.constBits(), part.width(), part.height(),
                                            static_cast<std::size_t>(part.bytesPerLine()));
  }
  /// Where the picture of the movie lies in the window, in pixels.
  QRect picturePlace() {
    const CGImageRef frame = player->videoOutput()->copyFrame();
    if (!frame) {
      return {};
    }
    const qreal ratio = theWindow().mirror().pixelRatio();
    const QSize window = theWindow().quickWindow().size() * ratio;
    return {(window.width() - frame->width) / 2, (window.height() - frame->height) / 2, frame->width, frame->height};
  }

  Strong<AVPlayer> player;
  Strong<AVPlayerLayer> layer;
};

TEST_F(VideoTest, EveryPixelOfThePictureArrivesUnchanged) {
  ASSERT_TRUE(waitForPicture());
  EXPECT_EQ(shownFrame(), 0);
  const CGImageRef frame = player->videoOutput()->copyFrame();
  EXPECT_EQ(frame->width, qRound(375 * theWindow().mirror().pixelRatio()));
  const QImage shown = theWindow().grab();
  const QRect place = picturePlace();
  for (int y = 0; y < frame->height; y += 7) {
    for (int x = 0; x < frame->width; x += 5) {
      const std::uint8_t* pixel = frame->pixels.data() + static_cast<std::size_t>(y) * frame->stride + 4 * x;
      ASSERT_EQ(shown.pixelColor(place.x() + x, place.y() + y), QColor(pixel[2], pixel[1], pixel[0]))
          << "at " << x << ", " << y;
    }
  }
  EXPECT_EQ(shown.pixelColor(10, 10), QColor(Qt::black)) << "bars above and below";

  // The window turns: the picture is made anew for the new size.
  theWindow().resize({667, 375});
  layer->setFrame({{0, 0}, {667, 375}});
  const int width = frame->width;
  ASSERT_TRUE(waitUntil([&] { return player->videoOutput()->copyFrame()->width > width && shownFrame() == 0; }));
}

TEST_F(VideoTest, PausedCostsNothingAndASeekIsShown) {
  ASSERT_TRUE(waitForPicture());
  ASSERT_TRUE(waitUntil([&] { return !player->isSeeking(); }));
  int pictures = 0;
  long commits = -1;
  for (int attempt = 0; attempt < 8 && (commits != 0 || pictures != 0); ++attempt) {
    picturesDrawnIn(200);  // what is still on its way
    const long before = theWindow().mirror().commitCount();
    pictures = picturesDrawnIn(400);
    commits = theWindow().mirror().commitCount() - before;
  }
  EXPECT_EQ(pictures, 0);
  EXPECT_EQ(commits, 0);

  player->seekToTime(CMTimeMakeWithSeconds(2, 600));
  ASSERT_TRUE(waitUntil([&] { return shownFrame().value_or(0) > 30 && !player->isSeeking(); }));
}

TEST_F(VideoTest, TheWindowFetchesThePicturesThatArePlayed) {
  ASSERT_TRUE(waitForPicture());
  player->play();
  ASSERT_TRUE(waitUntil([&] { return CMTimeGetSeconds(player->currentTime()) > 0.2; }));
  // A machine that stalls spoils an attempt or two.
  long dropped = 0;
  for (int attempt = 0; attempt < 8; ++attempt) {
    const long before = player->droppedFrameCount();
    const double from = CMTimeGetSeconds(player->currentTime());
    ASSERT_TRUE(waitUntil([&] { return CMTimeGetSeconds(player->currentTime()) > from + 1; }));
    dropped = player->droppedFrameCount() - before;
    if (dropped <= 2) break;
  }
  EXPECT_LE(dropped, 2) << "of 30";
}

TEST_F(VideoTest, ABackdropFollowsThePlayingPictureWhileItIsSeen) {
  const auto backdrop = UIBackdropView::initWithFrame_privateStyle({{0, 300}, {375, 60}}, 2010);
  root()->addSubview(backdrop);
  ASSERT_TRUE(waitForPicture());
  const auto* shown =
      dynamic_cast<PictureItem*>(theWindow().mirror().itemForLayer(backdrop->layer().get())->childItems().value(0));
  ASSERT_NE(shown, nullptr);
  const qint64 first = shown->image().cacheKey();
  player->play();
  ASSERT_TRUE(waitUntil([&] { return shown->image().cacheKey() != first; }));
  backdrop->setAlpha(0);
  theWindow().commit();
  const qint64 hidden = shown->image().cacheKey();
  const std::optional<int> frame = shownFrame();
  ASSERT_TRUE(waitUntil([&] { return shownFrame() != frame; }));
  EXPECT_EQ(shown->image().cacheKey(), hidden) << "nobody sees it, so nobody pays for it";
}

TEST_F(VideoTest, AReplacedPlayerGivesUpTheScreen) {
  ASSERT_TRUE(waitForPicture());
  layer->setPlayer(nullptr);
  theWindow().commit();
  EXPECT_FALSE(shownFrame().has_value());
  layer->setPlayer(player);
  theWindow().commit();
  ASSERT_TRUE(waitForPicture());

  const QRect place = picturePlace();
  const QImage before = theWindow().grab().copy(place);
  player = makePlayer();
  layer->setPlayer(player);
  EXPECT_EQ(theWindow().grab().copy(place), before) << "the picture stays until the next player has one";
  ASSERT_TRUE(waitForPicture());
}
