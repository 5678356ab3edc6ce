#include "platform/Foundation/NSNotificationCenter.h"
#include "tests/player/PlayerFixture.h"

#include <unistd.h>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

namespace {

/// Counts what comes by selector and by observation, and checks the queue.
class Listener : public NSObject {
  ZV_OBJECT(Listener)
 public:
  void ended(const Strong<NSNotification>& notification) {
    EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
    lastSender = notification->object();
    ++ends;
  }
  void observeValueForKeyPath_ofObject_change_context(std::string_view keyPath, const Strong<NSObject>& object,
                                                      const void*, void*) override {
    EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
    EXPECT_EQ(keyPath, "status");
    EXPECT_EQ(object, expected);
    ++changes;
  }
  int ends = 0;
  int changes = 0;
  Strong<NSObject> lastSender;
  Strong<NSObject> expected;
};
ZV_REGISTER_CLASS(Listener, "PlayerTestListener", NSObject, {{"ended:", runtime::method(&Listener::ended)}})

class Playback : public PlayerFixture {
 protected:
  void listen() {
    listener = std::make_shared<Listener>();
    listener->expected = item;
    NSNotificationCenter::defaultCenter().addObserver_selector_name_object(
        listener, "ended:", AVPlayerItemDidPlayToEndTimeNotification, item);
    item->addObserver_forKeyPath(listener, "status");
  }
  Strong<Listener> listener;
};

double cpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// How often each thread of this process gave up the processor so far: a thread that wakes up adds to it.
std::map<std::string, long> wakeUps() {
  std::map<std::string, long> result;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(getpid())) {
      continue;  // this test's own waiting
    }
    std::ifstream status(thread.path() / "status");
    std::string name;
    for (std::string line; std::getline(status, line);) {
      if (line.rfind("Name:", 0) == 0) {
        name = line.substr(6) + " " + thread.path().filename().string();
      } else if (line.rfind("voluntary_ctxt_switches:", 0) == 0) {
        result[name] = std::stol(line.substr(line.find(':') + 1));
      }
    }
  }
  return result;
}

}  // namespace

TEST_F(Playback, FailsWithWordsWhereNothingCanBePlayed) {
  const auto missing = std::filesystem::path(recordings::path("nowhere.mp4"));
  for (const std::string& path : {recordings::path("text.mp4"), recordings::path("empty.mp4"),
                                  recordings::path("truncated.mp4"), missing.string(), std::string("/")}) {
    SCOPED_TRACE(path);
    openPath(path);
    listen();
    player->play();
    ASSERT_TRUE(waitUntil([&] { return item->status() != AVPlayerItemStatus::Unknown; }));
    EXPECT_EQ(item->status(), AVPlayerItemStatus::Failed);
    ASSERT_NE(item->error(), nullptr);
    EXPECT_FALSE(item->error()->localizedDescription().empty());
    EXPECT_EQ(player->rate(), 0);
    runFor(0.1);
    EXPECT_EQ(listener->changes, 1);
    EXPECT_EQ(listener->ends, 0);
  }
}

TEST_F(Playback, PlaysInRealTimeAndCallsPeriodicObservers) {
  ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4"));
  std::vector<double> times;
  const auto token = player->addPeriodicTimeObserverForInterval_queue_usingBlock(
      CMTimeMakeWithSeconds(1.0 / 30, 1000000000), nullptr, [&](CMTime now) {
        EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
        times.push_back(CMTimeGetSeconds(now));
      });
  runFor(0.2);
  EXPECT_EQ(times.size(), 1U) << "one call to begin with, none while paused";
  player->videoOutput()->setFrameHandler([&] { player->videoOutput()->copyFrame(); });
  player->play();
  EXPECT_EQ(player->rate(), 1);
  ASSERT_TRUE(waitUntil([&] { return time() > 0.2; }));
  EXPECT_TRUE(succeedsOnce([&]() -> std::string {
    times.clear();
    const long droppedBefore = player->droppedFrameCount();
    const Run run = playFor(1);
    const long dropped = player->droppedFrameCount() - droppedBefore;
    for (std::size_t i = 1; i < times.size(); ++i) {
      EXPECT_GT(times[i], times[i - 1]);
    }
    const double calls = static_cast<double>(times.size());
    if (run.isInRealTime() && std::abs(calls - 30 * run.passed) < 6 && dropped <= 3) return {};
    return run.inWords() + ", with " + std::to_string(times.size()) + " calls and " + std::to_string(dropped) +
           " dropped pictures";
  }));
  // Pictures that nobody fetches are dropped ones.
  player->videoOutput()->setFrameHandler(nullptr);
  const long before = player->droppedFrameCount();
  EXPECT_TRUE(waitUntil([&] { return player->droppedFrameCount() > before + 10; }));
  player->pause();
  runFor(0.2);
  // The picture on screen is the one at the time that is named.
  EXPECT_TRUE(waitUntil([&] { return shown() == static_cast<int>(std::floor(time() * 30 + 1e-6)); }, 3));
  times.clear();
  seek(10);
  EXPECT_TRUE(waitUntil([&] { return !times.empty(); }));
  runFor(0.2);
  ASSERT_EQ(times.size(), 1U) << "one call for a jump";
  EXPECT_NEAR(times[0], 10, 1e-4);
}

