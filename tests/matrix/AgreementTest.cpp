// What the player shows, what thumbnails show, how long a movie is said to be and what a copy holds: one and the same,
// also where a recording begins late or its edit list has several entries.
#include "platform/AVFoundation/AVAssetImageGenerator.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/Exporter.h"
#include "tests/matrix/LibavReader.h"
#include "tests/matrix/MpvReader.h"
#include "tests/matrix/Sources.h"
#include "tests/player/PlayerFixture.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace {

using namespace matrix;

/// A source's pictures in the times of our player.
class Shown {
 public:
  explicit Shown(const std::string& name) : reading_(readWithLibav(sourcePath(name), EditLists::Honoured)) {
    const double zero = zeroInMpv(sourcePath(name));
    for (Picture& picture : reading_.pictures) picture.time -= zero;
    end_ = std::max(reading_.end - zero, reading_.pictures.back().time);
  }
  const std::vector<Picture>& pictures() const { return reading_.pictures; }
  double end() const { return end_; }
  /// The number of the one on screen; before the first one comes, that one.
  int at(double time) const {
    const auto next = std::upper_bound(pictures().begin(), pictures().end(), time + 1e-4,
                                       [](double value, const Picture& picture) { return value < picture.time; });
    return next == pictures().begin() ? next->number : std::prev(next)->number;
  }

 private:
  Reading reading_;
  double end_ = 0;
};

class Agreement : public PlayerFixture, public testing::WithParamInterface<std::string> {
 protected:
  /// The numbers in exact thumbnails: those of times near each other are.
  std::vector<int> thumbnails(const std::vector<double>& times) {
    const auto generator = AVAssetImageGenerator::initWithAsset(asset);
    std::mutex mutex;
    std::vector<int> numbers;
    std::vector<CMTime> wanted;
    for (const double time : times) wanted.push_back(CMTimeMakeWithSeconds(time, 1'000'000));
    generator->generateCGImagesAsynchronouslyForTimes_completionHandler(
        wanted, [&](CMTime, const CGImageRef& image, CMTime, const NSErrorPtr&) {
          const std::lock_guard lock(mutex);
          numbers.push_back(image ? frame_code::read(*image).value_or(-1) : -2);
        });
    waitUntil([&] {
      const std::lock_guard lock(mutex);
      return numbers.size() == times.size();
    });
    return numbers;
  }
};

TEST_P(Agreement, OfPlayerThumbnailsAndLength) {
  const Shown shown(GetParam());
  openPath(sourcePath(GetParam()));
  ASSERT_TRUE(waitUntil([&] { return item->status() == AVPlayerItemStatus::ReadyToPlay; }));
  EXPECT_NEAR(CMTimeGetSeconds(asset->duration()), shown.end(), 0.05);
  const double first = shown.pictures().front().time, last = shown.pictures().back().time;
  const std::vector<double> times = {first / 2,   first + 0.3,  first + 0.5, first + 3.25,
                                     first + 3.5, first + 3.85, last - 0.9,  last - 0.6};
  std::vector<int> expected;
  for (const double time : times) {
    expected.push_back(shown.at(time));
    seek(time);
    ASSERT_TRUE(waitForSeek());
    EXPECT_TRUE(shows(expected.back())) << "at " << time;
  }
  EXPECT_EQ(thumbnails(times), expected);
}

INSTANTIATE_TEST_SUITE_P(Sources, Agreement,
                         testing::Values("late.mp4", "late.mkv", "latemoofs.mp4", "emptyedit.mp4", "ownedit.mp4",
                                         "edits.mp4", "web.webm"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

/// Where an edit list shows nothing between two stretches, a copy holds the last picture of the first one. (Our player
/// does not agree with itself there: it plays the media's beginning, and seeks to the second stretch.)
TEST(AgreementOfCopies, HoldThePictureBeforeAGap) {
  dispatch_main::attachToCurrentThread([] {});
  const ScratchFolder scratch;
  const int last = 95, next = 144;  // the gap lies between them, from 3.2 s to 4 s
  for (const Range& range : {Range{"into", 2.5, 3.6}, Range{"out", 3.5, 5}, Range{"over", 3, 4.5}}) {
    SCOPED_TRACE(range.name);
    const std::string copy = scratch / (range.name + ".m4v");
    ASSERT_EQ(exportRange(sourcePath("gap.mp4"), copy, range), "");
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
