// What the timeline does with the pointer, and what it tells of it.

#include "ScrubberFixture.h"

#include <limits>

using Scrubber = UIMovieScrubber;

TEST_F(ScrubberTest, TheStripsEndsAreTheMoviesEndsExactly) {
  for (const CGFloat width : {320.0f, 375.0f, 1366.5f, 3840.0f}) {
    for (const double duration : {0.75, 59.97, 3723.4567}) {
      setWidth(width);
      setDuration(duration);
      EXPECT_EQ(x(0), 22);
      EXPECT_NEAR(x(duration), width - 22, 0.001);
      drag(Scrubber::HandlePlayhead, duration);
      EXPECT_EQ(scrubber->value(), duration);
      press(width / 2);
      move(width + 500);
      EXPECT_EQ(scrubber->value(), duration);
      move(-500);
      EXPECT_EQ(scrubber->value(), 0);
      release(0);
      for (const double part : {0.1, 0.5, 0.83}) {
        drag(Scrubber::HandlePlayhead, duration * part);
        EXPECT_NEAR(scrubber->value(), duration * part, duration * 2e-6);
      }
    }
  }
}

TEST_F(ScrubberTest, APressInTheStripBringsThePlayheadThere) {
  press(x(30));
  for (const UITouchPhase phase : {UITouchPhase::Began, UITouchPhase::Moved, UITouchPhase::Ended}) {
    touch(phase, {x(5), 19}, 2);  // a second finger is not followed
  }
  move(x(30) + 10);
  release(x(15));
  EXPECT_EQ(told(), (Texts{"begin 1", "value 30.000", "value 31.813", "value 15.000", "end 1"}));
  EXPECT_FALSE(scrubber->isEditing());
}

TEST_F(ScrubberTest, ThePlayheadItselfIsGrabbedWhereItIs) {
  scrubber->setValue(30);
  press(x(30) + 3);
  EXPECT_EQ(told(), Texts{"begin 1"});
  move(x(40) + 3);
  EXPECT_EQ(told(), Texts{"value 40.000"});
  touch(UITouchPhase::Cancelled, {0, 19});  // taken away, and not followed to where it went
  EXPECT_EQ(told(), Texts{"end 1"});
  EXPECT_NEAR(scrubber->value(), 40, 1e-4);
  EXPECT_EQ(scrubber->look().activeHandle, Scrubber::HandleNone);
}

TEST_F(ScrubberTest, TakingHoldOfAHandleBeginsEditingAndReportsBothEnds) {
  scrubber->setValue(20);
  const auto grab = scrubber->grabPointForHandle(Scrubber::HandleEnd);
  press(grab.x);
  EXPECT_EQ(told(), (Texts{"editing", "from 0.000", "to 60.000", "begin 3", "value 59.999"}));
  EXPECT_TRUE(scrubber->isEditing());
  EXPECT_FALSE(scrubber->look().showsPlayhead);
  move(grab.x + x(45) - x(60));
  EXPECT_EQ(told(), (Texts{"to 45.000", "value 44.999"}));  // the last picture that is kept
  release(grab.x + x(45) - x(60));
  EXPECT_EQ(told(), Texts{"end 3"});
  EXPECT_LT(scrubber->value(), scrubber->editingEndValue());

  // The next hold does not begin editing again, but whoever listens gets both ends again.
  drag(Scrubber::HandleStart, 10);
  const auto second = told();
  EXPECT_EQ(Texts(second.begin(), second.begin() + 4), (Texts{"from 0.000", "to 45.000", "begin 2", "value 0.000"}));
  EXPECT_NEAR(scrubber->editingStartValue(), 10, 1e-4);
}

TEST_F(ScrubberTest, HandlesStopAtTheMinimumLength) {
  drag(Scrubber::HandleStart, 30);
  drag(Scrubber::HandleEnd, 12);
  EXPECT_NEAR(scrubber->editingEndValue(), 31, 1e-4);
  drag(Scrubber::HandleStart, 60);
  EXPECT_NEAR(scrubber->editingStartValue(), 30, 1e-4);
  drag(Scrubber::HandleEnd, 1000);
  EXPECT_EQ(scrubber->editingEndValue(), 60);
  drag(Scrubber::HandleStart, -1000);
  EXPECT_EQ(scrubber->editingStartValue(), 0);

  // A movie that is shorter than the minimum can't be made shorter.
  scrubber->setEditing_animated(false, false);
  setDuration(0.6);
  drag(Scrubber::HandleStart, 0.4);
  drag(Scrubber::HandleEnd, 0.1);
  EXPECT_EQ(scrubber->editingStartValue(), 0);
  EXPECT_EQ(scrubber->editingEndValue(), 0.6);
}

