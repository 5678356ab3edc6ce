// Holding a handle still, and what the strip shows.

#include "ScrubberFixture.h"

#include <cmath>

using Scrubber = UIMovieScrubber;

class ScrubberZoomTest : public ScrubberTest {
 protected:
  /// Takes hold of the start handle, and leaves it at a time for as long as it takes to zoom.
  void holdStartAt(double seconds) {
    press(scrubber->grabPointForHandle(Scrubber::HandleStart).x);
    pointer = scrubber->dragPointForHandle(Scrubber::HandleStart, seconds).x;
    move(pointer);
    clock.pass(0.6);
  }
  void moveBy(CGFloat points) { move(pointer += points); }
  double secondsPerPoint() const { return 1 / (x(1) - x(0)); }

  CGFloat pointer = 0;
};

TEST_F(ScrubberZoomTest, WidensAroundAHandleThatIsHeldStill) {
  holdStartAt(20);
  ASSERT_TRUE(scrubber->look().zoomed);
  const double before = scrubber->editingStartValue();
  const auto startX = scrubber->look().startX;
  for (int i = 0; i < 6; ++i) {
    clock.pass(0.05);  // on its way, and there
    EXPECT_NEAR(scrubber->look().startX, startX, 0.01);
  }
  EXPECT_EQ(scrubber->editingStartValue(), before);
  EXPECT_NEAR(secondsPerPoint(), 5.0 / 331, 1e-6);

  moveBy(1);
  EXPECT_NEAR(scrubber->editingStartValue(), 20 + 5.0 / 331, 1e-4);
  EXPECT_NEAR(scrubber->look().startX, startX + 1, 0.01);
  moveBy(-3);
  EXPECT_NEAR(scrubber->editingStartValue(), 20 - 2 * 5.0 / 331, 1e-4);

  const double held = scrubber->editingStartValue();
  release(pointer);
  EXPECT_TRUE(scrubber->look().zoomed);  // on its way back
  clock.pass(0.5);
  EXPECT_FALSE(scrubber->look().zoomed);
  EXPECT_EQ(scrubber->editingStartValue(), held);
  EXPECT_NEAR(scrubber->look().startX, x(held), 0.01);
  EXPECT_NEAR(x(60), 353, 0.01);
}

TEST_F(ScrubberZoomTest, OnlyAHandleThatIsStill) {
  holdStartAt(20);
  release(pointer);
  clock.pass(1);

  press(scrubber->grabPointForHandle(Scrubber::HandleStart).x);
  pointer = scrubber->grabPointForHandle(Scrubber::HandleStart).x;
  for (int i = 0; i < 10; ++i) {  // moves on slowly
    clock.pass(0.4);
    moveBy(3);
    EXPECT_FALSE(scrubber->look().zoomed);
  }
  for (int i = 0; i < 4; ++i) {  // trembles
    clock.pass(0.1);
    moveBy(i % 2 ? -1.5f : 1.5f);
  }
  clock.pass(0.11);
  EXPECT_TRUE(scrubber->look().zoomed);
  release(pointer);
  clock.pass(1);

  press(x(40));
  clock.pass(2);
  EXPECT_FALSE(scrubber->look().zoomed);  // the playhead
  release(x(40));

  // Let go just before the time: nothing comes later.
  press(scrubber->grabPointForHandle(Scrubber::HandleStart).x);
  clock.pass(0.45);
  release(scrubber->grabPointForHandle(Scrubber::HandleStart).x);
  clock.pass(2);
  EXPECT_FALSE(scrubber->look().zoomed);

  setDuration(0.8);
  press(scrubber->grabPointForHandle(Scrubber::HandleStart).x);
  clock.pass(2);
  EXPECT_FALSE(scrubber->look().zoomed);  // a second or less is shown whole
}

TEST_F(ScrubberZoomTest, GoesOnAtTheStripsEdgeUntilTheMoviesEnd) {
  setDuration(3600);
  holdStartAt(20);
  clock.pass(0.5);
  // It lies near the edge, but the person has not asked to go there.
  EXPECT_NEAR(scrubber->editingStartValue(), 20, 0.01);
  const auto requests = recorder->requested.size();
  move(pointer = 0);
  clock.pass(0.2);
  EXPECT_LT(scrubber->editingStartValue(), 20);
  EXPECT_GT(scrubber->editingStartValue(), 0);
  clock.pass(20);
  EXPECT_EQ(scrubber->editingStartValue(), 0);
  EXPECT_GT(recorder->requested.size(), requests);
  const auto settled = told().size();
  EXPECT_GT(settled, 0u);
  clock.pass(1);
  EXPECT_EQ(told(), Texts{});
  release(pointer);
  clock.pass(1);

  // Towards the other handle it stops at the minimum length, and stays in sight.
  drag(Scrubber::HandleEnd, 60);
  const double end = scrubber->editingEndValue();
  holdStartAt(30);
  move(pointer = 375);
  clock.pass(60);
  EXPECT_NEAR(scrubber->editingStartValue(), end - 1, 1e-6);
  EXPECT_LE(scrubber->look().startX, 353.01f);
  EXPECT_GE(scrubber->look().startX, 22);
  release(pointer);
}

