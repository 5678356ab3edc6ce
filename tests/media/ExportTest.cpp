#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;
using Status = AVAssetExportSessionStatus;

namespace {

constexpr int kScale = 1'000'000'000;

class Export : public testing::Test {
 protected:
  void SetUp() override {
    dispatch_main::attachToCurrentThread([] {});
  }

  static Strong<AVAssetExportSession> session(const std::string& source, const std::string& output, double start,
                                              double end, int scale = kScale) {
    const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(source), nullptr);
    auto result = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetPassthrough);
    result->setOutputURL(NSURL::fileURLWithPath(output));
    result->setOutputFileType(AVFileTypeM4V);
    const CMTime from = CMTimeMakeWithSeconds(start, scale);
    result->setTimeRange(CMTimeRangeMake(from, CMTimeSubtract(CMTimeMakeWithSeconds(end, scale), from)));
    return result;
  }

  static void finish(const Strong<AVAssetExportSession>& session) {
    std::atomic<int> calls{0};
    session->exportAsynchronouslyWithCompletionHandler([&] {
      EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
      ++calls;
    });
    EXPECT_TRUE(dispatch_main::runUntil([&] { return calls > 0; }, 60));
    dispatch_main::waitForBackgroundWork(10);
    EXPECT_EQ(calls, 1);
  }

  /// Exports a range into the scratch folder; the new file's path.
  std::string cut(const std::string& name, double start, double end, int scale = kScale) {
    const std::string output = scratch_ / ("cut" + std::to_string(++count_) + ".m4v");
    const auto made = session(name.front() == '/' ? name : recordings::path(name), output, start, end, scale);
    finish(made);
    EXPECT_EQ(made->status(), Status::Completed)
        << name << ": " << (made->error() ? made->error()->localizedDescription() : "");
    return output;
  }

  ScratchFolder scratch_;
  int count_ = 0;
};

TEST_F(Export, ARangeBeginsAndEndsWhereItWasSet) {
  struct Case {
    const char* name;
    double start, end;
    int first, count;  // of its pictures
    std::size_t tracks;
  };
  // What the matrix of sources has none of: ranges from zero on, also where the encoder's lead-in of the sound comes
  // before the first picture; a part of the last packet of sound; recordings without pictures, with sound alone in the
  // range, with one picture, and cut off.
  const Case cases[] = {{"basic.mp4", 0, 3.3, 0, 99, 2},        {"basic.mp4", 10.02, 13.01, 300, 91, 2},
                        {"basic.mp4", 59.995, 60, 1799, 1, 2},  {"basic.mkv", 0, 2, 0, 60, 2},
                        {"stream.ts", 0, 2, 0, 60, 2},          {"fragmented.mp4", 0, 2, 0, 60, 2},
                        {"audio_only.mp4", 2.5, 7, 0, 0, 1},    {"late.mp4", 0, 0.6, 0, 0, 2},
                        {"video_only.mp4", 1, 2, 30, 30, 1},    {"damaged.mp4", 4, 6, 120, 60, 2},
                        {"one_frame.mp4", 0, 1 / 30.0, 0, 1, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " from " + std::to_string(c.start) + " to " + std::to_string(c.end));
    const std::string output = cut(c.name, c.start, c.end);
    const auto pictures = read_back::pictures(output);
    ASSERT_EQ(pictures.size(), std::size_t(c.count));
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      ASSERT_EQ(pictures[i].number, c.first + int(i));
      ASSERT_NEAR(pictures[i].time, std::max(0.0, pictures[i].number / 30.0 - c.start), 0.0225);
    }
    const auto facts = read_back::facts(output);
    EXPECT_NEAR(facts.duration, c.end - c.start, 0.0225);
    EXPECT_EQ(facts.durations.size(), c.tracks);
    for (const double duration : facts.durations) EXPECT_LE(duration, c.end - c.start + 0.0225);
    EXPECT_TRUE(facts.indexFirst);
    // The sound's pitch tells the second it belongs to.
    const int second = int(std::ceil(c.start));
    if (std::string(c.name) == "video_only.mp4" || second + 1 > c.end) continue;
    EXPECT_NEAR(read_back::tone(output, 300 + 50 * second, second - c.start + 0.03, 0.9).level, 0.2, 0.01);
  }
}

TEST_F(Export, CutsOfCutsStayExact) {
  const std::string first = cut("bframes60.mp4", 3.3, 13.3, 15360);
  const std::string second = cut(first, 2.1, 6.6, 15360);
  const auto pictures = read_back::pictures(cut(second, 0, 1.5, 15360));
  ASSERT_FALSE(pictures.empty());
  EXPECT_EQ(pictures.front().number, int(5.4 * 60));
  EXPECT_EQ(pictures.back().number, int(6.9 * 60) - 1);
  EXPECT_EQ(pictures.size(), 90U);
}

