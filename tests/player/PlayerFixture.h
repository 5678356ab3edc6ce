#pragma once

#include "platform/AVFoundation/AVPlayer.h"
#include "platform/Dispatch/dispatch.h"
#include "tests/data/FrameCode.h"
#include "tests/data/Recordings.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

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
  /// What runs while the player plays for so many seconds of the clock.
  struct Run {
    double played, passed;  ///< of the movie and by the clock, seconds
    std::string inWords() const { return std::to_string(played) + " s played in " + std::to_string(passed) + " s"; }
    bool isInRealTime(double tolerance = 0.1) const { return std::abs(played - passed) < tolerance; }
  };
  Run playFor(double seconds) const {
    const double from = time();
    const auto began = std::chrono::steady_clock::now();
    runFor(seconds);
    return {time() - from, secondsSince(began)};
  }
  static double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }

  /// When each picture of a recording begins, in order and as far as another program can read it.
  static std::vector<double> pictureTimes(const std::string& name) {
    const std::string command = "ffprobe -v error -select_streams v -show_entries packet=pts_time -of csv=p=0 '" +
                                recordings::path(name) + "' 2>/dev/null";
    std::vector<double> times;
    FILE* pipe = popen(command.c_str(), "r");
    for (double time = 0; pipe && std::fscanf(pipe, "%lf%*[^\n]", &time) == 1;) times.push_back(time);
    if (pipe) pclose(pipe);
    std::sort(times.begin(), times.end());
    return times;
  }

  double time() const { return CMTimeGetSeconds(player->currentTime()); }

  Strong<AVURLAsset> asset;
  Strong<AVPlayerItem> item;
  Strong<AVPlayer> player;
};
