#include "platform/backends/qt/QmlItems.h"

#include "platform/backends/qt/SymbolProvider.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QUrl>

QmlItems::QmlItems() = default;
QmlItems::~QmlItems() = default;

QQuickItem* QmlItems::make(const QString& name, QQuickItem& parent) {
  if (!engine_) {
    engine_ = std::make_unique<QQmlEngine>();
    engine_->addImageProvider(QStringLiteral("symbols"), new SymbolProvider);
  }
  std::shared_ptr<QQmlComponent>& component = components_[name];
  if (!component) {
    component = std::make_shared<QQmlComponent>(engine_.get(), QUrl(QStringLiteral("qrc:/Zevanti/%1.qml").arg(name)));
  }
  auto* item = qobject_cast<QQuickItem*>(component->create());
  if (!item) {
    qFatal("%s", qPrintable(component->errorString()));
  }
  item->setParent(&parent);
  item->setParentItem(&parent);
  return item;
}
