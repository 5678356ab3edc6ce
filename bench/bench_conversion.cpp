// Converting the start of the one-minute recording (1080p at 60, made into another kind of pictures with two sound
// tracks) against the ffmpeg program with the same encoders, settings and threads, in one run: bench_conversion FOLDER,
// where FOLDER holds minute.mp4 and takes the new files of both. Each runs in a process of its own, which tells its
// memory.
#include "bench/Measuring.h"
#include "bench/Report.h"
#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/backends/ffmpeg/PictureEncoder.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Cost {
  double seconds = 0, megabytes = 0;
};

Cost measure(const std::function<void()>& inChild) {
  const auto begin = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    inChild();
    _exit(1);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) fail("a conversion failed");
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  return {taken.count(), double(usage.ru_maxrss) / 1024};
}

/// Replaces the process by a shell that runs a command.
void become(const std::string& command) {
  execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
}

int convert(const std::string& source, const std::string& output) {
  const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(source), nullptr);
  const auto session = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetHighestQuality);
  session->setOutputURL(NSURL::fileURLWithPath(output));
  session->setOutputFileType(AVFileTypeMPEG4);
  session->setAudioMix(AVMutableAudioMix::audioMix());
  std::atomic<bool> done{false};
  session->exportAsynchronouslyWithCompletionHandler([&done] { done = true; });
  while (!done) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  return session->status() == AVAssetExportSessionStatus::Completed ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--convert") return convert(argv[2], argv[3]);
  if (argc != 2) fail("usage: bench_conversion FOLDER");
  const std::string folder = argv[1], self = fs::read_symlink("/proc/self/exe");
  const std::string source = folder + "/conversion-source.mp4", ours = folder + "/conversion-ours.mp4",
                    theirs = folder + "/conversion-theirs.mp4";
  const std::string quiet = "ffmpeg -nostdin -v error -y -i ";
  measure([&] {
    become(quiet + folder + "/minute.mp4 -t 12 -map 0:v -map 0:a -map 0:a -c:v mpeg4 -q:v 3 -c:a copy " + source);
  });
  Report report("ffmpeg");
  const auto runTheirs = [&] {
    return measure([&] {
      become(quiet + source +
             " -filter_complex '[0:a:0][0:a:1]amix=inputs=2:duration=longest:normalize=0,alimiter=level=0:latency=1[a]'"
             " -map 0:v -map '[a]' -c:v libx264 -preset " +
             PictureEncoder::kEffort + " -crf " + PictureEncoder::kQuality +
             " -c:a aac -b:a 128k -movflags +faststart " + theirs);
    });
  };
  const auto runOurs = [&] {
    fs::remove(ours);  // one that is there is not replaced
    return measure(
        [&] { execl(self.c_str(), "bench_conversion", "--convert", source.c_str(), ours.c_str(), nullptr); });
  };
  // The better of two in turn.
  Cost their = runTheirs(), our = runOurs();
  our.seconds = std::min(our.seconds, runOurs().seconds);
  their.seconds = std::min(their.seconds, runTheirs().seconds);
  report.ratio("converting 12 s of 1080p60, two tracks", "s", our.seconds, their.seconds, 1.0);
  report.figure("its memory", "MB", our.megabytes, their.megabytes, std::nullopt);
  report.figure("the file's size", "MB", double(fs::file_size(ours)) / 1e6, double(fs::file_size(theirs)) / 1e6,
                std::nullopt);
  for (const std::string& made : {source, ours, theirs}) fs::remove(made);
  return report.finish();
}
