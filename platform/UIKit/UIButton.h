#pragma once

#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UIImage.h"

#include <map>

/// A button with a picture for each state. Without a picture for the highlighted state, the normal one is shown.
class UIButton : public UIControl {
  ZV_OBJECT(UIButton)
 public:
  void setImage_forState(const Strong<UIImage>& image, UIControlState state);
  const Strong<UIImage>& imageForState(UIControlState state) const;
  /// The picture of the present state, or null.
  const Strong<UIImage>& currentImage() const;
  CGSize sizeThatFits() const override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  const char* visualKind() const override { return "button"; }

 protected:
  void setHighlighted(bool highlighted) override;

 private:
  std::map<UIControlState, Strong<UIImage>> images_;
};
