#pragma once

#include "platform/UIKit/UIControl.h"

/// On or off: the knob is at the side where texts end, or at that where they begin. A press, Space or Return turns it
/// over and sends ValueChanged. 51 by 31 points. Main queue only.
class UISwitch : public UIControl {
  ZV_OBJECT(UISwitch)
 public:
  UISwitch();

  bool isOn() const { return on_; }
  void setOn_animated(bool on, bool animated);
  /// A person's press.
  void toggle();

  CGSize sizeThatFits() const override;
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  const char* visualKind() const override { return "switch"; }

 private:
  CGRect knobFrame() const;

  bool on_ = false;
  Strong<UIView> knob_;
};
