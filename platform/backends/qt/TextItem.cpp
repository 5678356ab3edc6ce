#include "platform/backends/qt/TextItem.h"

#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/Typesetting.h"

TextItem::TextItem(QQuickItem* parent) : QQuickText(parent) {
  setVAlign(AlignVCenter);
  setElideMode(ElideRight);
  setTextFormat(PlainText);
  setRenderType(NativeRendering);
}

void TextItem::setManyLines(bool many) {
  setWrapMode(many ? Wrap : NoWrap);
  setVAlign(many ? AlignTop : AlignVCenter);
  setElideMode(many ? ElideNone : ElideRight);  // a height that is a hair short must not cost a line
}

void TextItem::show(const QString& text, const UIFont& font, const QColor& color, NSTextAlignment alignment) {
  setHAlign(alignment == NSTextAlignment::Center  ? AlignHCenter
            : alignment == NSTextAlignment::Right ? AlignRight
                                                  : AlignLeft);
  setFont(toQFont(font, text));
  setColor(color);
  setText(typeset(text));
}
