// Tiny recordings cut at every one of their pictures: what depends on where a range lies between key pictures shows in
// some places only.
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/CutMovie.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using read_back::Picture;

class Sweep : public testing::TestWithParam<const char*> {};

TEST_P(Sweep, EveryPictureCanBeginACopy) {
  const ScratchFolder scratch;
  const std::string name = GetParam(), output = scratch / "cut.mp4";
  const std::vector<Picture> pictures = read_back::pictures(recordings::path(name));
  // Of an open group in a stream nobody can show what precedes the first key picture.
  ASSERT_GE(pictures.size(), 60U);
  const double zero = name.ends_with(".ts") ? pictures.front().time : 0;  // those are counted from their first picture
  constexpr double kInside = 0.003;                                       // of the pictures at either end
  for (const std::size_t length : {1U, 6U}) {
    int failures = 0;
    for (std::size_t first = 0; first + length < pictures.size(); ++first) {
      std::vector<int> expected, shown;
      for (std::size_t i = first; i < first + length; ++i) expected.push_back(pictures[i].number);
      const std::string problem = cutMovie(recordings::path(name), pictures[first].time - zero + kInside,
                                           pictures[first + length].time - zero - kInside, output);
      for (const Picture& picture : read_back::pictures(output)) shown.push_back(picture.number);
      if (problem.empty() && shown == expected) continue;
      if (++failures == 1) {
        EXPECT_EQ(problem, "") << length << " from picture " << expected.front();
        EXPECT_EQ(shown, expected);
      }
    }
    EXPECT_EQ(failures, 0) << "of " << pictures.size() - length << " ranges of " << length;
  }
}

INSTANTIATE_TEST_SUITE_P(Recordings, Sweep,
                         testing::Values("tiny_open.mp4", "tiny_open.mkv", "tiny_open.ts", "tiny_refresh.mp4",
                                         "tiny_refresh.mkv", "tiny_refresh.ts", "tiny_hevc.mp4", "tiny_hevc.mkv",
                                         "tiny_hevc.ts", "tiny_unmarked.mp4"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

}  // namespace
