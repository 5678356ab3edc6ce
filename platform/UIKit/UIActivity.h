#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/Foundation/NSURL.h"

#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

class UIImage;
class UIViewController;

/// Activity types of the platform: what a person did with a movie. Also what the host prints.
inline constexpr const char* UIActivityTypeSaveToCameraRoll = "UIActivityTypeSaveToCameraRoll";
inline constexpr const char* UIActivityTypeMail = "UIActivityTypeMail";
inline constexpr const char* UIActivityTypeMessage = "UIActivityTypeMessage";
inline constexpr const char* UIActivityTypeCopyToPasteboard = "UIActivityTypeCopyToPasteboard";
inline constexpr const char* UIActivityTypePostToFacebook = "UIActivityTypePostToFacebook";

/// Something to share: a text, a web address (also a string), or a file.
using UIActivityItem = std::variant<std::string, NSURL>;

/// Where an activity stands in the sheet: those that share come before those that act on the items.
enum class UIActivityCategory { Action = 0, Share = 1 };

/// Something that can be done with the items of a share sheet. Subclasses say what, and do it. Main queue only.
///
/// The sheet asks `canPerformWithActivityItems` while it is built. When the person picks the activity, the sheet leaves
/// the screen, calls `prepareWithActivityItems`, and then either presents the `activityViewController` or, when that is
/// null, calls `performActivity`. It keeps the activity alive until `activityDidFinish`.
class UIActivity : public NSObject {
  ZV_OBJECT(UIActivity)
 public:
  UIActivity() = default;

  virtual UIActivityCategory activityCategory() const { return UIActivityCategory::Action; }
  /// What is reported to the sheet's completion handler. Never empty in a subclass.
  virtual std::string activityType() const { return {}; }
  /// The name below the icon, in the person's language.
  virtual std::string activityTitle() const { return {}; }
  /// The icon, best 60 points in size or more; null shows the title's first letter.
  virtual Strong<UIImage> activityImage() const { return nullptr; }
  /// A smaller icon for lists of activities; by default none.
  virtual Strong<UIImage> _activitySettingsImage() const { return nullptr; }
  /// Whether the activity can be carried out here and now; the sheet leaves out those that can't. By default NO.
  virtual bool canPerformWithActivityItems(const std::vector<UIActivityItem>& items);
  /// Called once, after the activity was picked and before it is carried out.
  virtual void prepareWithActivityItems(const std::vector<UIActivityItem>& items);
  /// The controller to present for this activity (asked once, after preparing), or null to have `performActivity`
  /// called instead. What was presented is dismissed when the activity finishes.
  virtual Strong<UIViewController> activityViewController() { return nullptr; }
  /// Carries the activity out and calls `activityDidFinish` now or later. The base class finishes at once, completed.
  virtual void performActivity();

  /// To be called when the activity is over, on the main queue: YES when what it stands for was done, NO when the
  /// person backed out or it failed. Further calls do nothing.
  void activityDidFinish(bool completed);
  bool isFinished() const { return finished_; }

  /// For the sheet: called once, in place, by the first `activityDidFinish`.
  void setFinishHandler(std::function<void(bool completed)> handler);
  /// The controller that an activity may present from (an alert about a failure, for example): at each moment the one
  /// in front. Set before the activity is prepared. Null when the window has closed meanwhile.
  Strong<UIViewController> activityPresenter() const;
  void setActivityPresenter(const Strong<UIViewController>& presenter) { presenter_ = presenter; }

 private:
  std::function<void(bool completed)> finishHandler_;
  Weak<UIViewController> presenter_;
  bool finished_ = false;
};