TEST_F(ScrubberZoomTest, AsksForThePicturesOfTheWidenedStripOnce) {
  recorder->requested.clear();
  holdStartAt(20);
  clock.pass(0.5);
  ASSERT_FALSE(recorder->requested.empty());
  for (const double time : recorder->requested) {
    EXPECT_GT(time, 15);
    EXPECT_LT(time, 25);
  }
  const auto look = scrubber->look();
  ASSERT_EQ(look.thumbnails.size(), recorder->requested.size());
  EXPECT_LE(look.thumbnails.front().frame.origin.x, 0);  // beyond the control's edge there is more
  EXPECT_GE(look.thumbnails.back().frame.maxX(), 375);
  recorder->requested.clear();
  moveBy(10);
  moveBy(-10);
  release(pointer);
  clock.pass(1);
  EXPECT_TRUE(recorder->requested.empty());
  EXPECT_EQ(scrubber->look().thumbnails.size(), 7u);
}

TEST_F(ScrubberTest, ThumbnailsLieEvenlyAcrossTheStrip) {
  ASSERT_EQ(recorder->requested.size(), 7u);  // 331 points, 53.3 points each
  const auto look = scrubber->look();
  ASSERT_EQ(look.thumbnails.size(), 7u);
  EXPECT_NEAR(look.thumbnails.front().frame.origin.x, 22, 0.01);
  EXPECT_NEAR(look.thumbnails.back().frame.maxX(), 353, 0.01);
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_NEAR(recorder->requested[i], 60.0 / 7 * static_cast<double>(i), 1e-9);
    EXPECT_EQ(look.thumbnails[i].image, nullptr);
  }
  // A long narrow picture, and a number that is none.
  for (const auto& [aspect, count] : {std::pair(0.01f, 21u), std::pair(std::nanf(""), 11u), std::pair(100.0f, 1u)}) {
    recorder->aspect = aspect;
    recorder->requested.clear();
    scrubber->reloadData();
    clock.pass(1);
    EXPECT_EQ(recorder->requested.size(), count);
  }
}

TEST_F(ScrubberTest, PicturesStayUntilNewOnesCome) {
  const auto requested = recorder->requested;
  const auto first = plainPicture(Qt::red), second = plainPicture(Qt::blue);
  for (const double time : requested) scrubber->setThumbnailImage_forTimestamp(first, NSNumber(time));
  scrubber->setThumbnailImage_forTimestamp(nullptr, NSNumber(requested[0]));
  scrubber->setThumbnailImage_forTimestamp(second, NSNumber(1.2345));  // nobody asked
  for (const auto& thumbnail : scrubber->look().thumbnails) EXPECT_EQ(thumbnail.image, first);

  recorder->requested.clear();
  scrubber->reloadData();
  EXPECT_EQ(recorder->requested, requested);
  for (const auto& thumbnail : scrubber->look().thumbnails) EXPECT_EQ(thumbnail.image, first);
  scrubber->setThumbnailImage_forTimestamp(second, NSNumber(requested[3]));
  const auto look = scrubber->look();
  for (std::size_t i = 0; i < 7; ++i) EXPECT_EQ(look.thumbnails[i].image, i == 3 ? second : first);

  // A wider strip has other times; the nearest pictures stand in.
  clock.pass(1);
  setWidth(1000);
  clock.pass(1);
  EXPECT_GT(scrubber->look().thumbnails.size(), 15u);
  for (const auto& thumbnail : scrubber->look().thumbnails) EXPECT_NE(thumbnail.image, nullptr);
}

TEST_F(ScrubberTest, AskingIsPutOffWhileTheWindowIsBeingResized) {
  recorder->requested.clear();
  for (CGFloat width = 375; width < 975; width += 10) {
    setWidth(width);
    scrubber->reloadData();
    clock.pass(0.016);
  }
  clock.pass(0.3);
  const auto shown = scrubber->look().thumbnails.size();
  EXPECT_GE(recorder->requested.size(), shown);
  EXPECT_LE(recorder->requested.size(), shown + 30);  // not 60 strips
}

TEST_F(ScrubberTest, WithoutALengthTheStripIsEmpty) {
  for (const double length : {std::nan(""), 0.0, -3.0, HUGE_VAL}) {
    setDuration(60);
    drag(Scrubber::HandleStart, 10);
    told();
    recorder->requested.clear();
    setDuration(length);
    EXPECT_EQ(scrubber->duration(), 0);
    EXPECT_TRUE(recorder->requested.empty());
    EXPECT_FALSE(scrubber->isEditing());  // nothing is left to be edited
    EXPECT_EQ(told(), Texts{"cancelled"});
    const auto look = scrubber->look();
    EXPECT_TRUE(look.thumbnails.empty());
    EXPECT_FALSE(look.showsPlayhead);
    press(100);
    move(200);
    release(200);
    element("Start").adjust(1, UIAdjustmentUnit::Second);
    EXPECT_EQ(told(), Texts{});
  }
}
