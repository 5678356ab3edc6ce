#pragma once

#include "platform/UIKit/UIAlertAction.h"
#include "platform/UIKit/UICardView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIPanelButton.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIViewController.h"

#include <string>
#include <vector>

enum class UIAlertControllerStyle { Alert = 1 };

/// Tells a person something that must be answered before anything else: a title, a message, and one button for each
/// action. Present it from any controller on screen. Main queue only.
///
/// Choosing an action takes the alert away and then calls the action's handler. Return chooses the preferred action,
/// without one the first with the default style, else the only one; Escape the one with the cancel style, else the only
/// one. A touch beside the alert does nothing. Two actions whose titles are short stand side by side, the cancelling
/// one at the left; otherwise one below the other, the cancelling one last. A message that is higher than the window
/// scrolls.
class UIAlertController : public UIViewController {
  ZV_OBJECT(UIAlertController)
 public:
  static Strong<UIAlertController> alertControllerWithTitle_message_preferredStyle(std::string title,
                                                                                   std::string message,
                                                                                   UIAlertControllerStyle style);
  const std::string& title() const { return title_; }
  const std::string& message() const { return message_; }
  /// In the order in which they were added. An alert without any can't be answered: add one before it is presented.
  const std::vector<Strong<UIAlertAction>>& actions() const { return actions_; }
  void addAction(const Strong<UIAlertAction>& action);
  void setPreferredAction(const Strong<UIAlertAction>& action);

  void viewDidLoad() override;
  void viewDidLayoutSubviews() override;
  bool keyPressed(const UIKey& key) override;
  CGSize preferredContentSizeThatFits(CGSize room) override;

 protected:
  Strong<UIPresentationController> makePresentationController() override;

 private:
  void choose(const Strong<UIAlertAction>& action);
  Strong<UIAlertAction> actionForReturn() const;
  Strong<UIAlertAction> actionForEscape() const;
  /// The one whose title stands out: what Return chooses, else the way out.
  Strong<UIAlertAction> emphasizedAction() const;
  bool isSideBySide() const;
  CGFloat textHeight(CGFloat width) const;
  CGFloat buttonsHeight() const;

  std::string title_, message_;
  std::vector<Strong<UIAlertAction>> actions_;
  Strong<UIAlertAction> preferred_;
  bool answered_ = false;
  Strong<UICardView> card_;
  Strong<UIScrollView> text_;
  Strong<UILabel> titleLabel_, messageLabel_;
  std::vector<Strong<UIPanelButton>> buttons_;  ///< as they stand: cancel first in a row, last in a column
  std::vector<Strong<UIView>> lines_;
};
