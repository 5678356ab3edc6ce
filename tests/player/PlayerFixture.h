#pragma once

#include "platform/AVFoundation/AVPlayer.h"
#include "platform/Dispatch/dispatch.h"
#include "tests/data/FrameCode.h"
#include "tests/data/Recordings.h"

#include <gtest/gtest.h>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

/// A player on one of the test recordings, with everything that a test waits for.
class PlayerFixture : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    dispatch_main::attachToCurrentThread([] {});
    AVPlayer::Configuration configuration;
    configuration.audio = false;
    AVPlayer::setConfiguration(configuration);
  }

  void open(const std::string& name, int width = 640, int height = 360) {
    openPath(recordings::path(name), width, height);
  }

  void openPath(const std::string& path, int width = 640, int height = 360) {
    asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(path), nullptr);
    item = AVPlayerItem::initWithAsset(asset);
    player = AVPlayer::initWithPlayerItem(item);
    player->videoOutput()->setTargetSize(width, height);
  }

  /// Waits for the status and, with pictures, for the first one.
  void openReady(const std::string& name, int width = 640, int height = 360) {
    open(name, width, height);
    ASSERT_TRUE(waitUntil([&] { return item->status() == AVPlayerItemStatus::ReadyToPlay; })) << name;
    if (!asset->tracksWithMediaType(AVMediaTypeVideo).empty()) {
      ASSERT_TRUE(waitUntil([&] { return player->videoOutput()->copyFrame() != nullptr; })) << name;
    }
  }

  void TearDown() override {
    player.reset();
    dispatch_main::waitForBackgroundWork(10);
  }

  static bool waitUntil(const std::function<bool()>& done, double seconds = 20) {
    return dispatch_main::runUntil(done, seconds);
  }
  static void runFor(double seconds) {
    dispatch_main::runUntil([] { return false; }, seconds);
  }
  /// For what depends on the time that passes: a machine that stalls now and then spoils one attempt, a fault spoils
  /// all. An attempt says what went wrong, and nothing when all went well.
  static testing::AssertionResult succeedsOnce(const std::function<std::string()>& attempt, int attempts = 8) {
    std::string last;
    for (int i = 0; i < attempts; ++i) {
      last = attempt();
      if (last.empty()) {
        return testing::AssertionSuccess();
      }
    }
    return testing::AssertionFailure() << "in none of " << attempts << " attempts; in the last " << last;
  }

  void seek(double seconds) { player->seekToTime(CMTimeMakeWithSeconds(seconds, player->currentTime().timescale)); }
  bool waitForSeek(double seconds = 20) {
    return waitUntil([&] { return !player->isSeeking(); }, seconds);
  }

  /// The number in the picture that is on screen.
  std::optional<int> shown(int clockwiseQuarters = 0) const {
    const CGImageRef image = player->videoOutput()->copyFrame();
    return image ? frame_code::read(*image, clockwiseQuarters) : std::nullopt;
  }
  /// Whether that picture is on screen, or will be as soon as it has been drawn.
  testing::AssertionResult shows(int number) {
    if (waitUntil([&] { return shown() == number; }, 3)) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "on screen is " << shown().value_or(-1) << ", not " << number;
  }
  double time() const { return CMTimeGetSeconds(player->currentTime()); }

  Strong<AVURLAsset> asset;
  Strong<AVPlayerItem> item;
  Strong<AVPlayer> player;
};
