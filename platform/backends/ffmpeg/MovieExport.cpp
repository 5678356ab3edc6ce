#include "platform/backends/ffmpeg/MovieExport.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/CheckedCopy.h"
#include "platform/backends/ffmpeg/ContainerConversion.h"
#include "platform/backends/ffmpeg/ExportExpectations.h"
#include "platform/backends/ffmpeg/FreedMemory.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/MovieWriter.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "platform/backends/posix/FileFlush.h"
#include "platform/backends/posix/FlushAhead.h"
#include "platform/backends/posix/HiddenFile.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

// What has been done when a stage ends, of 1. While the bytes are written they also go to the disk.
constexpr float kConverted = 0.3F, kWritten = 0.92F, kChecked = 0.94F;

NSErrorPtr exportError(int code, const std::string& text) {
  return std::make_shared<const NSError>(AVFoundationErrorDomain, code, text);
}

/// Frees what only planning needed: of a long recording a dozen megabytes. Whether it is such a long one.
bool dropRuns(isobmff::Movie& movie) {
  std::size_t runs = 0;
  for (isobmff::Track& track : movie.tracks) {
    runs += track.runs.size();
    std::vector<isobmff::SampleRun>().swap(track.runs);
  }
  constexpr std::size_t kMany = 50'000;
  if (runs > kMany) returnFreedMemory();
  return runs > kMany;
}

NSErrorPtr cancelled() {
  return NSError::posix(ECANCELED, "The export was cancelled");
}

}  // namespace

NSErrorPtr MovieExport::run() {
  if (!range.start.isValid() || !range.duration.isValid() || range.start.value < 0 || range.duration.value <= 0) {
    return exportError(AVErrorInvalidTimeRange, "There is nothing between the two ends of the selection.");
  }
  const FileDescriptor source(open(sourcePath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!source || fstat(source.get(), &status) != 0)
    return NSError::posix(errno, "“" + sourceName + "” can't be opened");
  if (!S_ISREG(status.st_mode))
    return NSError::posix(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "“" + sourceName + "” can't be opened");
  try {
    const NSErrorPtr error = isobmff::isMovieFile(source.get()) ? cut(source.get(), range, 0) : convertAndCut();
    return error ? error : flush();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  } catch (const std::system_error&) {  // no further thread
  }
  return NSError::posix(ENOMEM, "“" + sourceName + "” could not be trimmed");
}

NSErrorPtr MovieExport::convertAndCut() {
  const std::optional<HiddenFile> file = HiddenFile::create(outputFolder, 0600);
  if (!file) return NSError::posix(errno, "“" + sourceName + "” could not be converted in " + outputFolder);
  ContainerConversion conversion;
  conversion.sourcePath = sourcePath;
  conversion.sourceName = sourceName;
  conversion.output = file->descriptor();
  conversion.range = range;
  conversion.isCancelled = isCancelled;
  conversion.progress = [this](float value) { progress(value * kConverted); };
  if (NSErrorPtr error = conversion.run()) return error;
  leftOut = std::move(conversion.leftOut);

  constexpr std::int32_t kNanoseconds = 1'000'000'000;
  const double from = CMTimeGetSeconds(range.start) - conversion.start;
  const CMTimeRange moved = CMTimeRangeMake(CMTimeMakeWithSeconds(from, kNanoseconds),
                                            CMTimeMakeWithSeconds(CMTimeGetSeconds(range.duration), kNanoseconds));
  if (NSErrorPtr error = cut(file->descriptor(), moved, kConverted)) return error;
  start = CMTimeMakeWithSeconds(CMTimeGetSeconds(start) + conversion.start, kNanoseconds);
  end = CMTimeMakeWithSeconds(CMTimeGetSeconds(end) + conversion.start, kNanoseconds);
  return nullptr;
}

NSErrorPtr MovieExport::cut(int source, CMTimeRange fromTo, float from) {
  NSErrorPtr error;
  bool isLong = false;
  ExportExpectations expectations;
  isobmff::MovieWriter writer(source, output);
  {
    const std::unique_ptr<isobmff::Movie> movie = isobmff::readMovie(source, sourceName, &error);
    if (!movie) return error;
    if (isCancelled()) return cancelled();
    const std::unique_ptr<isobmff::CutPlan> plan =
        isobmff::planCut(*movie, source, fromTo, sourceName, &error, isCancelled);
    if (!plan) return error;
    if (isCancelled()) return cancelled();
    start = plan->sourceStart;
    end = plan->sourceEnd;
    expectations = ExportExpectations::of(*movie, *plan);
    isLong = dropRuns(*movie);
    if (NSErrorPtr failure = writer.writeIndex(*movie, *plan)) return failure;
  }  // the tables have gone before another reader loads them
  if (isLong) returnFreedMemory();
  const auto copied = [this, from](float value) { progress(from + value * (kWritten - from)); };
  FlushAhead ahead(output);
  const auto written = [&ahead](std::uint64_t offset, std::uint64_t length) { ahead.add(offset, length); };
  error = CheckedCopy{writer, expectations, source, output, copied, isCancelled, written}.run();
  if (isCancelled()) return cancelled();
  if (error) return error;
  progress(kChecked);
  return nullptr;
}

NSErrorPtr MovieExport::flush() {
  const int failure = flushFile(output, [this](std::int64_t done, std::int64_t total) {
    progress(kChecked + float(double(done) / double(std::max<std::int64_t>(1, total))) * (1 - kChecked));
    return !isCancelled();
  });
  return failure == 0 ? nullptr : NSError::posix(failure, "The trimmed movie could not be written");
}
