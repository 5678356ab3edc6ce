#include "platform/backends/ffmpeg/MovieExport.h"
#include "platform/backends/ffmpeg/Transcoder.h"
#include "platform/backends/posix/HiddenFile.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/CutMovie.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// In a process of its own: works on a recording where no file may be larger than 100 kB. 0 when that ends as it
/// should, no later than when `furthest` of the work is done.
template <typename Job>
int workWithoutRoom(Job job, const std::string& source, const std::string& folder, float furthest) {
  constexpr rlim_t kRoom = 100'000;
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{kRoom, kRoom};
  std::optional<HiddenFile> file = HiddenFile::create(folder, 0600);
  if (!file || setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
  float last = 0;
  job.sourcePath = source;
  job.sourceName = "source";
  job.outputFolder = folder;
  job.output = file->descriptor();
  job.isCancelled = [] { return false; };
  job.progress = [&last](float value) { last = std::max(last, value); };
  const NSErrorPtr error = job.run();
  if (!error) return 3;
  const std::string text = error->localizedDescription();
  std::fprintf(stderr, "%d %s (at %.3f)\n", error->code(), text.c_str(), double(last));
  const bool told = error->domain() == NSPOSIXErrorDomain && error->code() == EFBIG &&
                    text.find("could not be written") != std::string::npos;
  return told && last <= furthest ? 0 : 4;
}

TEST(DiskFull, EndsExportsAndConversionsWithTheReason) {
  const ScratchFolder made;
  const std::string coded =
      makeMovie(made / "coded.mkv", "-i '" + recordings::path("basic.mp4") + "' -t 20 -c:v mpeg4 -q:v 3 -c:a copy");
  MovieExport most;
  most.range = CMTimeRangeMake(CMTimeMakeWithSeconds(0.5, 1000), CMTimeMakeWithSeconds(9, 1000));
  const struct {
    std::string source;
    bool converts;
  } cases[] = {{recordings::path("basic.mp4"), false},    {recordings::path("basic.mkv"), false},
               {recordings::path("stream.ts"), false},    {recordings::path("basic.mp4"), true},
               {recordings::path("two_audio.mp4"), true}, {coded, true}};
  for (const auto& [source, converts] : cases) {
    SCOPED_TRACE(source + (converts ? ", converted" : ""));
    const ScratchFolder scratch;
    const pid_t child = fork();
    // The first tenth of what an export packs anew fills the room: nothing is read behind that.
    if (child == 0) {
      _exit(converts ? workWithoutRoom(Transcoder(), source, scratch.path(), 1)
                     : workWithoutRoom(most, source, scratch.path(), 0.1F));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
  }
}

}  // namespace
