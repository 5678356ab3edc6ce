#include "MovieTrial.h"

#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/AVFoundation/AVAssetImageGenerator.h"
#include "platform/AVFoundation/AVPlayer.h"
#include "platform/Dispatch/dispatch.h"

#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <new>
#include <thread>

namespace fs = std::filesystem;

namespace {

[[maybe_unused]] constexpr double kLongest = 5;             // seconds of computing
constexpr double kLongestWait = 20;                         // seconds on the clock in which next to nothing is computed
constexpr double kNextToNothing = 0.2;                      // seconds of computing
constexpr unsigned kLongestTrial = 240;                     // seconds on the clock, on a machine that does much else
[[maybe_unused]] constexpr double kMegabytes = 1000;        // in use at one time
[[maybe_unused]] constexpr rlim_t kMemory = 4'000'000'000;  // bytes, for the machine's sake
constexpr const char* kTrimmed = "trimmed.m4v";
constexpr const char* kOutside = "outside";

/// How far the process has come, for who looks at it when it has ended.
struct Progress {
  char stage[64], slowest[64];
  double entered, longest;  ///< seconds of computing: when the stage began, and what the slowest one took
  bool opened, shown, trimmed, inVain;
};

double computed() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

void enter(Progress& progress, const char* stage) {
  const double now = computed();
  if (now - progress.entered > progress.longest) {
    progress.longest = now - progress.entered;
    std::memcpy(progress.slowest, progress.stage, sizeof progress.stage);
  }
  progress.entered = now;
  std::strncpy(progress.stage, stage, sizeof progress.stage - 1);
}

/// Waits for what has to come. When it does not, this process ends.
void await(Progress& progress, const std::function<bool(double seconds)>& wait) {
  for (double before = computed(); !wait(kLongestWait); before = computed()) {
    if (computed() - before > kNextToNothing) continue;
    progress.inVain = true;
    _exit(0);
  }
}

void awaitState(Progress& progress, const std::function<bool()>& condition) {
  await(progress, [&](double seconds) { return dispatch_main::runUntil(condition, seconds); });
}

void open(Progress& progress, const fs::path& movie, const fs::path& output) {
  dispatch_main::attachToCurrentThread([] {});
  AVPlayer::setConfiguration({.audio = false, .openGL = false});

  enter(progress, "opening");
  const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(movie), nullptr);
  const auto item = AVPlayerItem::initWithAsset(asset);
  auto player = AVPlayer::initWithPlayerItem(item);
  player->videoOutput()->setTargetSize(375, 667);
  awaitState(progress, [&] { return item->status() != AVPlayerItemStatus::Unknown; });
  progress.opened = item->status() == AVPlayerItemStatus::ReadyToPlay;
  const double length = CMTimeGetSeconds(asset->duration());
  // Zero, no number and a century are lengths to be reckoned with.
  const double end = std::isfinite(length) ? std::clamp(length, 0.0, 4e9) : 0;

  enter(progress, "playing");
  player->play();
  dispatch_main::runUntil([&] { return player->videoOutput()->copyFrame() != nullptr; }, 0.3);
  progress.shown = player->videoOutput()->copyFrame() != nullptr;
  player->pause();

  enter(progress, "scrubbing");
  for (const double part : {0.9, 0.1, 0.5, 1.0, 0.0}) {
    player->seekToTime(CMTimeMakeWithSeconds(part * end, 1'000'000));
    const auto isThere = [&] { return !player->isSeeking(); };
    progress.opened ? awaitState(progress, isThere) : void(dispatch_main::runUntil(isThere, 0.1));
  }

  progress.shown = progress.shown || player->videoOutput()->copyFrame() != nullptr;

  enter(progress, "thumbnails");
  auto generator = AVAssetImageGenerator::initWithAsset(asset);
  generator->setMaximumSize({128, 128});
  std::vector<CMTime> times;
  for (const double part : {0.0, 0.3, 0.6, 1.0}) times.push_back(CMTimeMakeWithSeconds(part * end, 1'000'000));
  std::atomic<std::size_t> made{0};
  generator->generateCGImagesAsynchronouslyForTimes_completionHandler(
      times, [&](CMTime, const CGImageRef&, CMTime, const NSErrorPtr&) { ++made; });
  awaitState(progress, [&] { return made == times.size(); });

