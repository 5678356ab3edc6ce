#pragma once

#include <string>

namespace publishing {

/// `$XDG_CONFIG_HOME/zevanti`, by default `~/.config/zevanti`. Without a slash at its end; it need not exist.
std::string configurationFolder();
/// `$XDG_STATE_HOME/zevanti`, by default `~/.local/state/zevanti`.
std::string stateFolder();

}  // namespace publishing
