#pragma once

#include "platform/UIKit/UICardView.h"
#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UILabel.h"

#include <functional>
#include <string>

/// A row with a title in its middle that darkens under the finger: the buttons of alerts and sheets.
class UIPanelButton : public UIControl {
  ZV_OBJECT(UIPanelButton)
 public:
  UIPanelButton();
  const Strong<UILabel>& titleLabel() const { return title_; }
  /// What the row stands on; its corners are those of the button.
  const Strong<UICardView>& card() const { return card_; }
  /// The title, also the accessible name.
  void setTitle(const std::string& title);
  void setHandler(std::function<void()> handler) { handler_ = std::move(handler); }
  /// Calls the handler.
  void press();
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  void setColors(UIColor normal, UIColor pressed);
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 protected:
  void setHighlighted(bool highlighted) override;

 private:
  void showColors();

  Strong<UICardView> card_;
  Strong<UILabel> title_;
  std::function<void()> handler_;
  UIColor normal_, pressed_;
  bool enabled_ = true;
};
