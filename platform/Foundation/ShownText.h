#pragma once

#include <string>

// Names come from files and other programs and may hold anything.

/// Whether a character is one to be seen: not one that breaks or controls lines, or changes the direction of writing.
bool isPrintable(char32_t character);

/// `text` for a terminal, without anything that this takes for its own or that breaks a line: control characters, those
/// that change the direction of writing, and bytes that are not UTF-8 become \n, \t or \x1b, byte by byte. Any thread.
std::string printableText(const std::string& text);

/// Prints a line of the program on standard error, "zevanti: " and the text made printable, in one call, so that lines
/// of several threads don't mix. Any thread.
void printMessage(const std::string& text);

/// A text with such names in it, for a label: in one line, valid, and without the characters that turn the direction of
/// writing of what follows. Any thread.
std::string displayText(const std::string& text);

/// A name for a label or within a sentence that a person reads: the same, and not longer than a few lines; what is cut
/// off becomes an ellipsis. Any thread.
std::string displayName(const std::string& name);
