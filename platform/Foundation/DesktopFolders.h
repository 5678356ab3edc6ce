#pragma once

#include <string>
#include <vector>

/// Where the desktop keeps what its programs share, as the environment says. The person's own folder comes first, the
/// most important of the machine's next. Folders that the environment names by a relative path don't count. They need
/// not exist. Any thread.

/// "applications" and the like are in these: XDG_DATA_HOME and XDG_DATA_DIRS.
std::vector<std::string> desktopDataFolders();
/// Settings are in these: XDG_CONFIG_HOME and XDG_CONFIG_DIRS.
std::vector<std::string> desktopConfigurationFolders();
/// The address of the session's message bus, as its libraries take it; empty without one. It is to be asked for before
/// any of them is: with nothing to go to they start a bus of their own, which nobody else is on and nobody ends.
std::string sessionBusAddress();
