#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <sys/mount.h>

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

  std::vector<std::string> leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(scratch_.path())) names.push_back(entry.path().filename());
    return names;
  }

  ScratchFolder scratch_;
  int count_ = 0;
};

TEST_F(Export, ARangeBeginsAndEndsWhereItWasSet) {
  struct Case {
    const char* name;
    double rate, start, end;
  };
  // On key frames, between them, between two frames, to the very end; with reordered frames; an open group of pictures.
  const Case cases[] = {
      {"basic.mp4", 30, 10, 25},        {"basic.mp4", 30, 11.1, 12.9}, {"basic.mp4", 30, 10.02, 13.01},
      {"basic.mp4", 30, 57.5, 60},      {"basic.mp4", 30, 0, 3.3},     {"bframes60.mp4", 60, 3.5, 6.25},
      {"bframes60.mp4", 60, 4, 6},      {"opengop.mp4", 30, 6, 9},     {"opengop.mp4", 30, 5.9, 7.1},
      {"fragmented.mp4", 30, 5.5, 8.5}, {"basic.mkv", 30, 3.5, 6.5},   {"stream.ts", 30, 2.5, 6.3},
      {"portrait.mp4", 30, 19, 20}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " from " + std::to_string(c.start) + " to " + std::to_string(c.end));
    const double frame = 1 / c.rate;
    const std::string output = cut(c.name, c.start, c.end);
    const auto pictures = read_back::pictures(output);
    ASSERT_FALSE(pictures.empty());
    // In these three the sound's lead-in comes first, and Matroska's times are whole milliseconds.
    const std::string name = c.name;
    const double slack = name == "basic.mkv" || name == "fragmented.mp4" || name == "stream.ts" ? 0.0221 : 1e-4;
    EXPECT_EQ(pictures.front().number, int(std::floor((c.start - slack) * c.rate + 1e-3 + (slack > 1e-3 ? 0 : 1e-2))));
    EXPECT_NEAR(pictures.front().time, 0, 0.002);
    EXPECT_NEAR(pictures.back().number, std::ceil((c.end - slack) * c.rate - 1e-2) - 1, 0.5);
    for (std::size_t i = 1; i < pictures.size(); ++i) {
      ASSERT_EQ(pictures[i].number, pictures[i - 1].number + 1);
      ASSERT_NEAR(c.start + pictures[i].time, pictures[i].number / c.rate + (slack > 1e-3 ? 0.021 : 0), 0.002);
    }
    const auto facts = read_back::facts(output);
    ASSERT_TRUE(facts);
    EXPECT_NEAR(facts->duration, c.end - c.start, frame);
    for (const auto& track : facts->tracks) EXPECT_NEAR(track.duration, c.end - c.start, frame + 0.022);
    EXPECT_TRUE(facts->indexFirst);
    // The sound's pitch tells the second it belongs to.
    const double at = std::ceil(c.start + 0.05) + 0.3 < c.end ? std::ceil(c.start + 0.05) : std::floor(c.start);
    const double expected = 300 + 50 * int(at) % 2000;
    EXPECT_NEAR(read_back::pitch(output, std::max(0.0, at - c.start) + 0.02), expected, 4);
    if (at - c.start > 0.25) {
      EXPECT_NEAR(read_back::pitch(output, at - c.start - 0.22), expected - 50, 4);
    }
  }
}