TEST_F(Playback, ObserversEndWithTheirTokensAndThePlayer) {
  ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4"));
  int first = 0, second = 0, third = 0, boundary = 0;
  std::vector<double> passed;
  const CMTime often = CMTimeMakeWithSeconds(0.01, 1000);
  auto released = player->addPeriodicTimeObserverForInterval_queue_usingBlock(often, nullptr, [&](CMTime) { ++first; });
  auto removed = player->addPeriodicTimeObserverForInterval_queue_usingBlock(often, nullptr, [&](CMTime) { ++second; });
  auto kept = player->addPeriodicTimeObserverForInterval_queue_usingBlock(often, nullptr, [&](CMTime) { ++third; });
  auto end = player->addBoundaryTimeObserverForTimes_queue_usingBlock({CMTimeMakeWithSeconds(0.5, 600)}, nullptr,
                                                                      [&] { ++boundary; });
  auto through = player->addBoundaryTimeObserverForTimes_queue_usingBlock(
      {CMTimeMakeWithSeconds(0.4, 600), CMTimeMakeWithSeconds(0.7, 600)}, nullptr, [&] { passed.push_back(time()); });
  player->play();
  ASSERT_TRUE(waitUntil([&] { return first > 3 && second > 3 && third > 3; }));
  released.reset();
  player->removeTimeObserver(removed);
  end.reset();
  first = second = third = 0;
  ASSERT_TRUE(waitUntil([&] { return time() > 1.0; })) << "no boundary stops anything by itself";
  ASSERT_EQ(passed.size(), 2U);
  EXPECT_NEAR(passed[0], 0.4, 0.01);
  EXPECT_NEAR(passed[1], 0.7, 0.01);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 0);
  EXPECT_GT(third, 0);
  EXPECT_EQ(boundary, 0);
  player.reset();
  third = 0;
  runFor(0.2);
  EXPECT_EQ(third, 0);
  EXPECT_EQ(CMTimeGetSeconds(item->currentTime()), 0);
}

TEST_F(Playback, ObserverMayDropItsOwnTokenAndPlayer) {
  ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4"));
  int calls = 0;
  Strong<NSObject> token = player->addPeriodicTimeObserverForInterval_queue_usingBlock(
      CMTimeMakeWithSeconds(0.01, 1000), nullptr, [&](CMTime) {
        if (++calls == 5) {
          player.reset();
          token.reset();
        }
      });
  player->play();
  ASSERT_TRUE(waitUntil([&] { return !player; }));
  runFor(0.1);
  EXPECT_EQ(calls, 5);
}

TEST_F(Playback, EndIsToldOnceAndTheLastPictureStays) {
  ASSERT_NO_FATAL_FAILURE(openReady("bframes60.mp4"));
  listen();
  seek(19.5);
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends > 0; }));
  EXPECT_EQ(listener->lastSender, item);
  EXPECT_EQ(player->rate(), 0);
  EXPECT_TRUE(shows(1199));
  EXPECT_NEAR(time(), 20.0, 0.05);
  runFor(0.5);
  EXPECT_EQ(listener->ends, 1);
  EXPECT_EQ(shown(), 1199);
  // And again from the beginning, as the editor does it; a range that reaches up to the end is passed there.
  seek(0);
  player->play();
  ASSERT_TRUE(waitUntil([&] { return time() > 0.3; }));
  EXPECT_TRUE(waitUntil([&] { return shown() < 600; }, 3));
  player->pause();
  int calls = 0;
  const auto token =
      player->addBoundaryTimeObserverForTimes_queue_usingBlock({item->loadedTimeRanges()[0].duration}, nullptr, [&] {
        ++calls;
        player->pause();
      });
  seek(19.9);
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends == 2; }));
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(shows(1199));
}

