#pragma once

#include <string>

/// What this device can do, by question. "not-green-tea": whether publishing is to be had, YES where the publishing
/// plug-in is installed at its system path. Unknown questions are answered with NO. Any thread.
bool MGGetBoolAnswer(const std::string& question);