TEST_F(ScrubberTest, EveryHandleHasRoomToGrab) {
  const auto room = [this](int handle) {
    int points = 0;
    for (CGFloat at = 0.5f; at < 375; ++at) points += handleAt(at) == handle;
    return points;
  };
  scrubber->setValue(30);
  // The press itself begins editing, and takes the playhead along, so each is counted by itself.
  EXPECT_GE(room(Scrubber::HandleStart), 44 - 4);
  scrubber->setValue(30);
  EXPECT_GE(room(Scrubber::HandleEnd), 44 - 4);

  // One second of an hour: nothing to be seen between the handles. Each is on its own side.
  scrubber->setEditing_animated(false, false);
  setDuration(3600);
  drag(Scrubber::HandleStart, 1800);
  drag(Scrubber::HandleEnd, 1801);
  EXPECT_EQ(handleAt(x(1800) - 6), Scrubber::HandleStart);
  EXPECT_EQ(handleAt(x(1801) + 6), Scrubber::HandleEnd);
  EXPECT_EQ(handleAt(x(1800) - 40), Scrubber::HandleStart);
  EXPECT_EQ(handleAt(x(1801) + 40), Scrubber::HandleEnd);
  EXPECT_EQ(handleAt(x(1800) - 60), Scrubber::HandlePlayhead);

  // Between handles that stand close there is room for the playhead.
  drag(Scrubber::HandleEnd, 2200);
  scrubber->setValue(1900);
  EXPECT_EQ(handleAt((x(1800) + x(2200)) / 2), Scrubber::HandlePlayhead);
}

TEST_F(ScrubberTest, ThePlayheadCanBeGrabbedWhereverItIs) {
  for (const double at : {0.0, 0.5, 2.0, 30.0, 59.9, 60.0}) {
    scrubber->setEditing_animated(false, false);
    scrubber->setValue(at);
    drag(Scrubber::HandlePlayhead, 33);
    EXPECT_NEAR(scrubber->value(), 33, 1e-4) << "from " << at;
    EXPECT_FALSE(scrubber->isEditing()) << "from " << at;
  }
  // Also between handles without room.
  setDuration(3600);
  drag(Scrubber::HandleEnd, 1);
  drag(Scrubber::HandlePlayhead, 0.5);
  EXPECT_NEAR(scrubber->value(), 0.5, 1e-3);
  EXPECT_EQ(scrubber->editingEndValue(), 1);
}

TEST_F(ScrubberTest, WhileEditingThePlayheadStaysInTheSelection) {
  drag(Scrubber::HandleStart, 20);
  drag(Scrubber::HandleEnd, 40);
  press(x(5));
  EXPECT_NEAR(scrubber->value(), 20, 1e-4);
  move(x(30));
  EXPECT_NEAR(scrubber->value(), 30, 1e-4);
  move(x(55));
  EXPECT_NEAR(scrubber->value(), 40, 1e-4);
  release(x(55));
}

TEST_F(ScrubberTest, EndingEditingSelectsTheWholeMovieForTheNextTime) {
  drag(Scrubber::HandleStart, 20);
  told();
  const auto grab = scrubber->grabPointForHandle(Scrubber::HandleEnd);
  press(grab.x);
  move(grab.x - 30);
  told();
  // As when the person shakes, or a save replaces the movie, in the middle of a drag.
  scrubber->setEditing_animated(false, true);
  EXPECT_EQ(told(), Texts{"end 3"});
  move(grab.x - 60);
  release(grab.x - 60);
  EXPECT_EQ(told(), Texts{});
  clock.pass(1);
  EXPECT_EQ(scrubber->look().editing, 0);
  press(scrubber->grabPointForHandle(Scrubber::HandleStart).x);
  EXPECT_EQ(Texts(recorder->told.begin(), recorder->told.begin() + 3), (Texts{"editing", "from 0.000", "to 60.000"}));
}

