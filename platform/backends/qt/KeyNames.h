#pragma once

#include "platform/UIKit/UIEvent.h"

#include <qnamespace.h>
#include <QtGlobal>
#include <optional>
#include <string>

class QKeyEvent;

/// Qt's keys and the names that the layer above uses for them.
namespace KeyNames {

/// Nothing for keys that have no name here (modifiers alone, letters of other scripts, ...).
std::optional<UIKey> fromEvent(const QKeyEvent& event);

/// Whether a key that is held down acts again and again: one that moves something does, one that decides does not.
bool mayRepeat(const QKeyEvent& event);

struct Press {
  Qt::Key key;
  Qt::KeyboardModifiers modifiers;
};
/// "Escape", "Control+Z", "Shift+Left"; nothing when it names no key.
std::optional<Press> parse(const std::string& name);

}  // namespace KeyNames
