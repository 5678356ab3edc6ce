#pragma once

#include <string>

/// The form's words for English `text` in the person's language, from the plug-in's own bundle; the text itself where
/// there is no translation.
std::string formText(const std::string& text);
/// `formText` with its first "%@" replaced.
std::string formText(const std::string& text, const std::string& value);
/// "3 min", "20 s": what remains, for a sentence. At least one second.
std::string durationText(double seconds);
