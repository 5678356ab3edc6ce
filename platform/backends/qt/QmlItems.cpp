#include "platform/backends/qt/QmlItems.h"

#include "platform/Foundation/os_trace.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QUrl>

QmlItems::QmlItems() = default;
QmlItems::~QmlItems() = default;

QQmlComponent& QmlItems::component(const QString& name) {
  if (!engine_) {
    engine_ = std::make_unique<QQmlEngine>();
  }
  std::shared_ptr<QQmlComponent>& component = components_[name];
  if (!component) {
    component = std::make_shared<QQmlComponent>(engine_.get(), QUrl(QStringLiteral("qrc:/Zevanti/%1.qml").arg(name)));
  }
  return *component;
}

void QmlItems::prepare(const QString& name) {
  component(name);
}

void QmlItems::replaceEngine() {
  components_.clear();
  if (hasItems_) {
    former_.push_back(std::move(engine_));
  }
  engine_.reset();
  hasItems_ = false;
}

QQuickItem* QmlItems::make(const QString& name, QQuickItem& parent) {
  constexpr int kTries = 2;
  constexpr std::chrono::seconds kPause(1);  // an engine takes its time, and items are asked for with each frame
  if (failure_ && std::chrono::steady_clock::now() - *failure_ < kPause) {
    return nullptr;
  }
  for (int i = 0; i < kTries; ++i) {
    QQmlComponent& made = component(name);
    if (auto* item = qobject_cast<QQuickItem*>(made.create())) {
      hasItems_ = true;
      failure_.reset();
      item->setParent(&parent);
      item->setParentItem(&parent);
      return item;
    }
    os_trace_error("a part of the window can't be made: %s", qPrintable(made.errorString().trimmed()));
    replaceEngine();
  }
  failure_ = std::chrono::steady_clock::now();
  return nullptr;
}
