// The keyboard: what can be reached, where the focus is, what keys mean.

#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UIMovieScrubber.h"
#include "platform/UIKit/UITextInputView.h"
#include "platform/UIKit/UIToolbar.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>

namespace {

constexpr float leastVisibleAlpha = 0.01f;
/// More than any movie is long, and few enough seconds to be counted in frames.
constexpr int stepsToTheEnd = 1'000'000;

bool canHaveFocus(const UIAccessibilityElement& element) {
  return element.enabled && (element.activate || element.adjust);
}

bool isArrow(const UIKey& key) {
  return key.name == "Left" || key.name == "Right";
}

void collectReachable(const Strong<UIView>& view, bool interactive, std::vector<UIWindow::Reachable>& found) {
  if (view->isHidden() || view->alpha() < leastVisibleAlpha || view->accessibilityElementsHidden()) return;
  interactive = interactive && view->isUserInteractionEnabled();
  for (auto& element : view->accessibilityElements()) {
    if (!interactive) element.enabled = false;
    element.frame.origin = view->convertPointToWindow(element.frame.origin);
    found.push_back({view, std::move(element)});
  }
  const auto views = view->subviews();
  for (const auto& subview : views) collectReachable(subview, interactive, found);
}

/// The element's distance from where rows begin: at the left, or at the right in languages that are written from there.
/// What lies on a time line keeps its order.
float distanceInRow(const UIWindow::Reachable& reachable) {
  const CGRect& frame = reachable.element.frame;
  if (UIApplicationLayoutDirection() == UIUserInterfaceLayoutDirection::LeftToRight) return frame.origin.x;
  if (!dynamic_cast<const UIMovieScrubber*>(reachable.view.get())) return -frame.maxX();
  const CGPoint corner = reachable.view->convertPointToWindow({0, 0});
  return frame.origin.x - 2 * corner.x - reachable.view->bounds().size.width;
}

/// Rows from top to bottom, and each from where the person begins to read. An element belongs to a row when its middle
/// lies within the height of the row's first element.
void sortInReadingOrder(std::vector<UIWindow::Reachable>& elements) {
  const auto middle = [](const auto& e) { return e.element.frame.origin.y + e.element.frame.size.height / 2; };
  std::stable_sort(elements.begin(), elements.end(),
                   [](const auto& a, const auto& b) { return a.element.frame.origin.y < b.element.frame.origin.y; });
  for (auto row = elements.begin(); row != elements.end();) {
    const float bottom = row->element.frame.maxY();
    auto end = std::find_if(row + 1, elements.end(), [&](const auto& e) { return middle(e) >= bottom; });
    std::stable_sort(row, end, [](const auto& a, const auto& b) { return distanceInRow(a) < distanceInRow(b); });
    row = end;
  }
}

/// The item with this name in the bars of the window, faded out or not.
Strong<UIBarButtonItem> findBarItem(const Strong<UIView>& view, const std::string& label) {
  if (view->isHidden() || view->accessibilityElementsHidden()) return nullptr;
  if (const auto* bar = dynamic_cast<const UIToolbar*>(view.get())) {
    for (const auto& item : bar->items()) {
      if (item->accessibilityIdentifier() == label) return item;
    }
  }
  for (const auto& subview : view->subviews()) {
    if (auto item = findBarItem(subview, label)) return item;
  }
  return nullptr;
}

UIWindow::FocusRing ringAround(const UIAccessibilityElement& element) {
  const UIEdgeInsets& insets = element.focusRingInsets;
  const CGRect& frame = element.frame;
  const CGRect ring = CGRectMake(frame.origin.x + insets.left, frame.origin.y + insets.top,
                                 std::max(frame.size.width - insets.left - insets.right, 0.0F),
                                 std::max(frame.size.height - insets.top - insets.bottom, 0.0F));
  return {ring, std::min({element.focusRingRadius, ring.size.width / 2, ring.size.height / 2})};
}

/// Play and Pause stand in for each other in the same place.
bool isSameFocus(const std::string& focused, const std::string& label) {
  return label == focused || (focused == "Play" && label == "Pause") || (focused == "Pause" && label == "Play");
}

}  // namespace

Strong<UIView> UIWindow::inputRoot() {
  if (const auto presented = frontmostPresentedViewController()) return presented->view();
  return std::static_pointer_cast<UIView>(weak_from_this().lock());
}

std::vector<UIWindow::Reachable> UIWindow::reachableElements() {
  layoutIfNeeded();
  std::vector<Reachable> found;
  if (const auto root = inputRoot()) collectReachable(root, true, found);
  sortInReadingOrder(found);
  return found;
}

std::optional<UIWindow::Reachable> UIWindow::focusedElement() {
  const auto view = focusedView_.lock();
  if (!view || focusLabel_.empty()) return std::nullopt;
  const auto elements = reachableElements();
  const auto isThere = [&](const Reachable& r) { return r.view == view && canHaveFocus(r.element); };
  auto place = std::find_if(elements.begin(), elements.end(), [&](const Reachable& r) {
    return isThere(r) && isSameFocus(focusLabel_, r.element.label);
  });
  const bool isAlone =
      std::count_if(elements.begin(), elements.end(), [&](const Reachable& r) { return r.view == view; }) == 1;
  // What was a view's only element before is the same one by another name.
  if (place == elements.end() && isAlone && focusIsAlone_)
    place = std::find_if(elements.begin(), elements.end(), isThere);
  if (place == elements.end()) return std::nullopt;
  focusLabel_ = place->element.label;
  // The items of a bar are replaced by others.
  focusIsAlone_ = isAlone && !std::dynamic_pointer_cast<UIToolbar>(view);
  return *place;
}

