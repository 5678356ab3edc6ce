#pragma once

#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <string>

/// The movies that are damaged, made at the first use: a folder.
inline const std::filesystem::path& seeds() {
  static const std::filesystem::path folder = ZEVANTI_BUILD_DIR "/tests/seeds";
  static const int status =
      std::system(("'" ZEVANTI_SOURCE_DIR "/tests/bad_movies/make_seeds.sh' '" + folder.string() + "'").c_str());
  EXPECT_EQ(status, 0);
  return folder;
}
