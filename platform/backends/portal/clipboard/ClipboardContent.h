#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <QMap>
#include <QMimeData>
#include <QString>

/// What is on the clipboard, by type; how it travels to the program that keeps it there.
using ClipboardContent = QMap<QString, QByteArray>;

inline QByteArray writeClipboardContent(const ClipboardContent& content) {
  QByteArray bytes;
  QDataStream stream(&bytes, QIODevice::WriteOnly);
  stream << content;
  return bytes;
}

/// Empty when `bytes` are not what was written.
inline ClipboardContent readClipboardContent(const QByteArray& bytes) {
  ClipboardContent content;
  QDataStream stream(bytes);
  stream >> content;
  return stream.status() == QDataStream::Ok ? content : ClipboardContent();
}

/// For the clipboard, which will own it.
inline QMimeData* makeMimeData(const ClipboardContent& content) {
  auto* data = new QMimeData;
  for (auto entry = content.begin(); entry != content.end(); ++entry) data->setData(entry.key(), entry.value());
  return data;
}
