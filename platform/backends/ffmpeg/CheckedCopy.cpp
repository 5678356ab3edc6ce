#include "platform/backends/ffmpeg/CheckedCopy.h"

#include "platform/backends/ffmpeg/ExportVerifier.h"
#include "platform/backends/isobmff/MovieWriter.h"

#include <atomic>
#include <cerrno>
#include <future>

#include <sys/stat.h>

namespace {

/// Lets nobody wait for ever, whatever way the writing ends.
struct EndOfWriting {
  GrowingFile& file;
  bool whole = false;
  ~EndOfWriting() { file.end(whole); }
};

}  // namespace

NSErrorPtr CheckedCopy::run() {
  GrowingFile file(output, writer.fileSize());
  file.add(0, writer.mediaOffset());
  std::atomic<bool> checkFailed{false};
  // The check stays on this thread, whose memory the tables have just left.
  std::future<NSErrorPtr> copying = std::async(std::launch::async, [&] {
    EndOfWriting end{file};
    NSErrorPtr error = writer.copyMedia(
        expectations.media, progress, [&] { return checkFailed || isCancelled(); },
        [&](std::uint64_t offset, std::uint64_t length) {
          file.add(offset, length);
          if (written) written(offset, length);
        });
    struct stat status {};
    if (!error && (fstat(output, &status) != 0 || std::uint64_t(status.st_size) != writer.fileSize())) {
      error = NSError::posix(EIO, "The trimmed movie could not be written");
    }
    end.whole = !error;
    return error;
  });
  NSErrorPtr found;
  try {
    found = ExportVerifier(expectations, source, file, isCancelled).run();
    checkFailed = found != nullptr;
  } catch (...) {
    checkFailed = true;
    throw;
  }
  const NSErrorPtr error = copying.get();
  const bool stoppedByCheck = error && error->code() == ECANCELED && checkFailed && !isCancelled();
  return error && !stoppedByCheck ? error : found;
}
