#include "movie_tool/TrimCommand.h"

#include "movie_tool/MovieTime.h"
#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/SignalWatcher.h"

#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>

namespace {

namespace fs = std::filesystem;

const char* const kUsageLine = "Usage: zevanti trim MOVIE [--from TIME] [--to TIME] [-o FILE] [--force]\n";
const char* const kHelp =
    R"(Save a part of MOVIE as a file, exact at both ends and without loss. MOVIE itself
is never changed.

      --from TIME         where the part begins (default: the beginning)
      --to TIME           where it ends (default: the end)
                          TIME is in seconds or h:mm:ss, as in 12.5 or 1:02:03.250
  -o, --output FILE       the new file (default: "NAME trimmed.EXT" beside MOVIE)
      --force             replace FILE if it is there
      --help              show this help

Prints the new file, its length, and from when to when it was taken.

Exit status: 0 when the file is on disk, 1 when something failed, 2 for wrong
options, 128+N after signal N. A file that could not be written whole is not
left behind.
)";

constexpr double kProgressAfter = 0.5;  // seconds
constexpr double kProgressStep = 0.1;   // seconds

/// What the person asked for.
struct Request {
  std::string movie, output;
  std::optional<CMTime> from, to;
  bool force = false;
  bool help = false;
};

bool parseTime(const char* option, const std::string& value, std::optional<CMTime>& time, std::string& problem) {
  time = movie_time::parse(value);
  if (!time)
    problem = std::string(option) + " takes seconds or h:mm:ss, such as 12.5 or 1:02:03.250, not '" + value + "'";
  return time.has_value();
}

/// False, and what is wrong in a line, on a mistake.
bool parse(int argc, char* argv[], Request& request, std::string& problem) {
  const option options[] = {{"from", required_argument, nullptr, 'f'},   {"to", required_argument, nullptr, 't'},
                            {"output", required_argument, nullptr, 'o'}, {"force", no_argument, nullptr, 'F'},
                            {"help", no_argument, nullptr, 'h'},         {nullptr, 0, nullptr, 0}};
  optind = 0;
  opterr = 0;
  for (int found; (found = getopt_long(argc, argv, ":o:", options, nullptr)) != -1;) {
    const std::string word = argv[optind - 1];
    switch (found) {
      case 'f':
        if (!parseTime("--from", optarg, request.from, problem)) return false;
        break;
      case 't':
        if (!parseTime("--to", optarg, request.to, problem)) return false;
        break;
      case 'o':
        request.output = optarg;
        if (request.output.empty()) problem = "--output takes a file";
        if (request.output.empty()) return false;
        break;
      case 'F':
        request.force = true;
        break;
      case 'h':
        request.help = true;
        return true;
      default:
        problem = found == ':' ? "option '" + word + "' takes a value" : "unknown option '" + word + "'";
        return false;
    }
  }
  if (optind >= argc) problem = "no movie given";
  if (optind + 1 < argc) problem = std::string("one movie at a time: '") + argv[optind + 1] + "' is too many";
  if (problem.empty() && !request.from && !request.to) problem = "nothing to trim: give --from, --to or both";
  if (problem.empty() && request.to && CMTimeCompare(request.from.value_or(kCMTimeZero), *request.to) >= 0)
    problem = "--to must be later than --from";
  if (problem.empty()) request.movie = argv[optind];
  return problem.empty();
}

/// “NAME trimmed.EXT” beside the movie.
std::string defaultOutput(const std::string& movie) {
  const fs::path path(movie);
  std::string lower = path.extension().string();
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
  const bool kept = lower == ".mp4" || lower == ".m4v" || lower == ".mov";
  const std::string name = path.stem().string() + " trimmed" + (kept ? path.extension().string() : ".mp4");
  return (path.parent_path() / name).string();
}

