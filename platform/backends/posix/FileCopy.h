#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>

/// What a copy answers whose source has ended before the length that it had at the beginning: somebody shortens it
/// meanwhile, and what is there of the copy is not the file that was to be copied.
inline constexpr int kSourceEndedEarly = ESTALE;

/// Called between the pieces of a copy with the bytes done so far; false ends the copy with ECANCELED.
using CopyProgress = std::function<bool(std::int64_t done, std::int64_t total)>;

/// Fills the empty file `to` with the content of `from`: shared blocks where the file system can, else a copy. Both
/// stay open. Returns 0, an errno value or `kSourceEndedEarly`.
int cloneOrCopy(int from, int to, const CopyProgress& progress = nullptr);

/// Copies a file (or a symbolic link as such) to a new path with its mode and times. Nothing is replaced, and nothing
/// is left behind on failure. Returns 0, an errno value or `kSourceEndedEarly`.
int copyFile(const std::string& from, const std::string& to);
