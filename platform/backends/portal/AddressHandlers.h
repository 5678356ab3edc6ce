#pragma once

#include <set>
#include <string>

/// Of `schemes` ("mailto", "sms"), those whose addresses an installed application opens: by its desktop file or by the
/// person's or the desktop's choice (mimeapps.list), and with its program there. Reads all desktop files, about a tenth
/// of a millisecond each; any thread but the main queue's.
std::set<std::string> handledSchemes(const std::set<std::string>& schemes);
