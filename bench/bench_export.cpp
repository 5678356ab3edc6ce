// Saving a part of a recording, against copying a file of the same size and against ffmpeg, in one run:
// bench_export ZEVANTI FOLDER [minute|hour], with the recordings minute.mp4 and hour.mp4 of
// tests/data/make_recordings.sh --bench.
#include "bench/Measuring.h"
#include "bench/Report.h"
#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/CheckedCopy.h"
#include "platform/backends/ffmpeg/ExportExpectations.h"
#include "platform/backends/ffmpeg/ExportVerifier.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/MovieWriter.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Times = std::map<std::string, std::vector<double>>;

void failOn(const NSErrorPtr& error) {
  if (error) fail(error->localizedDescription());
}

/// One recording and the part of it that is saved.
struct Job {
  std::string movie;
  double from, to;
  int rounds;
};

class Comparison {
 public:
  Comparison(Job job, std::string zevanti, std::string folder)
      : job_(std::move(job)), zevanti_(std::move(zevanti)), folder_(std::move(folder)) {}
  void prepare();
  void run(Report& report);

 private:
  std::string file(const char* name) const { return folder_ + "/" + name + ".mp4"; }
  CMTimeRange range() const {
    const CMTime from = CMTimeMakeWithSeconds(job_.from, 1'000'000'000);
    return CMTimeRangeMake(from, CMTimeSubtract(CMTimeMakeWithSeconds(job_.to, 1'000'000'000), from));
  }
  void measure(const std::string& what, const std::string& output, const std::function<void()>& work);
  void writeAndCheck(const std::string& output, bool together);
  void exportInProcess(const std::string& output);

  Job job_;
  std::string zevanti_, folder_;
  Times times_;
  double memory_ = 0;  // megabytes
};

/// Times `work`, which writes `output`, from a settled disk. The file goes afterwards.
void Comparison::measure(const std::string& what, const std::string& output, const std::function<void()>& work) {
  sync();
  const double begin = now();
  work();
  times_[what].push_back(now() - begin);
  fs::remove(output);
}

/// The steps of an export up to the finished, unsynced file: written and then checked, or, `together`, both at once.
void Comparison::writeAndCheck(const std::string& output, bool together) {
  sync();
  const double begin = now();
  const FileDescriptor source(open(job_.movie.c_str(), O_RDONLY | O_CLOEXEC));
  const FileDescriptor written(open(output.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  NSErrorPtr error;
  ExportExpectations expectations;
  isobmff::MovieWriter writer(source.get(), written.get());
  const auto neverCancelled = [] { return false; };
  {
    const auto movie = isobmff::readMovie(source.get(), "the movie", &error);
    failOn(error);
    const auto plan = isobmff::planCut(*movie, source.get(), range(), "the movie", &error);
    failOn(error);
    times_["read and plan"].push_back(now() - begin);
    expectations = ExportExpectations::of(*movie, *plan);
    failOn(writer.writeIndex(*movie, *plan));
  }
  if (together) {
    failOn(CheckedCopy{writer, expectations, source.get(), written.get(), nullptr, neverCancelled, nullptr}.run());
    times_["write and check"].push_back(now() - begin);
  } else {
    failOn(writer.copyMedia({}, nullptr, neverCancelled, nullptr));
    const double finished = now();
    times_["write"].push_back(finished - begin);
    failOn(ExportVerifier(expectations, source.get(), written.get(), neverCancelled).run());
    times_["check"].push_back(now() - finished);
  }
  fs::remove(output);
}

/// All that the editor waits for: written, checked, synced, renamed.
void Comparison::exportInProcess(const std::string& output) {
  const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(job_.movie), AVURLAssetLoadsOnDemand);
  const auto session = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetPassthrough);
  session->setOutputURL(NSURL::fileURLWithPath(output));
  session->setOutputFileType(AVFileTypeM4V);
  session->setTimeRange(range());
  std::atomic<bool> done{false};
  session->exportAsynchronouslyWithCompletionHandler(
      [&done] { dispatch_async(dispatch_get_main_queue(), [&done] { done = true; }); });
  dispatch_main::runUntil([&done] { return done.load(); }, 600);
  failOn(session->error());
}

/// Makes the file that is copied, one of the size that an export has; this also brings the recording into memory. Call
/// while this program is still small, which the memory of those that it starts depends on.
void Comparison::prepare() {
  const std::string from = std::to_string(job_.from), to = std::to_string(job_.to);
  memory_ = runToEnd({zevanti_, "trim", job_.movie, "--from", from, "--to", to, "--force", "-o", file("sized")});
}

void Comparison::run(Report& report) {
  const std::string from = std::to_string(job_.from), to = std::to_string(job_.to);
  const std::vector<std::string> trim{zevanti_, "trim", job_.movie, "--from", from, "--to", to, "-o", file("trimmed")};
  const std::vector<std::string> ffmpeg{"ffmpeg", "-nostdin", "-v",       "error", "-y", "-ss", from,   "-to",
                                        to,       "-i",       job_.movie, "-map",  "0",  "-c",  "copy", file("ffmpeg")};
  for (int round = 0; round < job_.rounds; ++round) {
    writeAndCheck(file("written"), false);
    writeAndCheck(file("written"), true);
    measure("cp", file("copied"), [this] { runToEnd({"cp", file("sized"), file("copied")}); });
    measure("ffmpeg", file("ffmpeg"), [&ffmpeg] { runToEnd(ffmpeg); });
    measure("export", file("exported"), [this] { exportInProcess(file("exported")); });
    measure("cp and fsync", file("copied"), [this] {
      runToEnd({"cp", file("sized"), file("copied")});
      syncFile(file("copied"));
    });
    measure("zevanti trim", file("trimmed"), [&trim] { runToEnd(trim); });
    measure("ffmpeg and fsync", file("ffmpeg"), [this, &ffmpeg] {
      runToEnd(ffmpeg);
      syncFile(file("ffmpeg"));
    });
  }
  const double size = double(fs::file_size(file("sized"))) / 1e6;
  fs::remove(file("sized"));

  std::map<std::string, double> ms;
  for (const auto& [what, values] : times_) ms[what] = median(values) * 1000;
  std::printf(
      "%.0f s of %s, %.0f MB; medians of %d runs; theirs is a process: cp, then ffmpeg\n"
      "(in-process: the exporter in this program; process: zevanti trim, from its start to its end)\n",
      job_.to - job_.from, fs::path(job_.movie).filename().c_str(), size, job_.rounds);
  report.ratio("in-process: page cache, unchecked, cp", "ms", ms["write"], ms["cp"], 1.25);
  report.ratio("in-process: page cache, checked, cp", "ms", ms["write and check"], ms["cp"], 1.25);
  report.ratio("in-process: checked, on disk, cp + fsync", "ms", ms["export"], ms["cp and fsync"], 1.25);
  report.ratio("process: checked, on disk, cp + fsync", "ms", ms["zevanti trim"], ms["cp and fsync"], 1.25);
  report.ratio("in-process: page cache, checked, ffmpeg", "ms", ms["write and check"], ms["ffmpeg"], 1);
  report.ratio("in-process: checked, on disk, ffmpeg + fsync", "ms", ms["export"], ms["ffmpeg and fsync"], 1);
  report.ratio("process: checked, on disk, ffmpeg + fsync", "ms", ms["zevanti trim"], ms["ffmpeg and fsync"], 1);
  report.figure("in-process: reading the tables and planning", "ms", ms["read and plan"], {}, {});
  report.figure("in-process: the check by itself", "ms", ms["check"], {}, 50);
  report.figure("process: largest memory", "MB", memory_, {}, 60);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string only = argc == 4 ? argv[3] : "";
  if (argc < 3 || argc > 4 || (!only.empty() && only != "minute" && only != "hour")) {
    std::fprintf(stderr, "usage: bench_export ZEVANTI FOLDER [minute|hour]\n");
    return 2;
  }
  dispatch_main::attachToCurrentThread([] {});
  // On the recordings' own file system.
  const std::string data = fs::absolute(argv[2]).string(), folder = data + "/.bench_export";
  fs::remove_all(folder);
  fs::create_directory(folder);
  Report report("theirs");
  std::vector<Comparison> comparisons;
  for (const Job& job : {Job{"minute", 7.3, 52.3, 15}, Job{"hour", 300.3, 3300.3, 3}}) {
    if (!only.empty() && job.movie != only) continue;
    fs::create_directory(folder + "/" + job.movie);
    comparisons.emplace_back(Job{data + "/" + job.movie + ".mp4", job.from, job.to, job.rounds}, argv[1],
                             folder + "/" + job.movie);
  }
  for (Comparison& each : comparisons) each.prepare();
  for (Comparison& each : comparisons) each.run(report);
  fs::remove_all(folder);
  return report.finish();
}
