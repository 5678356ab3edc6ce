#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace publishing {

/// What a person reads for English `text`: the words of the plug-in's own bundle in their language, the text itself
/// where there is no translation. Each "%@" is replaced by the next of `values`; with values, "%%" is a percent sign.
/// Any thread.
std::string localized(const std::string& text, const std::vector<std::string>& values = {});

/// In the digits of the person's language.
std::string numberText(std::int64_t number);
/// "42 %", the way it is written in the person's language. `part` is from 0 to 1.
std::string percentText(float part);
/// "3 min", "20 s": what remains, for a sentence. At least one second.
std::string durationText(double seconds);

}  // namespace publishing