TEST_F(Playback, EndComesAfterALongLastPicture) {
  // The first two seconds of the recording with gaps: its last picture lasts three seconds more, without sound.
  const std::string path = std::string(ZEVANTI_TEST_DATA) + "/long_last_picture.mp4";
  const std::string command =
      "ffmpeg -nostdin -v error -y -i '" + recordings::path("vfr.mp4") + "' -t 1.99 -an -c copy '" + path + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  openPath(path);
  listen();
  ASSERT_TRUE(waitUntil([&] { return item->status() == AVPlayerItemStatus::ReadyToPlay; }));
  const double duration = CMTimeGetSeconds(item->loadedTimeRanges()[0].duration);
  ASSERT_GT(duration, 4);
  seek(1.5);
  const auto began = std::chrono::steady_clock::now();
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends > 0; }));
  EXPECT_GT(secondsSince(began), duration - 1.5 - 0.02) << "by the core's own reckoning it ends with its last picture";
  EXPECT_LT(secondsSince(began), duration - 1.5 + 2);
  EXPECT_TRUE(shows(58));
  EXPECT_EQ(listener->changes, 1) << "it became ready once";
}

TEST_F(Playback, FileThatIsCutOffEndsWithItsLastPicture) {
  ASSERT_NO_FATAL_FAILURE(openReady("damaged.mp4"));
  listen();
  ASSERT_NEAR(CMTimeGetSeconds(item->loadedTimeRanges()[0].duration), 60, 0.05) << "what its header says";
  const std::vector<double> readable = pictureTimes("damaged.mp4");
  ASSERT_FALSE(readable.empty());
  const double last = readable.back();
  ASSERT_GT(last, 20);
  ASSERT_LT(last, 40);
  const int lastNumber = static_cast<int>(std::lround(last * 30));
  const auto showsTheLast = [&] {  // of which a part may be missing
    return waitUntil([&] { return shown() == lastNumber || shown() == lastNumber - 1; }, 3);
  };

  seek(last - 1);
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends == 1; }));
  EXPECT_EQ(player->rate(), 0);
  EXPECT_GT(time(), last - 0.1);
  EXPECT_LT(time(), last + 1) << "not at the end that the header promises";
  EXPECT_TRUE(showsTheLast()) << shown().value_or(-1);

  // A range that reaches beyond it ends in the same way.
  int calls = 0;
  const auto token = player->addBoundaryTimeObserverForTimes_queue_usingBlock({CMTimeMakeWithSeconds(50, 600)}, nullptr,
                                                                              [&] { ++calls; });
  seek(last - 0.5);
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends == 2; }));
  EXPECT_LT(time(), last + 1);
  EXPECT_EQ(calls, 0);

  // Where there is nothing, the last picture stands for it.
  seek(40);
  ASSERT_TRUE(waitForSeek());
  EXPECT_TRUE(showsTheLast()) << shown().value_or(-1);
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends == 3; }));
}

TEST_F(Playback, StopsAtABoundaryAndShowsNothingBehindIt) {
  struct Case {
    const char* name;
    double start, end;
    int last;
  };
  for (const Case& c : {Case{"basic.mp4", 1.5, 2.5, 74}, Case{"bframes60.mp4", 3.0, 3.7, 221},
                        Case{"video_only.mp4", 1.0, 1.51, 45}, Case{"vfr.mp4", 3.0, 3.6, 58}}) {
    SCOPED_TRACE(c.name);
    ASSERT_NO_FATAL_FAILURE(openReady(c.name));
    listen();
    player->videoOutput()->setFrameHandler(nullptr);
    int highest = 0, calls = 0, attempts = 0;
    double calledAt = 0, played = 0, remained = 0;
    std::chrono::steady_clock::time_point called;
    Strong<NSObject> token;
    // A machine that stalls leaves the core without sound for a moment, and it makes up for that at the end.
    do {
      highest = calls = 0;
      seek(0.2);
      ASSERT_TRUE(waitForSeek());
      seek(c.start);
      token = player->addBoundaryTimeObserverForTimes_queue_usingBlock(
          {CMTimeMakeWithSeconds(c.end, player->currentTime().timescale)}, dispatch_get_main_queue(), [&] {
            EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
            ++calls;
            calledAt = time();
            called = std::chrono::steady_clock::now();
            player->pause();
          });
      const auto began = std::chrono::steady_clock::now();
      player->play();
      ASSERT_TRUE(waitUntil([&] { return time() > c.start + 0.1; }));
      const auto running = std::chrono::steady_clock::now();
      ASSERT_TRUE(waitUntil([&] {
        highest = std::max(highest, shown().value_or(0));
        return calls > 0;
      }));
      EXPECT_NEAR(calledAt, c.end, 0.001);
      EXPECT_TRUE(shows(c.last));
      played = std::chrono::duration<double>(called - began).count();
      remained = std::chrono::duration<double>(called - running).count();
      // Not only when the next picture comes, which in the recording with gaps would be 1.4 s later.
    } while (++attempts < 8 && (played < c.end - c.start - 0.02 || remained > c.end - c.start + 0.7));
    EXPECT_GT(played, c.end - c.start - 0.02);
    EXPECT_LT(remained, c.end - c.start + 0.7);
    runFor(0.3);
    highest = std::max(highest, shown().value_or(0));
    EXPECT_EQ(highest, c.last);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(listener->ends, 0);
    EXPECT_EQ(player->rate(), 0);
    // A seek past it is not a passing; and what lies behind it can be shown again.
    seek(c.end + 4);
    ASSERT_TRUE(waitForSeek());
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(waitUntil([&] { return shown() > c.last; }, 3));
    player.reset();
  }
}