/// Why the new file can't be put where it is wanted; empty when it can.
std::string objection(const Request& request) {
  struct stat there {
  }, movie{};
  if (stat(request.output.c_str(), &there) != 0 && lstat(request.output.c_str(), &there) != 0) return "";
  const std::string name = "'" + request.output + "' ";
  if (stat(request.movie.c_str(), &movie) == 0 && there.st_dev == movie.st_dev && there.st_ino == movie.st_ino)
    return name + "is the movie itself; give another file with -o";
  if (S_ISDIR(there.st_mode)) return name + "is a folder; give a file with -o";
  if (!request.force) return name + "is there already; give another file with -o, or --force to replace it";
  if (!S_ISREG(there.st_mode) && !S_ISLNK(there.st_mode)) return name + "is not a file and can't be replaced";
  return "";
}

/// A line on the terminal that comes when the export takes its time, and goes.
class ProgressLine {
 public:
  ~ProgressLine() {
    if (shown_ >= 0) std::fputs("\r\033[K", stderr);
  }
  void show(float progress) {
    using namespace std::chrono;
    if (!terminal_ || duration<double>(steady_clock::now() - start_).count() < kProgressAfter) return;
    const int percent = int(progress * 100);
    if (percent == shown_) return;
    shown_ = percent;
    std::fprintf(stderr, "\rTrimming: %d %%", percent);
    std::fflush(stderr);
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  const bool terminal_ = isatty(STDERR_FILENO) == 1;
  int shown_ = -1;
};

int fail(const std::string& what) {
  std::fprintf(stderr, "zevanti: %s\n", what.c_str());
  return 1;
}

int run(const Request& request) {
  if (access(request.movie.c_str(), R_OK) != 0)
    return fail("can't open '" + request.movie + "': " + std::strerror(errno));
  if (const std::string problem = objection(request); !problem.empty()) return fail(problem);

  dispatch_main::attachToCurrentThread([] {});
  const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(fs::absolute(request.movie).string()),
                                                     AVURLAssetLoadsOnDemand);
  const auto session = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetPassthrough);
  session->setOutputURL(NSURL::fileURLWithPath(fs::absolute(request.output).string()));
  session->setOutputFileType(AVFileTypeM4V);
  session->setReplacesExistingFile(request.force);
  constexpr CMTime kForever{1'000'000'000, 1};
  const CMTime from = request.from.value_or(kCMTimeZero);
  session->setTimeRange(CMTimeRangeMake(from, CMTimeSubtract(request.to.value_or(kForever), from)));

  // A limit on files is an error like others.
  std::signal(SIGXFSZ, SIG_IGN);
  int signal = 0;
  SignalWatcher::watch({SIGINT, SIGTERM, SIGHUP}, [&](int number) {
    signal = number;
    session->cancelExport();
  });
  bool done = false;
  session->exportAsynchronouslyWithCompletionHandler(
      [&done] { dispatch_async(dispatch_get_main_queue(), [&done] { done = true; }); });
  {
    ProgressLine line;
    while (!dispatch_main::runUntil([&done] { return done; }, kProgressStep)) line.show(session->progress());
  }
  if (session->status() == AVAssetExportSessionStatus::Cancelled) return 128 + signal;
  if (session->status() != AVAssetExportSessionStatus::Completed) return fail(session->error()->localizedDescription());

  const CMTimeRange taken = session->exportedTimeRange();
  const double start = CMTimeGetSeconds(taken.start), length = CMTimeGetSeconds(taken.duration);
  const int printed =
      std::printf("%s: %.3f s, from %.3f to %.3f\n", request.output.c_str(), length, start, start + length);
  if (printed > 0 && std::fflush(stdout) == 0) return 0;
  std::perror("zevanti: can't write to standard output");
  return 1;
}

}  // namespace

int trimCommand(int argc, char* argv[]) {
  Request request;
  std::string problem;
  if (!parse(argc, argv, request, problem)) {
    std::fprintf(stderr, "zevanti trim: %s\n%s", problem.c_str(), kUsageLine);
    return 2;
  }
  if (request.help) {
    std::fputs(kUsageLine, stdout);
    return std::fputs(kHelp, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : 1;
  }
  if (request.output.empty()) request.output = defaultOutput(request.movie);
  return run(request);
}
