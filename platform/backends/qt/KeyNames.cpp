#include "platform/backends/qt/KeyNames.h"

#include <QKeyEvent>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr std::pair<Qt::Key, const char*> kNames[] = {
    {Qt::Key_Tab, "Tab"},
    {Qt::Key_Backtab, "Tab"},
    {Qt::Key_Left, "Left"},
    {Qt::Key_Right, "Right"},
    {Qt::Key_Up, "Up"},
    {Qt::Key_Down, "Down"},
    {Qt::Key_Return, "Return"},
    {Qt::Key_Enter, "Return"},
    {Qt::Key_Space, "Space"},
    {Qt::Key_Escape, "Escape"},
    {Qt::Key_Home, "Home"},
    {Qt::Key_End, "End"},
    {Qt::Key_PageUp, "PageUp"},
    {Qt::Key_F11, "F11"},
    {Qt::Key_Delete, "Delete"},
    {Qt::Key_Backspace, "Backspace"},
    {Qt::Key_PageDown, "PageDown"},
};

}  // namespace

namespace KeyNames {

std::optional<UIKey> fromEvent(const QKeyEvent& event) {
  UIKey key;
  for (const auto& [code, name] : kNames) {
    if (event.key() == code) {
      key.name = name;
      break;
    }
  }
  if (key.name.empty() && event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z) {
    key.name = std::string(1, static_cast<char>('A' + (event.key() - Qt::Key_A)));
  }
  if (key.name.empty()) {
    return std::nullopt;
  }
  key.shift = event.modifiers().testFlag(Qt::ShiftModifier) || event.key() == Qt::Key_Backtab;
  key.control = event.modifiers().testFlag(Qt::ControlModifier);
  key.alt = event.modifiers().testFlag(Qt::AltModifier);
  return key;
}

bool mayRepeat(const QKeyEvent& event) {
  constexpr Qt::Key kOnce[] = {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape, Qt::Key_F11};
  return !event.modifiers().testFlag(Qt::ControlModifier) &&
         std::find(std::begin(kOnce), std::end(kOnce), event.key()) == std::end(kOnce);
}

std::optional<Press> parse(const std::string& name) {
  QStringList parts = QString::fromStdString(name).split(QLatin1Char('+'));
  const QString last = parts.takeLast().trimmed();
  Qt::KeyboardModifiers modifiers;
  for (const QString& part : std::as_const(parts)) {
    const QString modifier = part.trimmed();
    if (modifier.compare(QLatin1String("Control"), Qt::CaseInsensitive) == 0 ||
        modifier.compare(QLatin1String("Ctrl"), Qt::CaseInsensitive) == 0) {
      modifiers |= Qt::ControlModifier;
    } else if (modifier.compare(QLatin1String("Shift"), Qt::CaseInsensitive) == 0) {
      modifiers |= Qt::ShiftModifier;
    } else if (modifier.compare(QLatin1String("Alt"), Qt::CaseInsensitive) == 0) {
      modifiers |= Qt::AltModifier;
    } else {
      return std::nullopt;
    }
  }
  if (last.size() == 1 && last[0].toUpper() >= QLatin1Char('A') && last[0].toUpper() <= QLatin1Char('Z')) {
    return Press{static_cast<Qt::Key>(Qt::Key_A + (last[0].toUpper().toLatin1() - 'A')), modifiers};
  }
  for (const auto& [code, known] : kNames) {
    if (last.compare(QLatin1String(known), Qt::CaseInsensitive) == 0) {
      return Press{code == Qt::Key_Tab && modifiers.testFlag(Qt::ShiftModifier) ? Qt::Key_Backtab : code, modifiers};
    }
  }
  return std::nullopt;
}

}  // namespace KeyNames
