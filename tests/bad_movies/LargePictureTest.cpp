#include "CodedSize.h"
#include "MovieTrial.h"
#include "Seeds.h"
#include "tests/common/Files.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

/// Whether the host lets a movie through.
bool isLetThrough(const fs::path& movie) {
  return std::system(("'" ZEVANTI_BUILD_DIR "/zevanti-probe' '" + movie.string() + "' >/dev/null").c_str()) == 0;
}

struct Lie {
  const char* movie;
  std::uint32_t width, height;
  bool isToldAtTheDoor;
};

}  // namespace

// What takes gigabytes to decode is refused: by the host where it finds it out, by each decoder in any case.
TEST(LargePictures, TakeNoMemoryWhateverTheyClaim) {
  const Lie lies[] = {
      {"faststart.mp4", 16384, 8704, true}, {"bframes.mp4", 16384, 16000, true}, {"fragmented.mp4", 8192, 8192, true},
      {"matroska.mkv", 16384, 8704, true},  {"transport.ts", 16384, 8704, true}, {"vp9.webm", 16384, 8704, false},
      {"vp9.mp4", 8192, 8192, false},       {"vp8.webm", 16383, 8704, true},     {"plain.mp4", 8192, 4352, false}};
  for (const Lie& lie : lies) {
    SCOPED_TRACE(std::string(lie.movie) + " of " + std::to_string(lie.width));
    const ScratchFolder scratch;
    std::string bytes = contentOf(seeds() / lie.movie);
    ASSERT_GT(CodedSize(bytes).writeAll(bytes, lie.width, lie.height), 0U);
    const fs::path movie = fs::path(scratch.path()) / ("large" + fs::path(lie.movie).extension().string());
    std::ofstream(movie, std::ios::binary) << bytes;
    EXPECT_EQ(isLetThrough(movie), !lie.isToldAtTheDoor);
    const MovieTrial::Result result = MovieTrial(scratch.path()).run(movie, false);
    EXPECT_EQ(result.fault, "");
    EXPECT_FALSE(result.shown);
#ifndef ZEVANTI_SANITIZED  // a sanitizer keeps what was given back for a while
    // The tables of a decoder that refuses are as large as the picture, too, and up to four decoders may have them at
    // once.
    EXPECT_LT(result.megabytes, 850);
#endif
  }
}

// The largest that are taken, and several that are larger together, are played and cut within the memory.
TEST(LargePictures, OfTheLargestSizeAreOpenedScrubbedAndTrimmed) {
  for (const char* name : {"largest.mp4", "screens.webm"}) {
    const ScratchFolder scratch;
    const fs::path movie = fs::path(scratch.path()) / name;
    fs::copy_file(seeds() / ".large" / name, movie);
    const MovieTrial::Result result = MovieTrial(scratch.path()).run(movie);
    EXPECT_TRUE(result.opened);
    EXPECT_TRUE(result.shown);
    EXPECT_TRUE(result.trimmed);
    EXPECT_TRUE(result.fault.empty() || result.fault.starts_with("took ")) << result.fault;
#ifndef ZEVANTI_SANITIZED
    EXPECT_LT(result.megabytes, 850) << "the window takes its share, too";
#endif
    std::printf("%s: %.0f MB, %.1f s; %s\n", name, result.megabytes, result.seconds, result.fault.c_str());
  }
}

TEST(LargePictures, OfSenselessSizesDoNoHarm) {
  std::string bytes = contentOf(seeds() / ".large/tracks.avi");
  for (const char* senseless :
       {"\0\0\0\x80\xff\xff\xff\x7f", "\xff\xff\xff\x7f\0\0\0\x80", "\xff\xff\xff\xff\0\0\0\0"}) {
    const ScratchFolder scratch;
    const fs::path movie = fs::path(scratch.path()) / "senseless.avi";
    // Of each of the tracks: behind a type and two lengths; numbers with a sign.
    int tracks = 0;
    for (std::size_t at = 0; (at = bytes.find("strf", at)) != std::string::npos; ++tracks)
      bytes.replace(at += 12, 8, senseless, 8);
    EXPECT_EQ(tracks, 3);
    std::ofstream(movie, std::ios::binary) << bytes;
    EXPECT_EQ(MovieTrial(scratch.path()).run(movie, false).fault, "");
  }
}
