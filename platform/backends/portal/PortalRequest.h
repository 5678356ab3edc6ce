#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QVariantMap>
#include <functional>

/// One question to the desktop's portal, which a person may take their time to answer. Lives until it is answered.
/// Main queue only.
class PortalRequest : public QObject {
  Q_OBJECT
 public:
  enum class Outcome { Done, Cancelled, Failed };
  using Answer = std::function<void(Outcome outcome, const QVariantMap& results)>;

  /// Calls `method` of the portal's `interface` with the parent window, `arguments` and `options`, and `answer` once,
  /// later. A portal that goes away has failed.
  static void send(const QString& interface, const QString& method, const QVariantList& arguments, QVariantMap options,
                   Answer answer);

 private Q_SLOTS:
  void responseReceived(uint response, const QVariantMap& results);

 private:
  explicit PortalRequest(Answer answer) : answer_(std::move(answer)) {}
  void listen(const QString& path);
  void finish(Outcome outcome, const QVariantMap& results);

  Answer answer_;
};
