#pragma once

#include <map>
#include <string>
#include <string_view>

/// The texts of a string table: a property list (binary or XML), or the classic text form, `"key" = "value";` with
/// comments, in UTF-8 or in UTF-16 with a byte order mark. What can't be understood ends the reading; the entries
/// before it count.
std::map<std::string, std::string> parseStringsFile(std::string_view content);

/// The text entries of a property list, keys of nested dictionaries joined with a dot. Empty when it is none.
std::map<std::string, std::string> parsePropertyList(std::string_view content);
