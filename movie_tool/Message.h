#pragma once

#include <string>

/// What both commands say to a person, in the same words and marks.
namespace message {

/// A name as messages show it: “name”.
std::string quoted(const std::string& name);

/// Prints a line on standard error, made printable; returns the exit status 1.
int fail(const std::string& what);

/// The same for wrong use of a command, with its usage below; returns the exit status 2.
int wrongUse(const char* command, const std::string& problem, const char* usage);

}  // namespace message
