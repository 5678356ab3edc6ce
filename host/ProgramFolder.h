#pragma once

#include <string>

/// The folder of this program, or, when it has been installed, of the parts that belong to it.
std::string programFolder();
