// Measures the player against the mpv command on the same recording, and prints the ratios.
//
//   bench_player [--movie FILE] [--hour FILE] [--size WxH]
//
// Without --movie it takes minute.mp4 and hour.mp4 of the build folder's tests/data (make_recordings.sh --bench).

#include "bench/Report.h"
#include "platform/AVFoundation/AVPlayer.h"
#include "platform/Dispatch/dispatch.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double percentile(std::vector<double> values, double part) {
  if (values.empty()) {
    return NAN;
  }
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1, static_cast<std::size_t>(part * static_cast<double>(values.size())))];
}

double processorSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) {
      return std::stod(line.substr(6)) / 1024;
    }
  }
  return NAN;
}

struct Size {
  int width = 1280;
  int height = 720;
};

/// One player with what the measurements watch.
class Subject {
 public:
  Subject(const std::string& path, Size size) {
    item_ = AVPlayerItem::initWithAsset(AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(path), nullptr));
    player_ = AVPlayer::initWithPlayerItem(item_);
    player_->videoOutput()->setTargetSize(size.width, size.height);
    player_->videoOutput()->setFrameHandler([this] {
      player_->videoOutput()->copyFrame();  // what nobody fetches counts as dropped
      const std::lock_guard lock(mutex_);
      ++frames_;
      lastFrame_ = Clock::now();
    });
  }
  ~Subject() { player_->videoOutput()->setFrameHandler(nullptr); }

  AVPlayer& player() { return *player_; }
  long frames() const {
    const std::lock_guard lock(mutex_);
    return frames_;
  }
  Clock::time_point lastFrame() const {
    const std::lock_guard lock(mutex_);
    return lastFrame_;
  }
  double duration() const { return CMTimeGetSeconds(item_->loadedTimeRanges().front().duration); }
  bool waitForFrame(double seconds = 10) {
    return dispatch_main::runUntil([this] { return frames() > 0; }, seconds);
  }
  bool waitUntilReady() {
    return waitForFrame() &&
           dispatch_main::runUntil([this] { return item_->status() == AVPlayerItemStatus::ReadyToPlay; }, 10);
  }
  void seek(double seconds) { player_->seekToTime(CMTimeMakeWithSeconds(seconds, player_->currentTime().timescale)); }

 private:
  Strong<AVPlayerItem> item_;
  Strong<AVPlayer> player_;
  mutable std::mutex mutex_;
  long frames_ = 0;
  Clock::time_point lastFrame_;
};

/// Runs in a process of its own: nothing is warm. Returns what it prints, milliseconds.
double inFreshProcess(const std::function<double()>& measure) {
  int ends[2];
  if (pipe(ends) != 0) {
    return NAN;
  }
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    const double result = measure();
    const bool written = write(ends[1], &result, sizeof result) == sizeof result;
    _exit(written ? 0 : 1);
  }
  close(ends[1]);
  double result = NAN;
  if (read(ends[0], &result, sizeof result) != sizeof result) {
    result = NAN;
  }
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return result;
}

