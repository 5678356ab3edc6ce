#include "platform/backends/qt/Typesetting.h"

QString typeset(const QString& text) {
  constexpr QChar ellipsis(0x2026), noBreakSpace(0x00a0), wordJoiner(0x2060);
  QString result;
  result.reserve(text.size());
  for (qsizetype i = 0; i < text.size(); ++i) {
    const QChar here = text[i], next = i + 1 < text.size() ? text[i + 1] : QChar();
    if (here == u' ' && next == ellipsis) {
      result += noBreakSpace;
      continue;
    }
    result += here;
    const QChar before = i > 0 ? text[i - 1] : QChar(u' ');
    const bool beginsPath = here == u'/' && !before.isLetterOrNumber() && !next.isNull() && !next.isSpace();
    if (beginsPath) result += wordJoiner;
  }
  return result;
}