TEST_F(Export, NothingIsReplacedButTheSourceItself) {
  const std::string other = scratch_.write("taken.m4v", "precious");
  const auto refused = session(recordings::path("basic.mp4"), other, 1, 2);
  finish(refused);
  EXPECT_EQ(refused->status(), Status::Failed);
  EXPECT_EQ(refused->error()->code(), EEXIST);
  EXPECT_EQ(contentOf(other), "precious");

  const std::string own = scratch_ / "own.m4v";
  fs::copy_file(recordings::path("basic.mp4"), own);
  const auto replacing = session(own, own, 10, 12);
  finish(replacing);
  EXPECT_EQ(replacing->status(), Status::Completed);
  EXPECT_EQ(read_back::pictures(own).front().number, 300);
  EXPECT_EQ(namesIn(scratch_.path()).size(), 2U);
}

TEST_F(Export, NobodyMoreMayReadTheCopyThanTheOriginal) {
  const auto mode = [](const std::string& path) { return unsigned(fs::status(path).permissions() & fs::perms::all); };
  const auto exported = [](const std::string& source, const std::string& output) {
    const auto made = session(source, output, 1, 2);
    made->setReplacesExistingFile(true);
    finish(made);
    EXPECT_EQ(made->status(), Status::Completed) << source;
  };
  for (const char* name : {"basic.mp4", "basic.mkv"}) {
    const std::string own = scratch_ / name, copy = own + ".m4v";
    fs::copy_file(recordings::path(name), own);
    fs::permissions(own, fs::perms(0600));
    exported(own, copy);
    EXPECT_EQ(mode(copy), 0600U);
    fs::permissions(copy, fs::perms(0640));  // its owner's decision
    exported(own, copy);
    EXPECT_EQ(mode(copy), 0640U);
    exported(own, own);
    EXPECT_EQ(mode(own), 0600U);
  }
}

TEST_F(Export, FailuresAreToldAndLeaveNothingBehind) {
  const std::string basic = recordings::path("basic.mp4"), output = scratch_ / "out.m4v";
  const struct {
    std::string source, output;
    double start, end;
    const char* word;
    int scale = kScale;
  } cases[] = {{recordings::path("lossless.mkv"), output, 0.5, 1.5, "can't hold"},
               {recordings::path("text.mp4"), output, 0.5, 1.5, "text.mp4"},
               {basic, "/proc/out.m4v", 0.5, 1.5, "in “/proc”"},
               {basic, scratch_ / "missing/out.m4v", 0.5, 1.5, "No such file"},
               {basic, output, 6, 5, ""},
               {basic, output, -1, 5, ""},
               {basic, output, 61, 62, ""},
               {basic, output, 1, 2, "", 0}};  // no time scale: not a time
  for (const auto& each : cases) {
    SCOPED_TRACE(each.source + " to " + each.output + " from " + std::to_string(each.start));
    const auto failing = session(each.source, each.output, each.start, each.end, each.scale);
    finish(failing);
    EXPECT_EQ(failing->status(), Status::Failed);
    ASSERT_NE(failing->error(), nullptr);
    EXPECT_EQ(failing->error()->code() == AVErrorInvalidTimeRange, std::string(each.word).empty());
    EXPECT_NE(failing->error()->localizedDescription().find(each.word), std::string::npos)
        << failing->error()->localizedDescription();
    EXPECT_TRUE(namesIn(scratch_.path()).empty());
  }
}

TEST_F(Export, CancellingAtAnyMomentLeavesNothing) {
  const std::string source = recordings::path("basic.mp4"), output = scratch_ / "out.m4v";
  for (float moment : {-1.0F, 0.0F, 0.2F, 0.7F}) {
    const auto running = session(source, output, 0, 60);
    std::atomic<bool> done{false};
    if (moment < 0) running->cancelExport();
    running->exportAsynchronouslyWithCompletionHandler([&] { done = true; });
    while (!done && running->progress() < moment) std::this_thread::yield();
    running->cancelExport();
    EXPECT_TRUE(dispatch_main::runUntil([&] { return done.load(); }, 30));
    // The last moments can't be told apart from the end: then it is whole.
    if (running->status() == Status::Completed) {
      EXPECT_NEAR(read_back::facts(output).duration, 60, 0.1);
      fs::remove(output);
    } else {
      EXPECT_EQ(running->status(), Status::Cancelled);
    }
    EXPECT_TRUE(namesIn(scratch_.path()).empty());
  }
}

}  // namespace
