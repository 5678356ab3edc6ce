#include "platform/backends/qt/AccessibilityMirror.h"

#include "platform/backends/qt/QmlItems.h"
#include "platform/backends/qt/QtConversions.h"

#include <private/qquickaccessibleattached_p.h>
#include <QAccessible>
#include <QQuickItem>

namespace {

/// In front of everything, so that its order among the children does not disturb that of the layers.
constexpr qreal kInFront = 1000;

QAccessible::Role toRole(UIAccessibilityRole role) {
  switch (role) {
    case UIAccessibilityRole::Button:
      return QAccessible::Button;
    case UIAccessibilityRole::Slider:
      return QAccessible::Slider;
    case UIAccessibilityRole::StaticText:
      return QAccessible::StaticText;
    case UIAccessibilityRole::Image:
      return QAccessible::Graphic;
    case UIAccessibilityRole::ProgressBar:
      return QAccessible::ProgressBar;
    case UIAccessibilityRole::TextField:
      return QAccessible::EditableText;
    case UIAccessibilityRole::Switch:
      return QAccessible::CheckBox;
    case UIAccessibilityRole::RadioButton:
      return QAccessible::RadioButton;
    case UIAccessibilityRole::Picker:
      return QAccessible::SpinBox;
  }
  return QAccessible::NoRole;
}

}  // namespace

/// One reachable element.
class AccessibilityMirror::Item : public QQuickItem {
 public:
  explicit Item(QQuickItem& parent)
      : QQuickItem(&parent),
        attached_(qobject_cast<QQuickAccessibleAttached*>(
            qmlAttachedPropertiesObject<QQuickAccessibleAttached>(this, true))) {
    setZ(kInFront);
    connect(attached_, &QQuickAccessibleAttached::pressAction, this, [this] {
      if (element_.activate) {
        element_.activate();
      }
    });
    connect(attached_, &QQuickAccessibleAttached::increaseAction, this, [this] { adjust(1); });
    connect(attached_, &QQuickAccessibleAttached::decreaseAction, this, [this] { adjust(-1); });
  }

  void show(UIAccessibilityElement element) {
    const QRectF frame = toQRectF(element.frame);
    setPosition(frame.topLeft());
    setSize(frame.size());
    setEnabled(element.enabled);
    attached_->setRole(toRole(element.role));
    attached_->set_checkable(element.role == UIAccessibilityRole::Switch ||
                             element.role == UIAccessibilityRole::RadioButton);
    attached_->set_checked(element.checked);
    attached_->setName(QString::fromStdString(element.spoken.empty() ? element.label : element.spoken));
    attached_->setDescription(QString::fromStdString(element.group.empty() ? element.value : element.group));
    element_ = std::move(element);
  }

 private:
  void adjust(int steps) {
    if (element_.adjust) {
      element_.adjust(steps, UIAdjustmentUnit::Second);
    }
  }

  QQuickAccessibleAttached* attached_;
  UIAccessibilityElement element_;
};

AccessibilityMirror::~AccessibilityMirror() {
  update(nullptr);
}

void AccessibilityMirror::update(UIWindow* window) {
  std::vector<UIWindow::Reachable> elements;
  if (window && QAccessible::isActive()) {
    elements = window->reachableElements();
    // Text items are offered themselves, with what is in them.
    std::erase_if(elements, [](const auto& e) { return e.element.role == UIAccessibilityRole::TextField; });
  }
  while (items_.size() > elements.size()) {
    delete items_.back();
    items_.pop_back();
  }
  if (items_.empty() && !elements.empty()) {
    qml_.prepare(QStringLiteral("FocusRing"));  // the Accessible type comes with Qt Quick's QML types
  }
  while (items_.size() < elements.size()) {
    items_.push_back(new Item(parent_));
  }
  for (std::size_t i = 0; i < elements.size(); ++i) {
    static_cast<Item*>(items_[i])->show(std::move(elements[i].element));
  }
}
