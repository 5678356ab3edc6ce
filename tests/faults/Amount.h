#pragma once

#include <cstdlib>

/// How much a test does: the number in an environment variable, or a little by default. tools/soak asks for more.
inline int amount(const char* variable, int byDefault) {
  const char* value = std::getenv(variable);
  return value && *value ? std::atoi(value) : byDefault;
}
