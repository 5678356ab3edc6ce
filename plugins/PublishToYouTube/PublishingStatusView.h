#pragma once

#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIPanelButton.h"
#include "platform/UIKit/UIProgressView.h"
#include "platform/UIKit/UITextView.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <optional>
#include <string>

/// The panel at the bottom of the form that tells how publishing goes: a sentence, and with it a progress bar, an
/// address to copy, or a button. Main queue only.
class PublishingStatusView : public UIView {
  ZV_OBJECT(PublishingStatusView)
 public:
  struct Status {
    std::string text;  ///< empty: there is nothing to tell, and the panel takes no room
    bool isFailure = false;
    std::optional<float> progress;  ///< 0 to 1
    std::string address;            ///< shown whole, to be copied
    std::string button;             ///< its words; empty: none
    std::function<void()> pressed;
  };
  PublishingStatusView();

  const Status& status() const { return status_; }
  void setStatus(Status status);
  CGFloat heightForWidth(CGFloat width) const;
  void layoutSubviews() override;

 private:
  CGFloat addressHeight(CGFloat room) const;

  Status status_;
  Strong<UIView> line_;
  Strong<UILabel> text_;
  Strong<UIProgressView> bar_;
  Strong<UICardView> addressCard_;
  Strong<UITextView> address_;
  Strong<UIPanelButton> button_;
};
