// Every kind of source, cut at the places that matter, held against what the source itself shows and sounds: read back
// by libav and by mpv, each with edit lists and without.
#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/Boxes.h"
#include "tests/matrix/Differences.h"
#include "tests/matrix/Judge.h"
#include "tests/matrix/LibavReader.h"
#include "tests/matrix/MpvReader.h"
#include "tests/matrix/Sources.h"
#include "tests/matrix/Table.h"
#include "tests/media/CutMovie.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace matrix;

/// The option that our own player sets.
const std::pair<std::string, std::string> kAsOurPlayer = {"demuxer-lavf-o", "advanced_editlist=1"};
/// Records pictures that come at the same moment, too, at the price of exact times.
const std::pair<std::string, std::string> kRoughly = {"of", "matroska"};

class Matrix : public testing::TestWithParam<std::string> {};

TEST_P(Matrix, RangesAreExact) {
  const std::string source = GetParam();
  const Truth truth(sourcePath(source));
  const ScratchFolder scratch;
  Table& table = Table::shared();
  for (const Range& range : truth.ranges()) {
    const std::string copy = scratch / (range.name + ".m4v");
    const std::string failure = cutMovie(sourcePath(source), range.start, range.end, copy);
    if (!failure.empty()) {
      table.add(source, range.name, "export", {{failure}, {}});
      continue;
    }
    if (isMovieFile(source)) table.add(source, range.name, "boxes", {compareBoxes(sourcePath(source), copy), {}});

    const auto look = [&](const std::string& player, const Reading& reading) {
      table.add(source, range.name, player, judge(truth, range, reading, exactnessOf(player, source)));
    };
    look("libav", readWithLibav(copy, EditLists::Honoured));
    look("libav plain", readWithLibav(copy, EditLists::Ignored));
#ifndef ZEVANTI_SANITIZED  // the player is not looked into, and its recording leaks a little each time
    // A recording mpv waits for ever for sound that has a track but no samples; a playing one does not.
    std::vector<std::pair<std::string, std::string>> ours{kAsOurPlayer}, defaults{kRoughly};
    if (!isAudible(truth, range)) {
      for (auto* options : {&ours, &defaults}) options->emplace_back("aid", "no");
    }
    const std::string recorded = scratch / "mpv";
    if (exactnessOf("our mpv", source).tolerant) ours.push_back(kRoughly);
    look("our mpv", readWithMpv(copy, ours, recorded));
    look("mpv", readWithMpv(copy, defaults, recorded));
#endif
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, Matrix, testing::ValuesIn(sourceNames()),
                         [](const auto& info) { return testName(info.param); });

/// The judge itself: what is right passes, and each fault that a copy could have is seen.
TEST(MatrixJudge, SeesEveryFault) {
  const std::string source = sourcePath("bframes.mp4");
  const Truth truth(source);
  const Range whole{"whole", 0, truth.end()};
  const auto libav = [](const std::string& path) { return readWithLibav(path, EditLists::Honoured); };
  const auto has = [](const Verdict& verdict, const std::string& word) {
    return std::any_of(verdict.complaints.begin(), verdict.complaints.end(),
                       [&](const std::string& complaint) { return complaint.find(word) != std::string::npos; });
  };
  EXPECT_EQ(judgeExact(truth, whole, libav(source), {}), Verdict());
  EXPECT_EQ(judgeTolerant(truth, whole, readWithLibav(source, EditLists::Ignored), {}), Verdict());

  const double frame = truth.pictureLength();
  const Range shifted{"shifted", frame, truth.end()}, shorter{"shorter", 0, truth.end() - frame};
  EXPECT_TRUE(has(judgeExact(truth, shifted, libav(source), {}), "pictures: expected 1…479"));
  EXPECT_TRUE(has(judgeExact(truth, shorter, libav(source), {}), "length"));
  EXPECT_TRUE(has(judgeExact(truth, shorter, libav(source), {}), "pictures: expected 0…478"));

  // The same media with the sound 5 ms late, which a sloppy writer does; and cut as a plain copy cuts.
  const ScratchFolder scratch;
  const std::string input = "-i '" + source + "' ";
  const std::string late = makeMovie(
      scratch / "late.mp4", input + "-itsoffset 0.005 " + input + "-map 0:v -map 1:a -c copy -movie_timescale 48000");
  EXPECT_TRUE(has(judgeExact(truth, whole, libav(late), {}), "240 samples (5.00 ms) late") ||
              has(judgeExact(truth, whole, libav(late), {}), "heard from 0.005"));
  const std::string plain = makeMovie(scratch / "plain.mp4", "-ss 3.5 " + input + "-t 2 -c copy");
  const Range cut{"cut", 3.5, 5.5};
  EXPECT_TRUE(has(judgeTolerant(truth, cut, readWithLibav(plain, EditLists::Ignored), {}), "expected picture"));

  // Sound of another rate, too little of it, and a beginning that the decoder has made up.
  Reading resampled = libav(source), cutOff = resampled, torn = resampled;
  std::fill_n(torn.sounds[0].samples.begin(), 400, 0.0F);
  EXPECT_TRUE(has(judgeExact(truth, whole, torn, {}), "its first 20 ms"));
  resampled.sounds[0].rate = 44100;
  EXPECT_TRUE(has(judgeExact(truth, whole, resampled, {}), "expected 48000 Hz, heard 44100 Hz"));
  cutOff.sounds[0].samples.resize(150);
  EXPECT_TRUE(has(judgeExact(truth, whole, cutOff, {}), "samples to compare"));
  EXPECT_TRUE(has(judgeTolerant(truth, whole, cutOff, {}), "samples to compare"));

  // A box that is not the source's own.
  EXPECT_EQ(compareBoxes(source, source), std::vector<std::string>());
  EXPECT_FALSE(compareBoxes(source, sourcePath("hvc1.mp4")).empty());
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  Table::shared().print();
  return result;
}