double firstFrame(const std::string& path, Size size, bool prewarm) {
  return inFreshProcess([&] {
    dispatch_main::attachToCurrentThread([] {});
    if (prewarm) {
      AVPlayer::prewarm();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const auto start = Clock::now();
    Subject subject(path, size);
    return subject.waitForFrame() ? since(start) : NAN;
  });
}

struct Run {
  double milliseconds = NAN;
  double processor = NAN;
};

/// The mpv command with the options that make it do the same work.
Run runMpv(const std::string& path, const std::string& options) {
  const double before = processorSeconds(RUSAGE_CHILDREN);
  const auto start = Clock::now();
  const std::string command = "mpv --no-config --really-quiet --ao=null --no-input-terminal --osc=no " + options +
                              " '" + path + "' >/dev/null 2>&1";
  const int status = std::system(command.c_str());
  if (status != 0) {
    return {};
  }
  return {since(start), processorSeconds(RUSAGE_CHILDREN) - before};
}

void measureStart(Report& report, const std::string& path, Size size) {
  constexpr int rounds = 7;
  std::vector<double> cold, warm, mpv;
  const std::string geometry = "--geometry=" + std::to_string(size.width) + "x" + std::to_string(size.height);
  const bool display = std::getenv("DISPLAY") != nullptr;
  for (int i = 0; i < rounds; ++i) {
    cold.push_back(firstFrame(path, size, false));
    warm.push_back(firstFrame(path, size, true));
    // mpv shows one picture and ends; without a display it shows it to nobody, which is a little less work.
    mpv.push_back(runMpv(path, (display ? "--vo=x11 " : "--vo=null ") + geometry + " --frames=1").milliseconds);
  }
  // Theirs is from start to end: the command ends with its first picture.
  report.figure("start to first picture, cold", "ms", percentile(cold, 0.5), percentile(mpv, 0.5), {});
  report.figure("start to first picture, prewarmed", "ms", percentile(warm, 0.5), percentile(mpv, 0.5), {});
}

/// A hand that drags: a new target each 16 ms. Latency is counted from the first target that a picture on screen does
/// not answer to the next picture.
void measureDrag(Report& report, const std::string& path, Size size, double secondsPerStep, const std::string& name) {
  Subject subject(path, size);
  if (!subject.waitUntilReady()) {
    report.figure("drag, " + name, "ms", NAN, {}, {});
    return;
  }
  dispatch_main::runUntil([] { return false; }, 0.3);
  std::vector<double> latencies;
  std::vector<double> gaps;
  const double duration = subject.duration();
  std::optional<Clock::time_point> asked;
  std::optional<Clock::time_point> previous;
  long seen = subject.frames();
  const auto look = [&] {
    const long now = subject.frames();
    if (now != seen) {
      seen = now;
      const auto at = subject.lastFrame();
      if (asked) {
        latencies.push_back(std::chrono::duration<double, std::milli>(at - *asked).count());
        asked.reset();
      }
      if (previous) {
        gaps.push_back(std::chrono::duration<double, std::milli>(at - *previous).count());
      }
      previous = at;
    }
    return false;
  };
  constexpr int steps = 300;
  double target = 1;
  auto due = Clock::now();
  for (int i = 0; i < steps; ++i) {
    target = std::fmod(target + secondsPerStep, duration - 1);
    if (!asked) {
      asked = Clock::now();
    }
    subject.seek(target);
    due += std::chrono::milliseconds(16);
    while (Clock::now() < due) {
      dispatch_main::runUntil([&] { return look() || Clock::now() >= due; }, 0.016);
    }
  }
  const auto last = Clock::now();
  dispatch_main::runUntil([&] { return look() || !subject.player().isSeeking(); }, 10);
  report.figure("drag, " + name + ", median", "ms", percentile(latencies, 0.5), {}, 20);
  report.figure("drag, " + name + ", 95th percentile", "ms", percentile(latencies, 0.95), {}, 40);
  report.figure("drag, " + name + ", end to exact picture", "ms", since(last), {}, {});
}

/// Single jumps, each with time to settle: to the first new picture and to the exact one.
void measureJumps(Report& report, const std::string& path, Size size) {
  Subject subject(path, size);
  if (!subject.waitUntilReady()) {
    report.figure("jumps", "ms", NAN, {}, {});
    return;
  }
  dispatch_main::runUntil([] { return false; }, 0.3);
  std::vector<double> first, exact;
  const double duration = subject.duration();
  double target = 0;
  for (int i = 0; i < 40; ++i) {
    target = std::fmod(target + 0.37 * duration + 0.123, duration - 1);
    const long frames = subject.frames();
    const auto start = Clock::now();
    subject.seek(target);
    dispatch_main::runUntil([&] { return subject.frames() != frames; }, 5);
    first.push_back(std::chrono::duration<double, std::milli>(subject.lastFrame() - start).count());
    dispatch_main::runUntil([&] { return !subject.player().isSeeking(); }, 5);
    exact.push_back(since(start));
    dispatch_main::runUntil([] { return false; }, 0.02);
  }
  report.figure("jump to first new picture, median", "ms", percentile(first, 0.5), {}, {});
  report.figure("jump to exact picture, median", "ms", percentile(exact, 0.5), {}, {});
}

void measurePlayback(Report& report, const std::string& path, Size size) {
  constexpr double seconds = 8;
  Subject subject(path, size);
  if (!subject.waitUntilReady()) {
    report.figure("playback", "%", NAN, {}, {});
    return;
  }
  subject.player().play();
  dispatch_main::runUntil([&] { return CMTimeGetSeconds(subject.player().currentTime()) > 1; }, 5);
  const double before = processorSeconds(RUSAGE_SELF);
  dispatch_main::runUntil([] { return false; }, seconds);
  const double ours = (processorSeconds(RUSAGE_SELF) - before) / seconds;
  const long dropped = subject.player().droppedFrameCount();
  subject.player().pause();

  const bool display = std::getenv("DISPLAY") != nullptr;
  const std::string scale = "--sws-scaler=bilinear --zimg-scaler=bilinear";
  const std::string options =
      display ? "--vo=x11 --geometry=" + std::to_string(size.width) + "x" + std::to_string(size.height) + " " + scale
              : "--vo=null --vf=scale=" + std::to_string(size.width) + ":" + std::to_string(size.height) +
                    ",format=bgr0 " + scale;
  const Run mpv = runMpv(path, options + " --start=1 --length=8");
  const Run start = runMpv(path, options + " --start=1 --frames=1");
  const double theirs = (mpv.processor - start.processor) / seconds;
  report.ratio("processor time of playback", "%", 100 * ours, 100 * theirs, 1.5);
  report.figure("pictures dropped in playback", "of 480", static_cast<double>(dropped), {}, 0);

  dispatch_main::runUntil([] { return false; }, 2);
  const double pausedBefore = processorSeconds(RUSAGE_SELF);
  std::this_thread::sleep_for(std::chrono::seconds(3));
  report.figure("processor time of a pause", "%", 100 * (processorSeconds(RUSAGE_SELF) - pausedBefore) / 3, {}, 0);
}

double memoryWhilePlaying(const std::string& path, Size size) {
  return inFreshProcess([&] {
    dispatch_main::attachToCurrentThread([] {});
    Subject subject(path, size);
    if (!subject.waitUntilReady()) {
      return double{NAN};
    }
    for (const double part : {0.3, 0.9, 0.5}) {
      subject.seek(part * subject.duration());
      dispatch_main::runUntil([&] { return !subject.player().isSeeking(); }, 5);
    }
    subject.player().play();
    dispatch_main::runUntil([] { return false; }, 2);
    return residentMegabytes();
  });
}

}  // namespace