TEST_F(Playback, PausedTakesNoProcessorTime) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer has a thread of its own that wakes up now and then";
#endif
  ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4"));
  const auto token = player->addPeriodicTimeObserverForInterval_queue_usingBlock(CMTimeMakeWithSeconds(0.033, 1000),
                                                                                 nullptr, [](CMTime) {});
  player->play();
  runFor(0.5);
  player->pause();
  seek(3.21);
  ASSERT_TRUE(waitForSeek());
  // The demuxer takes stock a second after the last read, and the queues' idle threads end after five.
  std::map<std::string, long> before, after;
  double cpu = 0;
  for (int attempt = 0; attempt < 6; ++attempt) {
    before = wakeUps();
    cpu = cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    cpu = cpuSeconds() - cpu;
    after = wakeUps();
    if (before == after && cpu < 0.003) {
      break;
    }
  }
  EXPECT_EQ(after, before);
  EXPECT_LT(cpu, 0.003);
}

TEST_F(Playback, SoundAlonePlaysByItsClockAndGivesNoPictures) {
  ASSERT_NO_FATAL_FAILURE(openReady("audio_only.mp4"));
  listen();
  player->play();
  ASSERT_TRUE(waitUntil([&] { return time() > 0.2; }));
  EXPECT_TRUE(succeedsOnce([&]() -> std::string {
    const Run run = playFor(0.7);
    return run.isInRealTime() ? std::string() : run.inWords();
  }));
  EXPECT_EQ(player->videoOutput()->copyFrame(), nullptr);
  player->pause();
  seek(9.7);
  ASSERT_TRUE(waitForSeek());
  player->play();
  ASSERT_TRUE(waitUntil([&] { return listener->ends == 1; }));
}

TEST_F(Playback, PictureFollowsTheTargetSizeWhilePaused) {
  ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4", 300, 300));
  CGImageRef image = player->videoOutput()->copyFrame();
  EXPECT_EQ(image->width, 300);
  EXPECT_EQ(image->height, 169);
  int calls = 0;
  player->videoOutput()->setFrameHandler([&] { ++calls; });
  player->videoOutput()->setTargetSize(1000, 500);
  ASSERT_TRUE(waitUntil([&] { return player->videoOutput()->copyFrame()->height == 500; }));
  EXPECT_EQ(shown(), 0);
  EXPECT_EQ(image->width, 300) << "a picture that was handed out does not change";
  EXPECT_EQ(frame_code::read(*image), 0);
  player->videoOutput()->setFrameHandler(nullptr);
  EXPECT_GE(calls, 1);
}

TEST_F(Playback, PlayersComeAndGo) {
  AVPlayer::prewarm();
  for (int i = 0; i < 12; ++i) {
    open("basic.mp4");
    if (i % 3 == 0) {
      seek(5);
    }
    if (i % 2 == 0) {
      player->play();
    }
    runFor(i * 0.01);
  }
  ASSERT_TRUE(waitUntil([&] { return item->status() == AVPlayerItemStatus::ReadyToPlay; }));
  EXPECT_TRUE(waitUntil([&] { return shown().has_value(); }));
}
