#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIGeometry.h"
#include "platform/UIKit/UIView.h"

#include <optional>
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

enum class UIBarButtonItemStyle { Plain = 0, Done = 2 };

/// One item of a toolbar: a system item, words of its own, a view, or space. Main queue only.
class UIBarButtonItem : public NSObject {
 public:
  /// The target is not owned.
  static Strong<UIBarButtonItem> initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem item,
                                                                           const Strong<NSObject>& target, SEL action);
  /// A button with these words, which are also its accessible name. In the style Done it stands out.
  static Strong<UIBarButtonItem> initWithTitle_style_target_action(std::string title, UIBarButtonItemStyle style,
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
  /// NO greys the item out and keeps it from being pressed.
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  const Strong<NSObject> target() const { return target_.lock(); }
  const SEL& action() const { return action_; }
  /// Where the item stands in this window, in the window's coordinates; nothing when it is in none of its bars that
  /// are shown. Observers of the key "frame" hear when that may have changed.
  std::optional<CGRect> frameInWindow(const UIWindow* window) const;
  /// Sends the action to the target with the item as its argument, when the target responds to it and the item is
  /// enabled.
  void sendAction();

  bool isSpace() const {
    return !customView_ &&
           (systemItem_ == UIBarButtonSystemItem::FlexibleSpace || systemItem_ == UIBarButtonSystemItem::FixedSpace);
  }
  /// Words on screen ("Cancel"), in the person's language; empty for items shown as a symbol.
  std::string title() const;
  /// How the title is set: Done and Save stand out.
  UIFont titleFont() const;
  /// What scripts and the keyboard know the item by, in English: "Cancel", "Share", "Play", ...; of an item with words
  /// of its own, these. Empty for spaces and custom views.
  std::string accessibilityIdentifier() const;
  /// The same in the person's language, for a screen reader.
  std::string accessibilityLabel() const;

 private:
  friend class UIToolbar;
  void didChange();

  UIBarButtonSystemItem systemItem_ = UIBarButtonSystemItem::Done;
  Strong<UIView> customView_;
  std::string title_;  ///< of an item with words of its own
  UIBarButtonItemStyle style_ = UIBarButtonItemStyle::Plain;
  bool enabled_ = true;
  CGFloat width_ = 0;
  UIEdgeInsets insets_;
  Weak<NSObject> target_;
  SEL action_;
  std::vector<Weak<UIToolbar>> bars_;  ///< the bars that hold the item
};
