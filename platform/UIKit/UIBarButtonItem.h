#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIGeometry.h"
#include "platform/UIKit/UIView.h"

#include <string>
#include <vector>

class UIToolbar;

enum class UIBarButtonSystemItem {
  Done = 0,
  Cancel = 1,
  Save = 3,
  FlexibleSpace = 5,
  FixedSpace = 6,
  Action = 9,
  Play = 17,
  Pause = 18,
  Undo = 21
};

/// One item of a toolbar: a system item, a view, or space. Main queue only.
class UIBarButtonItem : public NSObject {
 public:
  /// The target is not owned.
  static Strong<UIBarButtonItem> initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem item,
                                                                           const Strong<NSObject>& target, SEL action);
  static Strong<UIBarButtonItem> initWithCustomView(const Strong<UIView>& view);

  bool isCustomView() const { return customView_ != nullptr; }
  const Strong<UIView>& customView() const { return customView_; }
  UIBarButtonSystemItem systemItem() const { return systemItem_; }
  /// Points; only for fixed space.
  CGFloat width() const { return width_; }
  void setWidth(CGFloat width);
  const UIEdgeInsets& imageInsets() const { return insets_; }
  void setImageInsets(UIEdgeInsets insets);
  const Strong<NSObject> target() const { return target_.lock(); }
  const SEL& action() const { return action_; }
  /// Sends the action to the target with the item as its argument, when the target responds to it.
  void sendAction();

  bool isSpace() const {
    return !customView_ &&
           (systemItem_ == UIBarButtonSystemItem::FlexibleSpace || systemItem_ == UIBarButtonSystemItem::FixedSpace);
  }
  /// Words on screen ("Cancel"), in the person's language; empty for items shown as a symbol.
  std::string title() const;
  /// How the title is set: Done and Save stand out.
  UIFont titleFont() const;
  /// The accessible name in English: "Cancel", "Share", "Play", ... (also what scripts use).
  /// Empty for spaces and custom views.
  std::string accessibilityLabel() const;

 private:
  friend class UIToolbar;
  void didChange();

  UIBarButtonSystemItem systemItem_ = UIBarButtonSystemItem::Done;
  Strong<UIView> customView_;
  CGFloat width_ = 0;
  UIEdgeInsets insets_;
  Weak<NSObject> target_;
  SEL action_;
  std::vector<Weak<UIToolbar>> bars_;  ///< the bars that hold the item
};