int main(int argc, char** argv) {
  std::string minute, hour;
  Size size;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--movie") == 0) {
      minute = argv[i + 1];
    } else if (std::strcmp(argv[i], "--hour") == 0) {
      hour = argv[i + 1];
    } else if (std::strcmp(argv[i], "--size") != 0 ||
               std::sscanf(argv[i + 1], "%dx%d", &size.width, &size.height) != 2) {
      std::fprintf(stderr, "usage: bench_player [--movie FILE] [--hour FILE] [--size WxH]\n");
      return 2;
    }
  }
  if (minute.empty()) {
    // The program lies in the build folder, the recordings beside it.
    const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path() / "tests/data";
    minute = folder / "minute.mp4";
    hour = folder / "hour.mp4";
    if (!std::filesystem::exists(minute) || !std::filesystem::exists(hour)) {
      std::fprintf(stderr, "Make the recordings first: tests/data/make_recordings.sh %s --bench\n", folder.c_str());
      return 1;
    }
  }
  AVPlayer::Configuration configuration;
  configuration.audio = false;
  AVPlayer::setConfiguration(configuration);

  std::printf("%s at %dx%d\n", minute.c_str(), size.width, size.height);
  Report report(std::getenv("DISPLAY") ? "mpv --vo=x11" : "mpv --vo=null");
  measureStart(report, minute, size);  // first: it forks, and a fork copies no threads
  report.figure("memory while playing, minute", "MB", memoryWhilePlaying(minute, size), {}, {});
  if (!hour.empty()) {
    report.figure("memory while playing, hour", "MB", memoryWhilePlaying(hour, size), {}, {});
  }
  dispatch_main::attachToCurrentThread([] {});
  measureDrag(report, minute, size, 2.3, "a group each step");
  measureDrag(report, minute, size, 0.35, "across the movie");
  measureDrag(report, minute, size, 0.03, "slow");
  measureJumps(report, minute, size);
  if (!hour.empty()) {
    measureDrag(report, hour, size, 20, "an hour's movie");
  }
  measurePlayback(report, minute, size);
  dispatch_main::waitForBackgroundWork(10);
  return report.finish();
}
