#include "platform/UIKit/UIAlertAction.h"

#include <utility>

Strong<UIAlertAction> UIAlertAction::actionWithTitle_style_handler(std::string title, UIAlertActionStyle style,
                                                                   Handler handler) {
  auto action = std::make_shared<UIAlertAction>();
  action->title_ = std::move(title);
  action->style_ = style;
  action->handler_ = std::move(handler);
  return action;
}
