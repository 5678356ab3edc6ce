#pragma once

#include "platform/UIKit/UIWindow.h"

#include <vector>

class QQuickItem;
class QmlItems;

/// Offers everything that can be reached in a window to screen readers, as invisible items over the picture. Does
/// nothing at all while no screen reader listens. Main thread.
class AccessibilityMirror {
 public:
  AccessibilityMirror(QQuickItem& parent, QmlItems& qml) : parent_(parent), qml_(qml) {}
  ~AccessibilityMirror();

  /// Follows the window as it is now.
  void update(UIWindow* window);
  const std::vector<QQuickItem*>& items() const { return items_; }

 private:
  class Item;
  QQuickItem& parent_;
  QmlItems& qml_;
  std::vector<QQuickItem*> items_;
};
