#pragma once

#include "tests/common/EventLoop.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

/// Gives up the requests that nobody has answered, and waits until nothing is left of any. Whether that came about.
inline bool endRequests(QNetworkAccessManager& manager) {
  for (QNetworkReply* reply : manager.findChildren<QNetworkReply*>()) {
    if (reply->isFinished()) {
      reply->deleteLater();
    } else {
      QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
      reply->abort();
    }
  }
  const bool isOver = waitUntil([&manager] {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return manager.findChildren<QNetworkReply*>().isEmpty();
  });
  manager.clearConnectionCache();
  return isOver;
}
