#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/UIKit/UIActivity.h"
#include "platform/UIKit/UIActivityCell.h"
#include "platform/UIKit/UICardView.h"
#include "platform/UIKit/UIPanelButton.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIViewController.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The share sheet: what is to be shared, and the activities that can be carried out with it. Main queue only.
///
/// Presented with the popover style it is a bubble at a bar item; else it comes in at the bottom of the window, with a
/// button to cancel. A touch beside it and Escape cancel it, too. The arrow keys go from icon to icon.
///
/// When a person picks an activity, the sheet leaves the screen and carries the activity out; it stays alive until the
/// activity has finished or the window closes.
class UIActivityViewController : public UIViewController {
  ZV_OBJECT(UIActivityViewController)
 public:
  /// `completed` says whether the activity `activityType` was carried out. It is NO, with an empty type, when the sheet
  /// was cancelled, and NO with the type when the person backed out of the activity or it failed.
  using CompletionWithItemsHandler =
      std::function<void(const std::string& activityType, bool completed,
                         const std::vector<UIActivityItem>& returnedItems, const NSErrorPtr& error)>;

  /// Asks the desktop's activities and `applicationActivities` whether they can do something with the items, and takes
  /// over those that can.
  static Strong<UIActivityViewController> initWithActivityItems_applicationActivities(
      std::vector<UIActivityItem> items, const std::vector<Strong<UIActivity>>& applicationActivities);

  /// The activities of these types come first, in this order; the others follow in the platform's own: those of the
  /// desktop that share, those of the application, those of the desktop that act. Before the sheet is presented.
  void setActivityTypeOrder(const std::vector<std::string>& types);
  /// Called once, on the main queue, when it is over; then let go of. Not called when the window closes before.
  void setCompletionWithItemsHandler(CompletionWithItemsHandler handler);
  /// Asked on the main queue once the sheet has gone and before a picked activity is prepared: whether it may be
  /// carried out. Who says no tells the person why; the activity has then ended, not completed. Null, as at first:
  /// always.
  void setMayCarryOutHandler(std::function<bool()> handler) { mayCarryOut_ = std::move(handler); }
  /// A picture of what is shared, words about it ("0:32"), and the name that the person knows the file by, for the
  /// sheet's head. Each may be empty; the file is then called by its own name.
  void setPreview(const Strong<UIImage>& image, const std::string& detail, const std::string& fileName = "");

  /// Those that are shown, in order.
  const std::vector<Strong<UIActivity>>& activities() const { return activities_; }

  void viewDidLoad() override;
  void viewDidLayoutSubviews() override;
  bool keyPressed(const UIKey& key) override;
  void cancelPresentation() override;
  void windowDidClose() override;
  CGSize preferredContentSizeThatFits(CGSize room) override;

 protected:
  Strong<UIPresentationController> makePresentationController() override;

 private:
  bool isPopover() const;
  void buildHead();
  void moveFocus(const std::string& key);
  int columns(CGFloat width) const;
  CGFloat headHeight() const;
  CGFloat gridHeight(CGFloat width) const;
  void pick(const Strong<UIActivity>& activity);
  void carryOut();
  void activityDidEnd(bool completed);
  void report(const std::string& type, bool completed);

  std::vector<UIActivityItem> items_;
  std::vector<Strong<UIActivity>> activities_;
  CompletionWithItemsHandler handler_;
  std::function<bool()> mayCarryOut_;
  Strong<UIImage> previewImage_;
  std::string previewDetail_, previewName_;
  Strong<UIActivity> picked_;
  Weak<UIViewController> activityController_;  ///< that was presented for the picked activity
  UIWindow* window_ = nullptr;                 ///< that keeps this alive while the picked activity is carried out

  Strong<UICardView> card_;  ///< null in a popover
  Strong<UIImageView> previewView_;
  Strong<UILabel> headline_, detail_;
  Strong<UIView> line_;
  Strong<UIScrollView> grid_;
  std::vector<Strong<UIActivityCell>> cells_;
  Strong<UIPanelButton> cancel_;  ///< null in a popover
};
