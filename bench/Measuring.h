#pragma once

#include <string>
#include <vector>

/// What every measurement needs. Whatever can't be done ends the program with a message.

/// Ends the program with status 1, its name and `what` on standard error.
[[noreturn]] void fail(const std::string& what);

/// A clock, in seconds.
double now();
/// The middle one of some values, at least one.
double median(std::vector<double> values);

/// Runs a program to its end, without its output; its largest memory in megabytes (or this program's present one, if
/// that is larger).
double runToEnd(std::vector<std::string> command);

/// Waits until a file is on the disk.
void syncFile(const std::string& path);
