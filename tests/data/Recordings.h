#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// The test recordings (see make_recordings.sh), made at the first use in the build folder.
namespace recordings {

/// The path of one of them: `path("basic.mp4")`. Ends the program when they can't be made.
inline std::string path(const std::string& name) {
  static const bool made = [] {
    const std::string command = "bash '" ZEVANTI_SOURCE_DIR "/tests/data/make_recordings.sh' '" ZEVANTI_TEST_DATA "'";
    const int status = std::system(command.c_str());
    if (status == 0) return true;
    std::fprintf(stderr, "The test recordings could not be made: %s\n", command.c_str());
    std::exit(1);
  }();
  (void)made;
  return ZEVANTI_TEST_DATA "/" + name;
}

}  // namespace recordings
