#pragma once

#include <QHash>
#include <QString>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class QQmlComponent;
class QQmlEngine;
class QQuickItem;

/// Makes items from the QML files that are compiled into the program. Nothing of it is set up before the first one is
/// asked for: the engine takes 20 to 30 ms. So nothing that belongs to the first frame is QML. Main thread.
class QmlItems {
 public:
  QmlItems();
  ~QmlItems();

  /// The root item of "name.qml" as a child of `parent`, which owns it. Null when it can't be made, as when too many
  /// files are open: a call after a second tries again.
  QQuickItem* make(const QString& name, QQuickItem& parent);
  /// Loads "name.qml" ahead of time, so that its first item comes without a delay.
  void prepare(const QString& name);

 private:
  QQmlComponent& component(const QString& name);
  /// An engine remembers what it could not find: the next item gets another one.
  void replaceEngine();

  std::unique_ptr<QQmlEngine> engine_;
  bool hasItems_ = false;  ///< of this engine
  std::optional<std::chrono::steady_clock::time_point> failure_;
  std::vector<std::unique_ptr<QQmlEngine>> former_;  ///< whose items are still there
  QHash<QString, std::shared_ptr<QQmlComponent>> components_;
};
