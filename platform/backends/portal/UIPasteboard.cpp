#include "platform/UIKit/UIPasteboard.h"

#include "platform/backends/portal/ClipboardOffer.h"

#include <QClipboard>
#include <QGuiApplication>

UIPasteboard& UIPasteboard::generalPasteboard() {
  static UIPasteboard pasteboard;
  return pasteboard;
}

std::string UIPasteboard::string() const {
  return QGuiApplication::clipboard()->text().toStdString();
}

void UIPasteboard::setString(const std::string& text) {
  QGuiApplication::clipboard()->setText(QString::fromStdString(text));
  offerTextOnClipboard(text);
}
