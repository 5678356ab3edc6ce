#pragma once

#include "platform/UIKit/UIMovieScrubber.h"
#include "platform/UIKit/UIMovieScrubberGeometry.h"
#include "platform/UIKit/UIMovieScrubberThumbnails.h"
#include "platform/UIKit/UIMovieScrubberZoom.h"

#include <optional>
#include <string>
#include <vector>

/// The timeline's state. Its parts: UIMovieScrubber.cpp (what the outside sets and asks), UIMovieScrubberTracking.cpp
/// (what is held, and what that changes), UIMovieScrubberLook.cpp (what is drawn), UIMovieScrubberAccessibility.cpp.
struct UIMovieScrubber::Impl {
  explicit Impl(UIMovieScrubber& view);

  // Configuration.
  UIMovieScrubber& view;
  Clock clock;
  Weak<NSObject> delegateOwner, dataSourceOwner;
  UIMovieScrubberDelegate* delegate = nullptr;
  UIMovieScrubberDataSource* dataSource = nullptr;
  bool editable = false;
  double minimumTrimLength = 1;
  double zoomDelay = 0.5;
  CGFloat edgeInset = 10;
  double frameDuration = 1.0 / 30;

  // The model, in seconds.
  double duration = 0;
  double value = 0;
  bool editing = false;
  double start = 0, end = 0;

  // What is on its way.
  UIMovieScrubberZoom zoom;
  UIMovieScrubberProgress appearance;       ///< of the handles
  double closingStart = 0, closingEnd = 0;  ///< where the handles stood when editing ended
  UIMovieScrubberThumbnails thumbnails;
  float aspectRatio = 1;
  double lastReload = -1e9, lastTick = 0;
  unsigned reloadCount = 0;
  bool ticking = false;
  bool needsRequests = false;
  CGFloat shownPlayheadX = -1;

  /// What a person holds.
  struct Hold {
    int touch = 0;
    int handle = HandleNone;
    bool isTold = false;       ///< the delegate knows of it
    CGFloat offset = 0;        ///< from the pointer to what it holds
    CGPoint pointer;           ///< now
    CGPoint stillSince;        ///< where the pointer came to rest
    unsigned stillCount = 0;   ///< which rest this is
    CGFloat zoomPointerX = 0;  ///< where the pointer was when the strip began to widen
  };
  std::optional<Hold> hold;
  unsigned stillCount = 0;
  int hovered = HandleNone;
  int notedHandle = HandleNone;  ///< moved by a key just now
  unsigned noteCount = 0;

  // UIMovieScrubber.cpp
  UIMovieScrubberDelegate* liveDelegate() const { return delegateOwner.expired() ? nullptr : delegate; }
  UIMovieScrubberDataSource* liveSource() const { return dataSourceOwner.expired() ? nullptr : dataSource; }
  Strong<UIMovieScrubber> self() const;
  /// Runs `block` after `seconds` unless the control is gone by then.
  void after(double seconds, std::function<void(Impl&)> block);
  void redraw() { view.setNeedsDisplay(); }
  void startTicking();
  void tick();
  void setDuration(double seconds);
  void layOutThumbnails();
  UIMovieScrubberThumbnails::Source thumbnailSource();

  // UIMovieScrubberTracking.cpp
  double minimumLength() const { return std::min(minimumTrimLength, duration); }
  double handleTime(int handle) const;
  /// Where the playhead goes with a handle that is moved: the end shows the last picture that is kept, which is another
  /// one than that at the end itself where the end lies on a picture's first moment.
  double shownTime(int handle) const;
  CGFloat edgeX(int handle) const;  ///< where it stands when nothing moves any more
  int handleAt(CGPoint point) const;
  CGPoint grabPoint(int handle) const;
  void beginHold(int touch, int handle, CGPoint point);
  void moveHold(CGPoint point);
  void endHold();
  void awaitStillness();
  void zoomIn();
  CGFloat pastEdge() const;
  bool autoScroll(double seconds);  ///< whether there was anywhere to go
  void followPointer();
  void takeHandle(int handle);  ///< begins editing when it has not begun; reports both positions
  void changePlayhead(double seconds);
  void changeHandle(int handle, double seconds);
  void stepBy(int handle, double seconds);
  void beginEditing(bool animated);
  void endEditing(bool animated);

  // UIMovieScrubberLook.cpp
  UIMovieScrubberGeometry geometry(const UIMovieScrubberWindow& window) const;
  UIMovieScrubberGeometry targetGeometry() const { return geometry(zoom.target()); }
  Look look() const;
  void addThumbnails(Look& look, const UIMovieScrubberGeometry& geometry) const;
};
