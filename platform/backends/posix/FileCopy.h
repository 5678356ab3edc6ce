#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// Called between the pieces of a copy with the bytes done so far; false ends the copy with ECANCELED.
using CopyProgress = std::function<bool(std::int64_t done, std::int64_t total)>;

/// Fills the empty file `to` with the content of `from`: shared blocks where the file system can, else a copy. Both
/// stay open. Returns 0 or an errno value.
int cloneOrCopy(int from, int to, const CopyProgress& progress = nullptr);

/// Copies a file (or a symbolic link as such) to a new path with its mode and times. Nothing is replaced, and nothing
/// is left behind on failure. Returns 0 or an errno value.
int copyFile(const std::string& from, const std::string& to);
