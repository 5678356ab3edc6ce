#pragma once

#include "platform/Foundation/NSValueObjects.h"
#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIPickerView.h"
#include "platform/UIKit/UISegmentedControl.h"
#include "platform/UIKit/UISwitch.h"
#include "platform/UIKit/UITableView.h"
#include "platform/UIKit/UIViewController.h"
#include "plugins/PublishToYouTube/FormCells.h"
#include "plugins/PublishToYouTube/PublishingStatusView.h"
#include "plugins/PublishToYouTube/upload/VideoDetails.h"

#include <functional>

/// What the person says about the video: title, description, category, tags, visibility, and whether it is made for
/// children; below it, how publishing goes. Main queue only.
///
/// Parts of it can be reached by name: the variables "_table" (row 1 of section 0 is the description), "_categories" (a
/// list of dictionaries, see categoryIDKey), "_picker" and "_defaultCategory" (the identifier of the category that will
/// be used), and the methods `_categoryCell` and `_selectComedyPickerRow`, which chooses the category to begin with
/// when the form comes on screen for the first time.
class PublishToYouTubeForm : public UIViewController, private UITextInputDelegate {
  ZV_OBJECT(PublishToYouTubeForm)
  ZV_INSTANCE_VARIABLES(PublishToYouTubeForm)
 public:
  struct Handlers {
    std::function<void()> willBeDisplayed, cancel, publish;
    std::function<void()> done;     ///< the person has finished typing, and goes on to publish
    std::function<void()> changed;  ///< the person has changed something
    std::function<void()> changeAccount;
    /// See UIViewController.
    std::function<bool(const std::function<void()>& close)> windowShouldClose;
  };
  void setHandlers(Handlers handlers) { handlers_ = std::move(handlers); }

  publishing::VideoDetails details() const;
  /// Puts these in, in place of what is there.
  void setDetails(const publishing::VideoDetails& details);
  /// The same, as what the form begins with: the person has not said it here. Does nothing before the form is on
  /// screen.
  void suggestDetails(const publishing::VideoDetails& details);
  /// Whether the person has said something that was not in the form by itself.
  bool isFilledIn() const;
  /// Keeps what the form says, suggested or not, for the next form of this process, which is about the same recording.
  /// A draft that has been shown again is kept by that form only.
  void keepDraft() const;
  static void discardDraft();
  void setStatus(PublishingStatusView::Status status);
  const PublishingStatusView::Status& status() const { return status_->status(); }
  /// NO while the details are in use: nothing can be changed or published.
  void setEditable(bool editable);
  /// NO for good: there is nothing to publish.
  void setCanPublish(bool can);
  /// Whether there is an account to change. NO at first.
  void setHasAccount(bool has);
  /// Moves the panel in front of everything in `view`, at its bottom.
  void raiseStatus(const Strong<UIView>& view);

  Strong<UITableViewCell> _categoryCell() { return categoryCell_; }
  void _selectComedyPickerRow();
  // Actions of the bar.
  void cancel();
  void publish();
  void endTyping();
  // Action of controls.
  void controlChanged();

  void loadView() override;
  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  bool windowShouldClose(const std::function<void()>& close) override;

 private:
  class FormView;
  void textInputDidChange(UITextInputView& input) override;
  bool isTyping() const;
  void personChanged();
  void takeDraft();
  void makeCells();
  void togglePicker();
  void categoryChosen(int row);
  void chooseCategory(const std::string& identifier);

  Handlers handlers_;
  Strong<UITableView> table_;
  Strong<NSArray> categories_;
  Strong<UIPickerView> picker_;
  Strong<NSString> defaultCategory_;
  Strong<PublishingTextFieldCell> titleCell_, tagsCell_;
  Strong<PublishingDescriptionCell> descriptionCell_;
  Strong<PublishingCategoryCell> categoryCell_;
  Strong<PublishingViewCell> pickerCell_;
  Strong<UITableViewCell> accountCell_;
  Strong<UISegmentedControl> visibility_;
  Strong<UISwitch> madeForChildren_;
  Strong<PublishingStatusView> status_ = std::make_shared<PublishingStatusView>();
  Strong<UIBarButtonItem> cancelItem_, publishItem_;
  /// What was in the form before the person began; nothing until it is on screen.
  std::optional<publishing::VideoDetails> untouched_;  ///< what it began with
  std::optional<publishing::VideoDetails> suggested_;
  bool isEditable_ = true, canPublish_ = true;
};
