#pragma once

#include "platform/UIKit/UIActivityIndicatorView.h"
#include "platform/UIKit/UIView.h"

/// Dims what it covers while a video is uploaded, and then shows a turning wheel in its middle. Whoever makes it adds
/// it as a subview. Main queue only.
///
/// A stop or hide that comes while it still fades in is the last word: no wheel appears at the end of the fade.
class ZVYouTubeActivityProgressOverlay : public UIView {
  ZV_OBJECT(ZVYouTubeActivityProgressOverlay)
 public:
  /// `frame` is what it is to cover, in the coordinates of the later superview, whose size it follows.
  static Strong<ZVYouTubeActivityProgressOverlay> initWithFrame(CGRect frame);

  /// The wheel: null until the first fade-in is over, kept when it has left the view.
  const Strong<UIActivityIndicatorView>& activityIndicator() const { return activityIndicator_; }
  void setActivityIndicator(const Strong<UIActivityIndicatorView>& indicator) { activityIndicator_ = indicator; }
  /// Whether it was last told to show. The setter shows and hides nothing.
  bool isShowing() const { return isShowing_; }
  void setIsShowing(bool isShowing) { isShowing_ = isShowing; }

  /// Fades in, or fades out and leaves its superview, in 0.2 s each, animated or not. Does nothing when it is so
  /// already.
  void setShowing_animated(bool showing, bool animated);
  void setupOverlayAnimated(bool animated);
  void tearDownOverlayAnimated(bool animated);
  /// Takes the wheel away; what is covered stays dimmed.
  void stopActivity();

 private:
  void removeChildren();
  void showActivityIndicator();

  Strong<UIActivityIndicatorView> activityIndicator_;
  bool isShowing_ = false;
  bool wantsActivityIndicator_ = false;  ///< until a stop
  int fades_ = 0;                        ///< so that a fade knows whether another has begun since
};
