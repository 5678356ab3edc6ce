#pragma once

#include <QString>

/// A text as it is to be broken into lines, for showing and measuring only: an ellipsis does not begin a line, and the
/// path of a file or an address is broken after a later slash, not after those that it begins with. Characters without
/// a width are in it.
QString typeset(const QString& text);
