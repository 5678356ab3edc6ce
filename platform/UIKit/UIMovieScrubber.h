#pragma once

#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/NSNumber.h"
#include "platform/UIKit/UIControl.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class UIMovieScrubber;

/// What the timeline asks for. All calls on the main queue.
class UIMovieScrubberDataSource {
 public:
  virtual ~UIMovieScrubberDataSource() = default;
  /// Seconds; may be not a number.
  virtual double movieScrubberDuration(UIMovieScrubber& scrubber) = 0;
  /// Up to `count` times in seconds from `start` on, before `end`.
  virtual std::vector<NSNumber> movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(UIMovieScrubber& scrubber,
                                                                                         int count, NSNumber start,
                                                                                         NSNumber end) = 0;
  /// Width over height of a thumbnail.
  virtual float movieScrubberThumbnailAspectRatio(UIMovieScrubber& scrubber) = 0;
  /// The picture is handed back with `setThumbnailImage_forTimestamp`, later, or never.
  virtual void movieScrubber_requestThumbnailImageForTimestamp(UIMovieScrubber& scrubber, NSNumber timestamp) = 0;
};

/// What the timeline tells. All calls on the main queue. Times in seconds from the start of the movie.
class UIMovieScrubberDelegate {
 public:
  virtual ~UIMovieScrubberDelegate() = default;
  virtual void movieScrubber_valueDidChange(UIMovieScrubber& scrubber, double value) = 0;
  virtual void movieScrubberDidBeginScrubbing_withHandle(UIMovieScrubber& scrubber, int handle) = 0;
  virtual void movieScrubberDidEndScrubbing_withHandle(UIMovieScrubber& scrubber, int handle) = 0;
  virtual void movieScrubber_editingStartValueDidChange(UIMovieScrubber& scrubber, double value) = 0;
  virtual void movieScrubber_editingEndValueDidChange(UIMovieScrubber& scrubber, double value) = 0;
  virtual void movieScrubberDidBeginEditing(UIMovieScrubber& scrubber) = 0;
  virtual void movieScrubberDidCancelEditing(UIMovieScrubber& scrubber) = 0;
};

/// The thumbnail timeline: a strip of pictures across the movie's length with a playhead and, once editing begins, two
/// trim handles. Main queue only.
///
/// Dragging in the strip moves the playhead. Taking hold of one of the strip's ends begins editing: the delegate is
/// told DidBeginEditing, then the positions of both handles, then every change. While a handle is held still for the
/// zoom delay the strip widens around it for frame-fine trimming, until it is let go. A handle is at least 44 points to
/// grab, and never comes nearer to the other than the minimum trim length (or the whole movie, when that is shorter).
///
/// Every hold is framed by DidBeginScrubbing and DidEndScrubbing with the handle that is held, so that playback rests
/// meanwhile. The playhead goes along with a handle that is held (valueDidChange after each editing...DidChange): the
/// person sees the frame that the handle stands at, and it stays there when the handle is let go. While editing, a
/// person can't take the playhead out of the selected range.
///
/// Without a frame of its own it fills its superview.
class UIMovieScrubber : public UIControl {
  ZV_OBJECT(UIMovieScrubber)
 public:
  enum Handle { HandleNone = 0, HandlePlayhead = 1, HandleStart = 2, HandleEnd = 3 };

  UIMovieScrubber();
  ~UIMovieScrubber() override;

  void setEditable(bool editable);
  void setMinimumTrimLength(double seconds);
  void setZoomDelay(double seconds);
  void setEdgeInset(CGFloat points);  ///< space left and right of the strip
  bool isEditable() const;
  double minimumTrimLength() const;
  double zoomDelay() const;
  CGFloat edgeInset() const;

  /// Neither is owned; both are expressed as the one object that implements them, so that they end with it.
  void setDelegate(const Strong<NSObject>& owner, UIMovieScrubberDelegate* delegate);
  void setDataSource(const Strong<NSObject>& owner, UIMovieScrubberDataSource* dataSource);
  UIMovieScrubberDelegate* delegate() const;
  UIMovieScrubberDataSource* dataSource() const;

  /// Asks the data source for everything again. Pictures that are shown stay until new ones come.
  void reloadData();
  void setThumbnailImage_forTimestamp(const CGImageRef& image, NSNumber timestamp);

  double value() const;  ///< where the playhead stands
  void setValue(double seconds);
  bool isEditing() const;
  /// Shows or hides the handles; does not tell the delegate. Editing starts with the whole movie selected, and ending
  /// it selects the whole movie again.
  void setEditing_animated(bool editing, bool animated);
  double editingStartValue() const;
  double editingEndValue() const;
  double duration() const;  ///< as the data source said; 0 when unknown
  /// The length of one frame in seconds, for the arrow keys; 1/30 unless set.
  void setFrameDuration(double seconds);

  /// Where time is kept for holding, zooming and fading: seconds of a steady clock, and work on the main queue after so
  /// many seconds. The real ones unless a test sets others, before anything is held.
  struct Clock {
    std::function<double()> now;
    std::function<void(double seconds, std::function<void()> block)> after;
  };
  void setClock(Clock clock);

  // For driving the control with pointer events. Points in the control's coordinates.
  /// Where a time of the movie lies in the strip as it is now (zoomed or not).
  CGPoint pointForTime(double seconds) const;
  /// Where to press to take hold of a handle or the playhead, also before editing has begun.
  CGPoint grabPointForHandle(Handle handle) const;
  /// Where the pointer must be for a handle to stand at `seconds`: for what is held now, with the offset it was grabbed
  /// at; else for a press at `grabPointForHandle`.
  CGPoint dragPointForHandle(Handle handle, double seconds) const;

  /// Everything that is drawn, worked out anew at each call. Lengths in points, in the control's coordinates.
  struct Look {
    CGRect strip;             ///< the whole strip, borders included; reaches past the bounds when zoomed
    bool showsEnds = false;   ///< the strip's ends can be taken hold of
    CGFloat handleWidth = 0;  ///< a handle lies outside its inner edge
    int hoveredHandle = HandleNone;
    struct Thumbnail {
      CGRect frame;      ///< may overlap the one before, which it covers; the strip clips it
      CGImageRef image;  ///< null until it has come
      double time;
    };
    std::vector<Thumbnail> thumbnails;
    CGFloat playheadX = 0;
    bool showsPlayhead = true;
    float editing = 0;             ///< 0 to 1: how far the handles have appeared
    CGFloat startX = 0, endX = 0;  ///< inner edges of the handles
    bool zoomed = false;           ///< shows a part of the movie, or is on its way from or to it
    int activeHandle = HandleNone;
    /// "0:12.34" under the finger, "1:02:03.45" from an hour on; empty when nothing is held. After an arrow key it
    /// stays for a moment.
    std::string timeText;
    CGFloat timeTextX = 0;  ///< its centre
  };
  Look look() const;

  void layoutSubviews() override;
  bool pointInside(CGPoint point) const override;
  void handleTouch(const UITouch& touch) override;
  void handleHover(std::optional<CGPoint> point) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  const char* visualKind() const override { return "scrubber"; }
  CGSize sizeThatFits() const override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};
