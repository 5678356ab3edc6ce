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

class Sweep : public testing::TestWithParam<const char*> {
 protected:
  /// The pictures of a cut; what went wrong in `problem`.
  std::vector<int> cut(const std::string& name, double from, double to, std::string& problem) const {
    const std::string output = scratch_ / "cut.mp4";
    problem = cutMovie(recordings::path(name), from, to, output);
    std::vector<int> numbers;
    for (const Picture& picture : read_back::pictures(output)) numbers.push_back(picture.number);
    return numbers;
  }

  ScratchFolder scratch_;
};

TEST_P(Sweep, EveryPictureCanBeginACopy) {
  const std::string name = GetParam();
  const std::vector<Picture> pictures = read_back::pictures(recordings::path(name));
  // Of an open group in a stream nobody can show what precedes the first key picture.
  ASSERT_GE(pictures.size(), 60U);
  const bool ownZero = !name.ends_with(".ts");  // the others are counted from their first picture
  const double zero = ownZero ? 0 : pictures.front().time;
  constexpr double kInside = 0.003;  // of the pictures at either end
  for (const std::size_t length : {1U, 6U}) {
    int failures = 0;
    for (std::size_t first = 0; first + length < pictures.size(); ++first) {
      std::string problem;
      std::vector<int> expected;
      for (std::size_t i = first; i < first + length; ++i) expected.push_back(pictures[i].number);
      const std::vector<int> shown =
          cut(name, pictures[first].time - zero + kInside, pictures[first + length].time - zero - kInside, problem);
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
