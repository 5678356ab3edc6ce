#include "platform/backends/qt/QmlItems.h"

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

QQuickItem* QmlItems::make(const QString& name, QQuickItem& parent) {
  QQmlComponent& made = component(name);
  auto* item = qobject_cast<QQuickItem*>(made.create());
  if (!item) {
    qFatal("%s", qPrintable(made.errorString()));
  }
  item->setParent(&parent);
  item->setParentItem(&parent);
  return item;
}