  enter(progress, "trimming");
  auto session = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetPassthrough);
  session->setOutputURL(NSURL::fileURLWithPath(output));
  session->setOutputFileType(AVFileTypeM4V);
  const CMTime from = CMTimeMakeWithSeconds(end * 0.35, 1'000'000);
  session->setTimeRange(CMTimeRangeMake(from, CMTimeMakeWithSeconds(end * 0.4, 1'000'000)));
  std::atomic<bool> finished{false};
  session->exportAsynchronouslyWithCompletionHandler([&] { finished = true; });
  awaitState(progress, [&] { return finished.load(); });
  progress.trimmed = session->status() == AVAssetExportSessionStatus::Completed;

  enter(progress, "closing");
  player.reset();
  generator.reset();
  session.reset();
  await(progress, dispatch_main::waitForBackgroundWork);
  enter(progress, "ended");
}

[[noreturn]] void tryMovie(Progress& progress, const fs::path& movie, const fs::path& folder, bool examined) {
  const fs::path outside = folder / kOutside;
  if (chdir(outside.c_str()) != 0 || !std::freopen("/dev/null", "w", stderr)) _exit(3);  // the libraries' remarks
  for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
    setenv(variable, outside.c_str(), 1);
#ifndef ZEVANTI_SANITIZED
  const rlimit memory{kMemory, kMemory};
  setrlimit(RLIMIT_DATA, &memory);
#endif
  alarm(kLongestTrial);
  // What the host lets through is opened.
  enter(progress, "examining");
  const std::string probe = "'" ZEVANTI_BUILD_DIR "/zevanti-probe' '" + movie.string() + "' >/dev/null";
  if (const int status = examined ? std::system(probe.c_str()) : 0; status != 0) {
    const bool crashed = WEXITSTATUS(status) != 1 && WEXITSTATUS(status) != 128 + SIGXCPU;
    if (!crashed) enter(progress, "ended");
    _exit(0);
  }
  open(progress, movie, folder / kTrimmed);
  _exit(0);
}

}  // namespace

std::vector<fs::path> MovieTrial::filesBeside(const fs::path& movie) const {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    if (entry.path().filename() != movie.filename()) files.push_back(entry.path());
  }
  return files;
}

MovieTrial::Result MovieTrial::run(const fs::path& movie, bool examined) const {
  void* const shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Progress& progress = *new (shared) Progress();
  for (const fs::path& other : filesBeside(movie)) fs::remove_all(other);
  fs::create_directories(folder_ / kOutside);

  Result result;
  malloc_trim(0);  // what this process holds counts as its child's
  const pid_t process = fork();
  if (process == 0) tryMovie(progress, movie, folder_, examined);
  int status = 0;
  rusage used{};
  wait4(process, &status, 0, &used);
  result.opened = progress.opened, result.shown = progress.shown, result.trimmed = progress.trimmed;
  result.seconds = progress.longest;
  result.megabytes = static_cast<double>(used.ru_maxrss) / 1000;

  const std::string stage = progress.stage, slowest = progress.slowest;
  const bool inVain = progress.inVain;
  std::vector<fs::path> left = filesBeside(movie);
  std::erase(left, folder_ / kOutside);
  const bool hasTrimmed = std::erase(left, folder_ / kTrimmed) != 0;
  munmap(shared, sizeof(Progress));
  if (WIFSIGNALED(status)) {
    result.fault = std::string(WTERMSIG(status) == SIGALRM ? "hangs" : strsignal(WTERMSIG(status))) + " while " + stage;
  } else if (inVain) {
    result.fault = "waited in vain while " + stage;
  } else if (WEXITSTATUS(status) != 0 || stage != "ended") {
    result.fault = "ended with " + std::to_string(WEXITSTATUS(status)) + " while " + stage;
  } else if (!fs::is_empty(folder_ / kOutside)) {
    result.fault = "wrote " + fs::directory_iterator(folder_ / kOutside)->path().string();
  } else if (!left.empty()) {
    result.fault = "left " + left.front().string();
  } else if (result.trimmed != hasTrimmed) {
    result.fault = result.trimmed ? "trimmed without a file" : "a file is left of a failed trim";
#ifndef ZEVANTI_SANITIZED
  } else if (result.seconds > kLongest) {
    result.fault = "took " + std::to_string(result.seconds) + " s of computing while " + slowest;
  } else if (result.megabytes > kMegabytes) {
    result.fault = "took " + std::to_string(result.megabytes) + " MB";
#endif
  }
  return result;
}
