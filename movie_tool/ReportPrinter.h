#pragma once

#include "movie_tool/MovieReport.h"

#include <string>

/// A heading and a table for people; ends in a newline.
std::string reportAsTable(const MovieReport& report);

/// One JSON object, numbers with a point, text as valid UTF-8; ends in a newline. Fields that don't apply are left out.
std::string reportAsJSON(const MovieReport& report);
