#include "tests/player/PlayerFixture.h"

#include <cmath>
#include <mutex>
#include <random>
#include <utility>
#include <vector>

namespace {

struct Frame {
  double begin;
  int number;
};

/// Some pictures of the recording of a variable rate were left out.
bool hasPicture(const std::string& movie, int n) {
  return movie != "vfr.mp4" || (!(n >= 60 && n <= 149) && !(n >= 300 && n <= 449) && n % 7 != 3);
}

/// Every picture of a recording, of which this is when they begin.
std::vector<Frame> framesOf(const std::string& movie, const std::vector<double>& times) {
  std::vector<Frame> frames;
  int number = 0;
  for (const double time : times) {
    while (!hasPicture(movie, number)) ++number;
    frames.push_back({time, number++});
  }
  return frames;
}

/// The number of the picture that is on screen at `time`.
int expectedAt(const std::vector<Frame>& frames, double time) {
  int number = frames.front().number;
  for (const Frame& frame : frames) {
    if (frame.begin <= time + 1e-5) {
      number = frame.number;
    }
  }
  return number;
}

class Seek : public PlayerFixture {};

}  // namespace

TEST_F(Seek, ShowsTheFrameOnScreenAtTheTarget) {
  for (const char* movie : {"basic.mp4", "bframes60.mp4", "opengop.mp4", "vfr.mp4", "video_only.mp4", "basic.mkv",
                            "fragmented.mp4", "fast120.mp4"}) {
    SCOPED_TRACE(movie);
    ASSERT_NO_FATAL_FAILURE(openReady(movie));
    const std::vector<Frame> frames = framesOf(movie, pictureTimes(movie));
    ASSERT_GT(frames.size(), 200U);
    const double end = frames.back().begin;
    std::vector<double> targets = {end + 0.004, 0.0, 2.0, 1.999, 2.001, 3.3, 5.9, 9.95};
    for (const std::size_t index : {119U, 120U, 121U, 7U}) {
      targets.push_back(frames[index].begin);  // exactly where a picture begins
    }
    std::mt19937 random(7);
    for (int i = 0; i < 12; ++i) {
      targets.push_back(std::uniform_real_distribution<>(0, end)(random));
    }
    for (const double target : targets) {
      seek(target);
      const double ticked = time();  // the target as the time scale can say it
      EXPECT_NEAR(ticked, target, 0.0005);
      ASSERT_TRUE(waitForSeek()) << target;
      EXPECT_TRUE(shows(expectedAt(frames, ticked))) << "at " << target;
      EXPECT_EQ(time(), ticked);
    }
    player.reset();
  }
}

TEST_F(Seek, StepsThroughEveryFrameOfAFastRecording) {
  ASSERT_NO_FATAL_FAILURE(openReady("fast120.mp4"));
  // Over the border between two groups, there and back, as the arrow keys do it.
  std::vector<int> steps;
  for (int number = 232; number <= 248; ++number) {
    steps.push_back(number);
  }
  steps.insert(steps.end(), steps.rbegin(), steps.rend());
  const std::int32_t scale = player->currentTime().timescale;
  ASSERT_EQ(scale % 120, 0);
  for (const int number : steps) {
    player->seekToTime(CMTime{std::int64_t{number} * (scale / 120), scale});
    ASSERT_TRUE(waitForSeek()) << number;
    ASSERT_TRUE(shows(number));
  }
}

TEST_F(Seek, ManySeeksEndAtTheLast) {
  ASSERT_NO_FATAL_FAILURE(openReady("bframes60.mp4"));
  const auto target = [](int i) { return std::fmod(i * 7.77, 19.9); };
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) {
    seek(target(i));
    ASSERT_TRUE(waitForSeek());
  }
  const auto twentySettled = std::chrono::steady_clock::now() - start;
  start = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) {
    seek(target(i));
    runFor(0.001);
  }
  ASSERT_TRUE(waitForSeek());
  EXPECT_TRUE(shows(static_cast<int>(std::floor(target(99) * 60 + 1e-6))));
  // Carried out one by one they would take five times as long.
  EXPECT_LT(std::chrono::steady_clock::now() - start, twentySettled * 2);
}

TEST_F(Seek, ShowsPicturesDuringADrag) {
  ASSERT_NO_FATAL_FAILURE(openReady("bframes60.mp4"));
  double interval = 0.016;
  EXPECT_TRUE(succeedsOnce([&]() -> std::string {
    std::vector<int> seen;
    for (int i = 0; i < 60; ++i) {
      seek(i * 0.3);
      runFor(interval);
      if (const auto number = shown(); number && (seen.empty() || seen.back() != *number)) {
        seen.push_back(*number);
      }
    }
    interval *= 1.6;  // a slow machine needs a slow hand
    return seen.size() >= 8 ? std::string() : std::to_string(seen.size()) + " pictures came";  // of ten groups
  }));
  ASSERT_TRUE(waitForSeek());
  EXPECT_TRUE(shows(static_cast<int>(std::floor(59 * 0.3 * 60 + 1e-6))));
}

