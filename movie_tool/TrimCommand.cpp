#include "movie_tool/TrimCommand.h"

#include "movie_tool/Message.h"
#include "movie_tool/MovieTime.h"
#include "movie_tool/OutputFile.h"
#include "movie_tool/ProgressLine.h"
#include "movie_tool/TrimOptions.h"
#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSByteCountFormatter.h"
#include "platform/Foundation/ShownText.h"
#include "platform/Foundation/SignalWatcher.h"
#include "support/NSFileManagerZVExtensions.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

using message::fail;
using message::quoted;

namespace {

constexpr double kProgressStep = 0.1;  // seconds

/// The path as it is when the working folder has been removed.
std::string absolute(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.string();
}

/// The exporter's words; for a name that was taken meanwhile those as before, and for a range with nothing in it those
/// of the person who asked, and how long the movie is.
std::string reason(const TrimOptions& options, const std::string& output, const AVURLAsset& asset,
                   const NSError& error) {
  if (error.domain() == NSPOSIXErrorDomain && error.code() == EEXIST) {
    const std::string obstacle = output_file::obstacle(output, options.movie, options.force);
    if (!obstacle.empty()) return obstacle;
  }
  // The length is asked for last: it takes another reading of the movie, which may be what has failed.
  const bool isRange = error.domain() == AVFoundationErrorDomain && error.code() == AVErrorInvalidTimeRange;
  const double length = isRange ? CMTimeGetSeconds(asset.duration()) : 0;
  if (!(length > 0)) return error.localizedDescription();
  const double from = options.from ? CMTimeGetSeconds(*options.from) : 0;
  const double to = std::min(length, options.to ? CMTimeGetSeconds(*options.to) : length);
  constexpr double kShortest = 0.1;  // seconds; a stated length is rarely that of the last sample
  if (to - from < kShortest)
    return quoted(options.movie) + " ends at " + movie_time::clock(length) + ": there is nothing to save from " +
           movie_time::clock(from) + " on";
  return quoted(options.movie) + " holds nothing between " + movie_time::clock(from) + " and " + movie_time::clock(to) +
         ", though it says that it ends at " + movie_time::clock(length) + ": it may have been cut off";
}

/// Why the copy can't be written: too little room where it goes. Empty when there is enough.
std::string lackOfSpace(const std::string& output, const AVAssetExportSession& session) {
  const std::int64_t missing = session.missingSpaceWithReserve(ZVScreenRecorderRequiredFreeSpace);
  if (missing == 0) return "";
  const std::string parent = std::filesystem::path(output).parent_path().string();
  return "there is not enough room in the folder " + quoted(parent.empty() ? "." : parent) + ": " +
         NSByteCountFormatter::stringFromByteCount(missing) + " more are needed (" + std::to_string(missing) +
         " bytes), as " + NSByteCountFormatter::stringFromByteCount(ZVScreenRecorderRequiredFreeSpace) +
         " of its disk stay free; make room, or give another file with -o";
}

/// One line on standard error about what the new file has no place for.
void reportLeftOut(const std::vector<std::string>& tracks) {
  std::string list;
  for (const std::string& track : tracks) list += (list.empty() ? "" : ", ") + track;
  if (!list.empty()) message::fail("left out, as an MP4 file can't hold it: " + list);
}

int report(const std::string& output, CMTimeRange taken) {
  const double start = CMTimeGetSeconds(taken.start), length = CMTimeGetSeconds(taken.duration);
  const int printed =
      std::printf("%s: %.3f s, from %.3f to %.3f\n", printableText(output).c_str(), length, start, start + length);
  if (printed > 0 && std::fflush(stdout) == 0) return 0;
  return fail(quoted(output) + " is saved, but standard output can't be written to: " + std::strerror(errno));
}

int run(const TrimOptions& options) {
  NSErrorPtr error;
  std::string output = options.output;
  {
    const SourceFile source = SourceFile::open(options.movie, &error);
    if (!source) return fail(error->localizedDescription());
    if (output.empty()) output = output_file::defaultPath(options.movie, source);
    std::string problem = output_file::wrongEnding(output, options.movie, source);
    if (problem.empty()) problem = output_file::obstacle(output, options.movie, options.force);
    if (!problem.empty()) return fail(problem);
  }

  dispatch_main::attachToCurrentThread([] {});
  const auto asset =
      AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(absolute(options.movie)), AVURLAssetLoadsOnDemand);
  const auto session = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetPassthrough);
  session->setOutputURL(NSURL::fileURLWithPath(absolute(output)));
  session->setOutputFileType(AVFileTypeM4V);
  session->setReplacesExistingFile(options.force);
  constexpr CMTime kForever{1'000'000'000, 1};
  const CMTime from = options.from.value_or(kCMTimeZero);
  session->setTimeRange(CMTimeRangeMake(from, CMTimeSubtract(options.to.value_or(kForever), from)));

  if (const std::string problem = lackOfSpace(output, *session); !problem.empty()) return fail(problem);

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
  switch (session->status()) {
    case AVAssetExportSessionStatus::Completed:
      reportLeftOut(session->tracksLeftOut());
      return report(output, session->exportedTimeRange());
    case AVAssetExportSessionStatus::Cancelled:
      fail("interrupted; nothing was written");
      return 128 + signal;
    default:
      return fail(reason(options, output, *asset, *session->error()));
  }
}

}  // namespace

int trimCommand(int argc, char* argv[]) {
  TrimOptions options;
  std::string problem;
  if (!options.read(argc, argv, problem)) return message::wrongUse("trim", problem, TrimOptions::usageLine);
  if (!options.help) return run(options);
  std::fputs(TrimOptions::usageLine, stdout);
  if (std::fputs(TrimOptions::helpText, stdout) >= 0 && std::fflush(stdout) == 0) return 0;
  return fail(std::string("can't write to standard output: ") + std::strerror(errno));
}
