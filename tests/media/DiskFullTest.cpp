#include "platform/backends/ffmpeg/MovieExport.h"
#include "platform/backends/posix/HiddenFile.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// In a process of its own: exports most of a recording where no file may be larger than 100 kB. 0 when that ends as it
/// should.
int exportWithoutRoom(const std::string& name, const std::string& folder) {
  constexpr rlim_t kRoom = 100'000;
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{kRoom, kRoom};
  std::optional<HiddenFile> file = HiddenFile::create(folder, 0600);
  if (!file || setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
  float last = 0;
  MovieExport job;
  job.sourcePath = recordings::path(name);
  job.sourceName = name;
  job.outputFolder = folder;
  job.output = file->descriptor();
  job.range = CMTimeRangeMake(CMTimeMakeWithSeconds(0.5, 1000), CMTimeMakeWithSeconds(9, 1000));
  job.isCancelled = [] { return false; };
  job.progress = [&last](float value) { last = std::max(last, value); };
  const NSErrorPtr error = job.run();
  if (!error) return 3;
  const std::string text = error->localizedDescription();
  std::fprintf(stderr, "%s: %d %s (at %.3f)\n", name.c_str(), error->code(), text.c_str(), double(last));
  const bool told = error->domain() == NSPOSIXErrorDomain && error->code() == EFBIG &&
                    text.find("could not be written") != std::string::npos;
  // The first tenth of the conversion fills the room: nothing is read behind that.
  return told && last < 0.1F ? 0 : 4;
}

TEST(DiskFull, EndsTheExportAtOnceWhateverTheContainer) {
  for (const char* name : {"basic.mp4", "basic.mkv", "stream.ts"}) {
    const ScratchFolder scratch;
    recordings::path(name);  // made, if need be, while there is room
    const pid_t child = fork();
    if (child == 0) _exit(exportWithoutRoom(name, scratch.path()));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << name << " " << status;
    EXPECT_EQ(WEXITSTATUS(status), 0) << name;
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path())) << name;
  }
}

}  // namespace
