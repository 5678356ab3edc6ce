#include "tests/data/Recordings.h"
#include "tests/media/Thumbnails.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>

namespace {

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
};

TEST_F(Thumbnails, AWideStripShowsKeyFramesInOrder) {
  const auto generator = generatorFor("basic.mp4");
  std::vector<double> times;
  for (int i = 0; i < 24; ++i) times.push_back(2.5 * i);
  const auto strip = thumbnails(generator, times);
  ASSERT_EQ(strip.size(), times.size());
  for (std::size_t i = 0; i < strip.size(); ++i) {
    const Thumbnail& d = strip[i];
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
    const auto strip = thumbnails(generator, times);
    ASSERT_EQ(strip.size(), times.size());
    for (const Thumbnail& d : strip) {
      EXPECT_EQ(d.number, int(std::floor(d.requested * c.rate + 1e-6))) << c.name << " at " << d.requested;
    }
  }
  // The key frame before the first picture is in the file, but an edit list hides it.
  EXPECT_EQ(thumbnails(generatorFor("cut_lead_in.mp4"), {0})[0].number, 99);
  // Pictures 60 to 149 are missing: what is on screen at 2.5 s and 4 s is picture 59 (58 of 7n+3 is missing, 59 not).
  const auto generator = generatorFor("vfr.mp4");
  for (const Thumbnail& d : thumbnails(generator, {2.5, 2.9, 3.5, 4.0})) EXPECT_EQ(d.number, 58) << d.requested;
}

TEST_F(Thumbnails, ThePictureIsTurnedAndKeptWithinTheSize) {
  const auto turned = thumbnails(generatorFor("turned.mp4", {200, 180}), {3.0});
  ASSERT_EQ(turned.size(), 1U);
  EXPECT_EQ(turned[0].height, 180);
  EXPECT_EQ(turned[0].width, 101);
  EXPECT_EQ(turned[0].number, 60);

  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const CGSize unlimited : {CGSizeMake(0, 0), CGSizeMake(nan, nan), CGSizeMake(-1, 5000)}) {
    const auto whole = thumbnails(generatorFor("basic.mp4", unlimited), {0});
    ASSERT_EQ(whole.size(), 1U);
    EXPECT_EQ(whole[0].width, 640);
    EXPECT_EQ(whole[0].height, 360);
    EXPECT_EQ(whole[0].number, 0);
  }
  EXPECT_EQ(thumbnails(generatorFor("basic.mp4", CGSizeMake(nan, 36)), {0})[0].height, 36);
}

TEST_F(Thumbnails, EveryKindOfFileAnswers) {
  EXPECT_EQ(thumbnails(generatorFor("one_frame.mp4"), {0, 5}).size(), 2U);
  for (const char* name : {"basic.mkv", "fragmented.mp4", "damaged.mp4", "lossless.mkv"}) {
    for (const Thumbnail& d : thumbnails(generatorFor(name), {0, 1})) EXPECT_GE(d.number, 0) << name;
  }
  for (const char* name : {"audio_only.mp4", "text.mp4", "truncated.mp4"}) {
    for (const Thumbnail& d : thumbnails(generatorFor(name), {0, 1})) EXPECT_EQ(d.width, 0) << name;
  }
  // The second half of this one is missing: its times answer too, with a picture or without.
  EXPECT_EQ(thumbnails(generatorFor("damaged.mp4"), {50, 55, 59}).size(), 3U);
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
