#pragma once

#include "platform/UIKit/UIWindow.h"

#include <vector>

class QQuickItem;

/// Offers everything that can be reached in a window to screen readers, as invisible items over the picture. Does
/// nothing at all while no screen reader listens. Main thread.
class AccessibilityMirror {
 public:
  explicit AccessibilityMirror(QQuickItem& parent) : parent_(parent) {}
  ~AccessibilityMirror();

  /// Follows the window as it is now.
  void update(UIWindow* window);
  const std::vector<QQuickItem*>& items() const { return items_; }

 private:
  class Item;
  QQuickItem& parent_;
  std::vector<QQuickItem*> items_;
};
