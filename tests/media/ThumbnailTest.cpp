#include "platform/AVFoundation/AVAssetImageGenerator.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/Dispatch/dispatch.h"
#include "tests/data/FrameCode.h"
#include "tests/data/Recordings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <mutex>

namespace {

struct Delivered {
  double requested = 0;
  int number = -1;
  double actual = 0;
  int width = 0, height = 0;
  bool onMainQueue = false;
  NSErrorPtr error;
};

class Thumbnails : public testing::Test {
 protected:
  void SetUp() override {
    dispatch_main::attachToCurrentThread([] {});
  }

  static Strong<AVAssetImageGenerator> generatorFor(const std::string& name, CGSize size = {128, 128}) {
    const auto url = NSURL::fileURLWithPath(recordings::path(name));
    auto generator = AVAssetImageGenerator::initWithAsset(AVURLAsset::initWithURL_options(url, nullptr));
    generator->setMaximumSize(size);
    return generator;
  }

  void request(AVAssetImageGenerator& generator, double seconds) {
    ++requested_;
    generator.generateCGImagesAsynchronouslyForTimes_completionHandler(
        {CMTimeMakeWithSeconds(seconds, 1'000'000'000)},
        [this](CMTime time, const CGImageRef& image, CMTime actual, const NSErrorPtr& error) {
          Delivered delivered;
          delivered.requested = CMTimeGetSeconds(time);
          delivered.onMainQueue = dispatch_is_current(dispatch_get_main_queue());
          delivered.error = error;
          if (image) {
            delivered.number = frame_code::read(*image).value_or(-1);
            delivered.actual = CMTimeGetSeconds(actual);
            delivered.width = image->width, delivered.height = image->height;
          }
          const std::lock_guard lock(mutex_);
          delivered_.push_back(delivered);
        });
  }

  std::vector<Delivered> wait() {
    dispatch_main::runUntil(
        [this] {
          const std::lock_guard lock(mutex_);
          return delivered_.size() >= requested_;
        },
        30);
    const std::lock_guard lock(mutex_);
    requested_ = 0;
    return std::exchange(delivered_, {});
  }

  std::vector<Delivered> ask(AVAssetImageGenerator& generator, const std::vector<double>& times) {
    for (double time : times) request(generator, time);
    return wait();
  }

  std::mutex mutex_;
  std::vector<Delivered> delivered_;
  std::size_t requested_ = 0;
};

TEST_F(Thumbnails, AWideStripShowsKeyFramesInOrder) {
  const auto generator = generatorFor("basic.mp4");
  std::vector<double> times;
  for (int i = 0; i < 24; ++i) times.push_back(2.5 * i);
  const auto strip = ask(*generator, times);
  ASSERT_EQ(strip.size(), times.size());
  for (std::size_t i = 0; i < strip.size(); ++i) {
    const Delivered& d = strip[i];
    EXPECT_FALSE(d.onMainQueue);
    EXPECT_EQ(d.number, int(d.requested / 2) * 60) << d.requested;
    EXPECT_NEAR(d.actual, d.number / 30.0, 0.001);
    EXPECT_EQ(d.width, 128);
    EXPECT_EQ(d.height, 72);
    EXPECT_NEAR(d.requested, times[i], 1e-6);
  }
}

TEST_F(Thumbnails, AFineStripShowsTheExactFrames) {
  // Reordered frames, an open group of pictures and gaps are where an inexact search shows.
  struct Case {
    const char* name;
    double rate, from;
  };
  for (const Case& c : {Case{"basic.mp4", 30, 9.9}, Case{"bframes60.mp4", 60, 3.91}, Case{"opengop.mp4", 30, 5.85}}) {
    const auto generator = generatorFor(c.name);
    std::vector<double> times;
    for (int i = 0; i < 20; ++i) times.push_back(c.from + 0.05 * i);
    const auto strip = ask(*generator, times);
    ASSERT_EQ(strip.size(), times.size());
    for (const Delivered& d : strip) {
      EXPECT_EQ(d.number, int(std::floor(d.requested * c.rate + 1e-6))) << c.name << " at " << d.requested;
    }
  }
  // Pictures 60 to 149 are missing: what is on screen at 2.5 s and 4 s is picture 59 (58 of 7n+3 is missing, 59 not).
  const auto generator = generatorFor("vfr.mp4");
  for (const Delivered& d : ask(*generator, {2.5, 2.9, 3.5, 4.0})) EXPECT_EQ(d.number, 58) << d.requested;
}

TEST_F(Thumbnails, FramesThatAnEditListHidesAreNotShown) {
  // Cut from picture 99 on; the key frame before it, picture 60, is in the file but hidden.
  const auto strip = ask(*generatorFor("cut_lead_in.mp4"), {0, 2.5, 5});
  ASSERT_EQ(strip.size(), 3U);
  for (const Delivered& d : strip) {
    if (d.requested == 0) {
      EXPECT_EQ(d.number, 99);
    }
    EXPECT_GE(d.actual, 0);
  }
}

TEST_F(Thumbnails, ThePictureIsTurnedAndKeptWithinTheSize) {
  const auto turned = ask(*generatorFor("turned.mp4", {200, 180}), {3.0});
  ASSERT_EQ(turned.size(), 1U);
  EXPECT_EQ(turned[0].height, 180);
  EXPECT_EQ(turned[0].width, 101);
  EXPECT_EQ(turned[0].number, 60);

  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const CGSize unlimited : {CGSizeMake(0, 0), CGSizeMake(nan, nan), CGSizeMake(-1, 5000)}) {
    const auto whole = ask(*generatorFor("basic.mp4", unlimited), {0});
    ASSERT_EQ(whole.size(), 1U);
    EXPECT_EQ(whole[0].width, 640);
    EXPECT_EQ(whole[0].height, 360);
    EXPECT_EQ(whole[0].number, 0);
  }
  EXPECT_EQ(ask(*generatorFor("basic.mp4", CGSizeMake(nan, 36)), {0})[0].height, 36);
}

TEST_F(Thumbnails, EveryKindOfFileAnswers) {
  EXPECT_EQ(ask(*generatorFor("one_frame.mp4"), {0, 5}).size(), 2U);
  for (const char* name : {"basic.mkv", "fragmented.mp4", "damaged.mp4", "lossless.mkv"}) {
    for (const Delivered& d : ask(*generatorFor(name), {0, 1})) {
      EXPECT_EQ(d.error, nullptr) << name;
      EXPECT_GE(d.number, 0) << name;
    }
  }
  for (const char* name : {"audio_only.mp4", "text.mp4", "truncated.mp4"}) {
    for (const Delivered& d : ask(*generatorFor(name), {0, 1})) {
      EXPECT_EQ(d.width, 0);
      EXPECT_NE(d.error, nullptr) << name;
    }
  }
  // The second half of this one is missing: its times answer too, with a picture or without.
  EXPECT_EQ(ask(*generatorFor("damaged.mp4"), {50, 55, 59}).size(), 3U);
}

TEST_F(Thumbnails, DestructionDropsWhatHasNotStartedAndDoesNotWait) {
  // A machine that stalls may spoil an attempt.
  bool quick = false;
  for (int attempt = 0; attempt < 8 && !quick; ++attempt) {
    auto generator = generatorFor("basic.mp4");
    const auto witness = std::make_shared<int>(0);
    std::atomic<int> calls{0};
    for (int i = 0; i < 590; ++i) {
      generator->generateCGImagesAsynchronouslyForTimes_completionHandler(
          {CMTimeMakeWithSeconds(59 - 0.1 * i, 1'000'000'000)},
          [witness, &calls](CMTime, const CGImageRef&, CMTime, const NSErrorPtr&) { ++calls; });
    }
    dispatch_main::runUntil([&] { return calls > 3; }, 30);
    const auto begin = std::chrono::steady_clock::now();
    generator = nullptr;
    quick = std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(50);
    EXPECT_TRUE(dispatch_main::waitForBackgroundWork(30));
    quick &= calls < 300;
    EXPECT_EQ(witness.use_count(), 1);  // nothing holds on to the dropped handlers
  }
  EXPECT_TRUE(quick);
}

}  // namespace