TEST_F(Export, TheBeginningIsWholeWhereSoundComesFirst) {
  // The encoder's lead-in of the sound begins before the first picture does.
  for (const char* name : {"basic.mkv", "stream.ts", "fragmented.mp4"}) {
    SCOPED_TRACE(name);
    const std::string output = cut(name, 0, 2);
    const auto pictures = read_back::pictures(output), source = read_back::pictures(recordings::path(name));
    ASSERT_EQ(pictures.size(), 60U);
    EXPECT_EQ(pictures.front().number, 0);
    EXPECT_NEAR(pictures.front().time, 0.011, 0.011);
    for (std::size_t i = 0; i < 60; ++i) {
      EXPECT_NEAR(pictures[i].time - pictures[0].time, source[i].time - source[0].time, 0.001);
    }
    const auto facts = read_back::facts(output);
    EXPECT_NEAR(facts->duration, 2, 0.001);
    EXPECT_NEAR(facts->tracks[1].duration, 2, 0.001);
    EXPECT_NEAR(read_back::pitch(output, 1.04), 350, 4);
    EXPECT_NEAR(read_back::pitch(output, 0.8), 300, 4);
  }
}

TEST_F(Export, GapsAreKept) {
  // Picture 58 is on screen from 1.93 s until 5 s, 299 from 9.97 s until 15 s. The range begins and ends inside those.
  const auto pictures = read_back::pictures(cut("vfr.mp4", 3, 12));
  ASSERT_GT(pictures.size(), 2U);
  EXPECT_EQ(pictures[0].number, 58);
  EXPECT_NEAR(pictures[0].time, 0, 0.001);
  EXPECT_EQ(pictures[1].number, 151);  // 150 is one of those left out
  EXPECT_NEAR(pictures[1].time, 151 / 30.0 - 3, 0.002);
  EXPECT_EQ(pictures.back().number, 299);
  EXPECT_NEAR(pictures.back().time, 299 / 30.0 - 3, 0.002);
  EXPECT_NEAR(read_back::facts(scratch_ / "cut1.m4v")->duration, 9, 0.034);
}