TEST_F(ScrubberTest, ADelegateMayEndEditingOrGoAtAnyMessage) {
  const auto grab = scrubber->grabPointForHandle(Scrubber::HandleStart);
  for (const char* message : {"editing", "from 0.000", "to 60.000", "begin 2", "from 10.000", "value 10.000"}) {
    recorder->onTold = [this, message](const std::string& what) {
      if (what == message) scrubber->setEditing_animated(false, false);
    };
    scrubber->setValue(5);
    press(grab.x);
    move(grab.x + x(10) - x(0));
    release(grab.x + x(10) - x(0));
    EXPECT_FALSE(scrubber->isEditing()) << message;
    EXPECT_EQ(scrubber->look().activeHandle, Scrubber::HandleNone) << message;
    int balance = 0;
    for (const auto& what : told()) balance += what == "begin 2" ? 1 : what == "end 2" ? -1 : 0;
    EXPECT_EQ(balance, 0) << message;
  }
  recorder->onTold = nullptr;
  press(x(30));
  recorder.reset();
  EXPECT_EQ(scrubber->delegate(), nullptr);
  move(x(20));
  release(x(20));
  EXPECT_NEAR(scrubber->value(), 20, 1e-4);
}

TEST_F(ScrubberTest, PlaybackDoesNotPullAtWhatIsHeldAndCostsNothingUnseen) {
  press(x(30));
  scrubber->setValue(50);
  EXPECT_NEAR(scrubber->value(), 30, 1e-4);
  release(x(30));
  scrubber->setValue(50);
  EXPECT_EQ(scrubber->value(), 50);
  scrubber->setValue(std::numeric_limits<double>::quiet_NaN());
  scrubber->setValue(1e9);
  EXPECT_EQ(scrubber->value(), 60);

  setDuration(3600);
  scrubber->setValue(0);
  int draws = 0;
  for (int frame = 1; frame <= 300; ++frame) {
    const auto before = scrubber->layer()->contentVersion();
    scrubber->setValue(frame / 30.0);
    draws += scrubber->layer()->contentVersion() != before;
  }
  EXPECT_EQ(scrubber->value(), 10);
  EXPECT_GE(draws, 4);
  EXPECT_LE(draws, 12);  // ten seconds of an hour are less than a point
}

TEST_F(ScrubberTest, KeysMoveByFramesAndSeconds) {
  scrubber->setFrameDuration(0.04);
  scrubber->setValue(30);
  element("Playhead").adjust(-2, UIAdjustmentUnit::Frame);
  EXPECT_EQ(told(), (Texts{"begin 1", "value 29.920", "end 1"}));
  EXPECT_EQ(element("Playhead").value, "0:29.92");
  EXPECT_EQ(scrubber->look().timeText, "0:29.92");
  clock.pass(2);
  EXPECT_EQ(scrubber->look().timeText, "");

  element("Start").adjust(1, UIAdjustmentUnit::Second);
  EXPECT_EQ(told(), (Texts{"editing", "from 0.000", "to 60.000", "begin 2", "from 1.000", "value 1.000", "end 2"}));
  element("End").adjust(-1, UIAdjustmentUnit::Frame);
  EXPECT_NEAR(scrubber->editingEndValue(), 59.96, 1e-9);
  EXPECT_LT(scrubber->value(), 59.96);  // the picture that begins at 59.96 is not kept
  EXPECT_GT(scrubber->value(), 59.95);
  element("End").adjust(-1000000, UIAdjustmentUnit::Second);
  EXPECT_NEAR(scrubber->editingEndValue(), 2, 1e-9);
  element("Playhead").adjust(1000000, UIAdjustmentUnit::Second);
  EXPECT_NEAR(scrubber->value(), 2, 1e-9);

  scrubber->setEditable(false);
  EXPECT_FALSE(scrubber->isEditing());
  EXPECT_EQ(element("Start").label, "");
  EXPECT_EQ(handleAt(5), Scrubber::HandlePlayhead);
}

TEST_F(ScrubberTest, TellsTheTimeOfWhatIsHeld) {
  const auto textAt = [this](double duration, double seconds) {
    setDuration(duration);
    press(x(seconds));
    move(x(seconds));
    const auto look = scrubber->look();
    release(x(seconds));
    EXPECT_EQ(scrubber->look().timeText, "");
    EXPECT_NEAR(look.timeTextX, x(seconds), 0.01);
    return look.timeText;
  };
  EXPECT_EQ(textAt(60, 30.126), "0:30.13");
  EXPECT_EQ(textAt(100, 59.9999), "1:00.00");  // not 0:60.00, nor 0:59.99
  EXPECT_EQ(textAt(7500, 3723.5).substr(0, 9), "1:02:03.5");
}
