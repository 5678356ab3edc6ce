#pragma once

#include <QHash>
#include <QString>
#include <memory>

class QQmlComponent;
class QQmlEngine;
class QQuickItem;

/// Makes items from the QML files that are compiled into the program. Nothing of it is set up before the first one is
/// asked for: the engine takes 20 to 30 ms. So nothing that belongs to the first frame is QML. Main thread.
class QmlItems {
 public:
  QmlItems();
  ~QmlItems();

  /// The root item of "name.qml" as a child of `parent`, which owns it. Never null: a file that can't be made into an
  /// item is a fault of the program and ends it with a message.
  QQuickItem* make(const QString& name, QQuickItem& parent);
  /// Loads "name.qml" ahead of time, so that its first item comes without a delay.
  void prepare(const QString& name);

 private:
  QQmlComponent& component(const QString& name);

  std::unique_ptr<QQmlEngine> engine_;
  QHash<QString, std::shared_ptr<QQmlComponent>> components_;
};
