#pragma once

#include "platform/UIKit/UIMovieScrubber.h"
#include "platform/backends/qt/EditorWindow.h"

#include <gtest/gtest.h>
#include <QColor>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// The program's one window: a process can have only one, so the tests share it.
EditorWindow& testWindow();

/// Time that passes when a test says so.
class TestClock {
 public:
  UIMovieScrubber::Clock clock();
  /// Lets time pass in steps of 10 ms, and runs what is due.
  void pass(double seconds);

 private:
  double now_ = 100;
  std::multimap<double, std::function<void()>> due_;
};

/// Writes down what the timeline tells and asks.
class Recorder : public NSObject, public UIMovieScrubberDataSource, public UIMovieScrubberDelegate {
 public:
  double duration = 60;
  float aspect = 16.0f / 9;
  /// "begin 2", "start 0.000", "value 12.500", ... in order.
  std::vector<std::string> told;
  std::vector<double> requested;
  std::function<void(const std::string&)> onTold;

  double movieScrubberDuration(UIMovieScrubber&) override { return duration; }
  std::vector<NSNumber> movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(UIMovieScrubber&, int count,
                                                                                 NSNumber start, NSNumber end) override;
  float movieScrubberThumbnailAspectRatio(UIMovieScrubber&) override { return aspect; }
  void movieScrubber_requestThumbnailImageForTimestamp(UIMovieScrubber&, NSNumber timestamp) override;

  void movieScrubber_valueDidChange(UIMovieScrubber&, double value) override { tell("value", value); }
  void movieScrubberDidBeginScrubbing_withHandle(UIMovieScrubber&, int handle) override {
    tell("begin " + std::to_string(handle));
  }
  void movieScrubberDidEndScrubbing_withHandle(UIMovieScrubber&, int handle) override {
    tell("end " + std::to_string(handle));
  }
  void movieScrubber_editingStartValueDidChange(UIMovieScrubber&, double value) override { tell("from", value); }
  void movieScrubber_editingEndValueDidChange(UIMovieScrubber&, double value) override { tell("to", value); }
  void movieScrubberDidBeginEditing(UIMovieScrubber&) override { tell("editing"); }
  void movieScrubberDidCancelEditing(UIMovieScrubber&) override { tell("cancelled"); }

 private:
  void tell(const std::string& what);
  void tell(const std::string& what, double value);
};

/// A timeline of 375 points in its container, with a movie of 60 seconds.
class ScrubberTest : public testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  void SetUp() override;
  void setWidth(CGFloat width);
  void setDuration(double seconds);

  // Touches, in the control's coordinates.
  void touch(UITouchPhase phase, CGPoint point, int identifier = 1);
  void press(CGFloat x) { touch(UITouchPhase::Began, {x, 19}); }
  void move(CGFloat x) { touch(UITouchPhase::Moved, {x, 19}); }
  void release(CGFloat x) { touch(UITouchPhase::Ended, {x, 19}); }
  /// Takes a handle to a time, in a few moves, and lets go.
  void drag(UIMovieScrubber::Handle handle, double seconds);
  CGFloat x(double seconds) const { return scrubber->pointForTime(seconds).x; }
  /// What a press at a place takes hold of; lets go at once.
  int handleAt(CGFloat x);
  /// What was told since the last time.
  Texts told();
  UIAccessibilityElement element(const std::string& label);
  /// Hands over a picture for every time asked for since the last time.
  void deliver(const std::function<CGImageRef(double)>& picture);

  TestClock clock;
  Strong<Recorder> recorder = std::make_shared<Recorder>();
  Strong<UIView> container = std::make_shared<UIView>();
  Strong<UIMovieScrubber> scrubber;
};

/// A picture of one colour, 160 × 90.
CGImageRef plainPicture(const QColor& color);
