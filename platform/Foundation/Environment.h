#pragma once

#include <string>

/// A variable of the environment; empty when it is not set. Always empty in a program that runs with other rights than
/// those of who started it (set-user-ID): what such a program loads, and where it writes, is not for its caller to say.
/// Any thread, as long as nobody changes the environment.
std::string environmentVariable(const char* name);

/// The same for a folder: empty as well when it is no absolute path, which is invalid and counts as unset.
std::string environmentFolder(const char* name);

/// The user's home folder, without a separator at its end: $HOME, or what the user database says.
std::string homeFolder();

/// Whether this program runs with other rights than those of who started it. None of ours is made for that: it says
/// `OthersRightsMessage` and does nothing.
bool hasOthersRights();
inline constexpr const char* OthersRightsMessage =
    "this program is not made to run with another user's rights; take the set-user-ID mark off its file";