TEST_F(Seek, PlayingStartsAtTheExactTarget) {
  // Behind a key frame, and within a picture that stays for three seconds.
  for (const auto& [name, target, first] : {std::tuple("bframes60.mp4", 3.9, 234), std::tuple("vfr.mp4", 4.0, 58)}) {
    SCOPED_TRACE(name);
    ASSERT_NO_FATAL_FAILURE(openReady(name));
    seek(9.0);
    ASSERT_TRUE(waitForSeek());
    const auto before = shown();
    ASSERT_TRUE(before.has_value());
    std::mutex mutex;
    std::vector<int> numbers = {*before};
    player->videoOutput()->setFrameHandler([&] {
      const std::lock_guard lock(mutex);
      if (const auto number = shown(); number && numbers.back() != *number) {
        numbers.push_back(*number);
      }
    });
    seek(target);
    player->play();
    std::vector<double> times;
    waitUntil([&, target = target] {
      times.push_back(time());
      return time() > target + 0.5;
    });
    player->videoOutput()->setFrameHandler(nullptr);
    player->pause();
    ASSERT_FALSE(times.empty());
    for (std::size_t i = 1; i < times.size(); ++i) {
      EXPECT_GE(times[i], times[i - 1]);
    }
    EXPECT_GE(times.front(), target - 1e-4);
    // What was on screen before the seek, then the target's picture (perhaps after its key frame's).
    ASSERT_GE(numbers.size(), 2U);
    EXPECT_EQ(numbers[1], first);
    if (std::string(name) == "vfr.mp4") {
      EXPECT_EQ(numbers.back(), first) << "the next picture comes a second later";
    }
    player.reset();
  }
}

TEST_F(Seek, ToZeroAfterCreationCostsNothing) {
  open("basic.mp4");
  player->seekToTime(kCMTimeZero);
  EXPECT_FALSE(player->isSeeking());
  ASSERT_TRUE(waitUntil([&] { return player->videoOutput()->copyFrame() != nullptr; }));
  EXPECT_TRUE(shows(0));
  // Elsewhere before the movie is open, it is kept until it is.
  open("basic.mp4");
  seek(7.1);
  ASSERT_TRUE(waitUntil([&] { return shown() == 213; }));
}

TEST_F(Seek, PicturesOfADragLookLikeThePlayersOwn) {
  for (const auto& [name, rate, shape] : {std::tuple("bframes60.mp4", 60, 640.0 / 360), {"turned.mp4", 30, 9.0 / 16}}) {
    SCOPED_TRACE(name);
    ASSERT_NO_FATAL_FAILURE(openReady(name, 300, 300));
    // Forwards, backwards and within one group, each seen before the player itself has sought.
    for (const double target : {5.5, 5.6, 5.1, 3.3}) {
      const int expected = static_cast<int>(std::floor(target * rate + 1e-6));
      CGImageRef preview;
      bool again = false;
      EXPECT_TRUE(succeedsOnce([&, target = target]() -> std::string {
        if (std::exchange(again, true)) {
          seek(0);
          EXPECT_TRUE(waitForSeek());
        }
        seek(target);
        EXPECT_TRUE(waitUntil([&] { return shown() == expected; })) << target;
        preview = player->videoOutput()->copyFrame();
        return player->isSeeking() ? std::string() : "the player itself was first";
      }));
      ASSERT_TRUE(waitForSeek());
      ASSERT_TRUE(waitUntil([&] { return player->videoOutput()->copyFrame() != preview; }));
      const CGImageRef exact = player->videoOutput()->copyFrame();
      EXPECT_TRUE(shows(expected));
      EXPECT_NEAR(exact->width, shape * exact->height, 2);
      ASSERT_EQ(exact->width, preview->width);
      ASSERT_EQ(exact->height, preview->height);
      double difference = 0;
      for (int y = 0; y < exact->height; ++y) {
        for (int i = 0; i < exact->width * 4; ++i) {
          const std::size_t at = static_cast<std::size_t>(y) * exact->stride + static_cast<std::size_t>(i);
          difference += i % 4 == 3 ? 0 : std::abs(exact->pixels[at] - preview->pixels[at]);
        }
      }
      EXPECT_LT(difference / (3.0 * exact->width * exact->height), 1.5);
    }
    player.reset();
  }
}
