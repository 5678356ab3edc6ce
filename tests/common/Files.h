#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// What is in a file; empty when it can't be read.
inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
