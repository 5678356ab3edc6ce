// What the player shows, what thumbnails show, how long a movie is said to be and what a copy holds: one and the same,
// also where a recording begins late or its edit list has several entries.
#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/LibavReader.h"
#include "tests/matrix/Sources.h"
#include "tests/matrix/Truth.h"
#include "tests/media/CutMovie.h"
#include "tests/media/Thumbnails.h"
#include "tests/player/PlayerFixture.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace matrix;

class Agreement : public PlayerFixture, public testing::WithParamInterface<std::string> {};

TEST_P(Agreement, OfPlayerThumbnailsAndLength) {
  const Truth truth(sourcePath(GetParam()));
  const std::vector<Picture>& pictures = truth.reading().pictures;
  openPath(sourcePath(GetParam()));
  ASSERT_TRUE(waitUntil([&] { return item->status() == AVPlayerItemStatus::ReadyToPlay; }));
  EXPECT_NEAR(CMTimeGetSeconds(asset->duration()), truth.end(), 0.05);
  const double first = pictures.front().time, last = pictures.back().time;
  const std::vector<double> times = {first / 2,   first + 0.3,  first + 0.5, first + 3.25,
                                     first + 3.5, first + 3.85, last - 0.9,  last - 0.6};
  std::vector<int> expected;
  for (const double time : times) {
    expected.push_back(pictures[truth.pictureAt(time)].number);
    seek(time);
    ASSERT_TRUE(waitForSeek());
    EXPECT_TRUE(shows(expected.back())) << "at " << time;
  }
  // Those of times near each other are exact.
  std::vector<int> numbers;
  for (const Thumbnail& thumbnail : thumbnails(AVAssetImageGenerator::initWithAsset(asset), times))
    numbers.push_back(thumbnail.number);
  EXPECT_EQ(numbers, expected);
}

INSTANTIATE_TEST_SUITE_P(Sources, Agreement,
                         testing::Values("late.mp4", "late.mkv", "latemoofs.mp4", "emptyedit.mp4", "ownedit.mp4",
                                         "edits.mp4", "web.webm"),
                         [](const auto& info) { return testName(info.param); });

/// Where an edit list shows nothing between two stretches, a copy holds the last picture of the first one. (Our player
/// does not agree with itself there: it plays the media's beginning, and seeks to the second stretch.)
TEST(AgreementOfCopies, HoldThePictureBeforeAGap) {
  dispatch_main::attachToCurrentThread([] {});
  const ScratchFolder scratch;
  const int last = 95, next = 144;  // the gap lies between them, from 3.2 s to 4 s
  for (const Range& range : {Range{"into", 2.5, 3.6}, Range{"out", 3.5, 5}, Range{"over", 3, 4.5}}) {
    SCOPED_TRACE(range.name);
    const std::string copy = scratch / (range.name + ".m4v");
    ASSERT_EQ(cutMovie(sourcePath("gap.mp4"), range.start, range.end, copy), "");
    std::vector<int> expected, got;
    for (int number = std::min(int(std::lround(range.start * 30)), last); number <= last; ++number)
      expected.push_back(number);
    for (int i = 0; i < std::lround((range.end - 4) * 30); ++i) expected.push_back(next + i);
    const Reading reading = readWithLibav(copy, EditLists::Honoured);
    for (const Picture& picture : reading.pictures) {
      got.push_back(picture.number);
      if (picture.number == next) {
        EXPECT_NEAR(picture.time, 4 - range.start, 1e-3);
      }
    }
    EXPECT_EQ(got, expected);
    EXPECT_NEAR(reading.duration, range.length(), 1e-3);
  }
}

}  // namespace
