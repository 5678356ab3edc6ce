#pragma once

#include <string>

/// The toolkit's own word for `key` ("Done", "Cancel", ...) in the person's language; the key itself when there is
/// none.
std::string UIKitLocalizedString(const std::string& key);