std::optional<UIWindow::FocusRing> UIWindow::focusRing() {
  const auto focused = focusedElement();
  return focused ? std::optional(ringAround(focused->element)) : std::nullopt;
}

bool UIWindow::moveFocus(bool backwards) {
  auto elements = reachableElements();
  std::erase_if(elements, [](const Reachable& r) { return !canHaveFocus(r.element); });
  if (elements.empty()) return false;
  const auto focused = focusedElement();
  const auto current = std::find_if(elements.begin(), elements.end(), [&](const Reachable& r) {
    return focused ? r.view == focused->view && r.element.label == focused->element.label
                   : r.element.role == UIAccessibilityRole::TextField && r.view->isFirstResponder();
  });
  const std::size_t count = elements.size();
  std::size_t next = backwards ? count - 1 : 0;
  if (current != elements.end()) {
    const auto index = static_cast<std::size_t>(current - elements.begin());
    next = backwards ? (index + count - 1) % count : (index + 1) % count;
  }
  setFocus(elements[next].view, elements[next].element.label);
  return true;
}

void UIWindow::setFocus(const Strong<UIView>& view, const std::string& label) {
  focusedView_ = view;
  focusLabel_ = label;
  focusIsAlone_ = false;
  setNeedsDisplay();
  if (!view || label.empty()) return;
  // Who types goes on to the next element with the focus.
  const auto typing = std::dynamic_pointer_cast<UITextInputView>(UIResponder::firstResponder());
  if (typing && typing != view) typing->resignFirstResponder();
  if (const auto ring = focusRing()) {
    view->didGainFocus({view->convertPointFromWindow(ring->frame.origin), ring->frame.size});
  }
}

std::pair<Weak<UIView>, std::string> UIWindow::takeFocus() {
  std::pair<Weak<UIView>, std::string> taken(std::exchange(focusedView_, {}), std::exchange(focusLabel_, {}));
  setNeedsDisplay();
  return taken;
}

void UIWindow::giveFocus(const Weak<UIView>& view, const std::string& label) {
  setFocus(view.lock(), label);
}

bool UIWindow::adjustElement(const UIAccessibilityElement& element, const UIKey& key) {
  if (!element.adjust) return false;
  if (element.role == UIAccessibilityRole::Picker && (key.name == "Up" || key.name == "Down")) {
    element.adjust(key.name == "Up" ? -1 : 1, UIAdjustmentUnit::Frame);
    return true;
  }
  if (isArrow(key)) {
    element.adjust(key.name == "Left" ? -1 : 1, key.shift ? UIAdjustmentUnit::Second : UIAdjustmentUnit::Frame);
    return true;
  }
  if (key.name == "Home" || key.name == "End") {
    element.adjust(key.name == "Home" ? -stepsToTheEnd : stepsToTheEnd, UIAdjustmentUnit::Second);
    return true;
  }
  return false;
}

bool UIWindow::activateBarItem(std::initializer_list<const char*> labels) {
  const auto root = inputRoot();
  if (!root) return false;
  for (const char* label : labels) {
    if (const auto item = findBarItem(root, label)) {
      item->sendAction();
      return true;
    }
  }
  return false;
}

bool UIWindow::activateElement(const std::string& label) {
  for (const auto& [view, element] : reachableElements()) {
    if (element.label == label && element.enabled && element.activate) {
      element.activate();
      return true;
    }
  }
  return false;
}

bool UIWindow::sendKeyToFocus(const UIKey& key) {
  const auto focused = focusedElement();
  if (!focused) return false;
  if (adjustElement(focused->element, key)) return true;
  if ((key.name != "Return" && key.name != "Space") || !focused->element.activate) return false;
  focused->element.activate();
  return true;
}

bool UIWindow::sendKeyByMeaning(const UIKey& key) {
  if (key.name == "Space") return activateBarItem({"Pause", "Play"}) || activateElement("Play");
  if (key.name == "Return") return activateBarItem({"Done"});
  if (isArrow(key) || key.name == "Home" || key.name == "End") {
    for (const auto& [view, element] : reachableElements()) {
      if (element.label == "Playhead" && canHaveFocus(element)) return adjustElement(element, key);
    }
  }
  return false;
}

bool UIWindow::sendKeyToPresented(UIViewController& controller, const UIKey& key) {
  const bool escape = key.name == "Escape";
  if (!escape && !key.control && sendKeyToFocus(key)) return true;
  if (controller.keyPressed(key)) return true;
  return escape && (activateBarItem({"Cancel"}) || activateElement("Cancel"));
}

bool UIWindow::sendKey(const UIKey& key) {
  const auto keep = weak_from_this().lock();
  if (key.alt) return false;
  if (key.name == "Escape") {
    const auto typing = std::dynamic_pointer_cast<UITextInputView>(UIResponder::firstResponder());
    if (typing && typing->window() == this) return typing->resignFirstResponder();
  }
  if (const auto presented = frontmostPresentedViewController()) {
    if (key.name == "Tab" && !key.control) return moveFocus(key.shift);
    return sendKeyToPresented(*presented, key);
  }
  if (key.control) {
    if (key.name == "Z") {
      sendShake();
      return true;
    }
    // Where the bars have no Save, while trimming, Done is what saves.
    return key.name == "S" && activateBarItem({"Save", "Done"});
  }
  if (key.name == "Tab") return moveFocus(key.shift);
  // Where the bars have no Cancel, after an edit, Done stands in its place and leaves in the same way.
  if (key.name == "Escape") return activateBarItem({"Cancel", "Done"});
  return sendKeyToFocus(key) || sendKeyByMeaning(key);
}