TEST_F(Export, BeforeAllPicturesThereIsSoundAlone) {
  const auto facts = read_back::facts(cut("late.mp4", 0, 0.6));
  ASSERT_TRUE(facts);
  EXPECT_NEAR(facts->duration, 0.6, 0.022);
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

TEST_F(Export, TracksTurnNamesAndDatesAreKept) {
  const std::string output = cut("two_audio.mp4", 5, 9);
  const auto facts = read_back::facts(output);
  ASSERT_TRUE(facts);
  ASSERT_EQ(facts->tracks.size(), 3U);
  EXPECT_EQ(facts->title, "Two tracks");
  EXPECT_TRUE(facts->creationTime.starts_with("2024-03-05T10:20:30")) << facts->creationTime;
  EXPECT_EQ(facts->tracks[0].name, "Screen");
  EXPECT_EQ(facts->tracks[1].name, "App sound");
  EXPECT_EQ(facts->tracks[1].language, "eng");
  EXPECT_EQ(facts->tracks[2].name, "Microphone");
  EXPECT_EQ(facts->tracks[2].language, "deu");
  EXPECT_NEAR(read_back::pitch(output, 1.3, 0.2, 0), 300 + 50 * 6, 4);
  EXPECT_NEAR(read_back::pitch(output, 1.3, 0.2, 1), 4300 + 50 * 6, 8);

  const std::string turned = cut("turned.mp4", 3, 4);
  EXPECT_EQ(read_back::facts(turned)->clockwiseQuarters,
            read_back::facts(recordings::path("turned.mp4"))->clockwiseQuarters);
  EXPECT_NE(read_back::facts(turned)->clockwiseQuarters, 0);
  EXPECT_EQ(read_back::pictures(turned).front().number, 90);

  EXPECT_EQ(read_back::facts(cut("video_only.mp4", 1, 2))->tracks.size(), 1U);
  const std::string sound = cut("audio_only.mp4", 2.5, 7);
  EXPECT_NEAR(read_back::facts(sound)->duration, 4.5, 0.03);
  EXPECT_NEAR(read_back::pitch(sound, 0.52), 300 + 50 * 3, 4);
  EXPECT_EQ(read_back::pictures(cut("one_frame.mp4", 0, 1)).size(), 1U);
  EXPECT_EQ(read_back::pictures(cut("damaged.mp4", 4, 6)).size(), 60U);

  // Inside the last packet of sound.
  const std::string last = cut("basic.mp4", 59.995, 60);
  EXPECT_EQ(read_back::pictures(last).at(0).number, 1799);
  EXPECT_EQ(read_back::facts(last)->tracks.size(), 2U);
  EXPECT_NEAR(read_back::facts(last)->duration, 0.005, 1e-4);
}

TEST_F(Export, AnImpossibleRangeFails) {
  const std::string source = recordings::path("basic.mp4"), output = scratch_ / "out.m4v";
  std::vector<Strong<AVAssetExportSession>> sessions;
  for (const auto& [start, end] : {std::pair(5.0, 5.0), {6.0, 5.0}, {-1.0, 5.0}, {61.0, 62.0}}) {
    sessions.push_back(session(source, output, start, end));
  }
  sessions.push_back(session(source, output, 1, 2, 0));  // no time scale: not a time
  for (const auto& failing : sessions) {
    finish(failing);
    EXPECT_EQ(failing->status(), Status::Failed);
    ASSERT_NE(failing->error(), nullptr);
    EXPECT_EQ(failing->error()->code(), AVErrorInvalidTimeRange);
  }
  EXPECT_TRUE(leftovers().empty());
}

TEST_F(Export, NothingIsReplacedButTheSourceItself) {
  const std::string other = scratch_.write("taken.m4v", "precious");
  const auto refused = session(recordings::path("basic.mp4"), other, 1, 2);
  finish(refused);
  EXPECT_EQ(refused->status(), Status::Failed);
  EXPECT_EQ(refused->error()->code(), EEXIST);
  std::ifstream file(other);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "precious");

  const std::string own = scratch_ / "own.m4v";
  fs::copy_file(recordings::path("basic.mp4"), own);
  const auto replacing = session(own, own, 10, 12);
  finish(replacing);
  EXPECT_EQ(replacing->status(), Status::Completed);
  EXPECT_EQ(read_back::pictures(own).front().number, 300);
  EXPECT_EQ(leftovers().size(), 2U);
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

TEST_F(Export, FailuresLeaveNothingBehind) {
  const auto fails = [&](const std::string& source, const std::string& output, const char* word) {
    const auto failing = session(source, output, 0.5, 1.5);
    finish(failing);
    EXPECT_EQ(failing->status(), Status::Failed);
    ASSERT_NE(failing->error(), nullptr);
    EXPECT_NE(failing->error()->localizedDescription().find(word), std::string::npos)
        << failing->error()->localizedDescription();
  };
  fails(recordings::path("lossless.mkv"), scratch_ / "a.m4v", "can't hold");
  fails(recordings::path("text.mp4"), scratch_ / "a.m4v", "text.mp4");
  fails(recordings::path("basic.mp4"), "/proc/out.m4v", "in “/proc”");
  fails(recordings::path("basic.mp4"), scratch_ / "missing/out.m4v", "No such file");
  EXPECT_TRUE(leftovers().empty());

  const std::string disk = scratch_ / "disk";
  fs::create_directory(disk);
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=256k") != 0) GTEST_SKIP() << "no right to mount a small disk";
  const auto full = session(recordings::path("basic.mp4"), disk + "/out.m4v", 10, 40);
  finish(full);
  const bool empty = fs::is_empty(disk);
  umount(disk.c_str());
  EXPECT_EQ(full->status(), Status::Failed);
  ASSERT_NE(full->error(), nullptr);
  EXPECT_EQ(full->error()->code(), ENOSPC) << full->error()->localizedDescription();
  EXPECT_TRUE(empty);
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
      EXPECT_NEAR(read_back::facts(output)->duration, 60, 0.1);
      fs::remove(output);
    } else {
      EXPECT_EQ(running->status(), Status::Cancelled);
    }
    EXPECT_TRUE(leftovers().empty());
  }
}

}  // namespace
