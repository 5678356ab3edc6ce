#include "platform/AVFoundation/AVAssetExportSession.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/os_trace.h"
#include "platform/backends/ffmpeg/MovieExport.h"
#include "platform/backends/ffmpeg/Transcoder.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "platform/backends/posix/HiddenFile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

struct AVAssetExportSession::Impl {
  Strong<AVURLAsset> asset;
  std::string preset, fileType = AVFileTypeM4V;
  NSURL outputURL;
  CMTimeRange range{kCMTimeZero, kCMTimeInvalid};
  std::vector<std::int32_t> mixedTracks;  // none for all
  bool replacesExistingFile = false;
  dispatch_queue_t queue = dispatch_queue_create("export");

  std::atomic<AVAssetExportSessionStatus> status{AVAssetExportSessionStatus::Unknown};
  std::atomic<bool> cancelled{false};
  std::atomic<float> progress{0};
  std::mutex mutex;
  std::unique_ptr<EssentialWork> work;  ///< from the request until its handler has returned, or until it is cancelled
  NSErrorPtr error;
  CMTimeRange exported{kCMTimeInvalid, kCMTimeInvalid};
  std::vector<std::string> leftOut;

  /// Null when the file is there under its name.
  NSErrorPtr run();
  NSErrorPtr cut(const std::string& folder, int descriptor, CMTimeRange* taken);
  NSErrorPtr convert(const std::string& folder, int descriptor, CMTimeRange* taken);
  void finish(AVAssetExportSessionStatus ended, const NSErrorPtr& why);

  std::string outputFolder() const;
  /// What the person reads when the new file can't be written, less the reason.
  std::string failureText() const;
};

namespace {

enum class Place { Free, OwnFile, Taken };

Place placeAt(const std::string& path, const AVURLAsset& asset) {
  struct stat there {
  }, own{};
  if (lstat(path.c_str(), &there) != 0) return Place::Free;
  const bool same =
      stat(asset.readablePath().c_str(), &own) == 0 && there.st_dev == own.st_dev && there.st_ino == own.st_ino;
  return same ? Place::OwnFile : Place::Taken;
}

/// Who may read and write the new file: those who may the one that it replaces, else the recording.
mode_t modeFor(const std::string& path, const AVURLAsset& asset) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) return status.st_mode;
  return stat(asset.readablePath().c_str(), &status) == 0 ? status.st_mode : 0600;
}

/// Failures of writing: where it was, and how much room there was, is what the person needs to know.
bool isFailureOfWriting(const NSError& error) {
  const int code = error.code();
  return error.domain() == NSPOSIXErrorDomain && (code == ENOSPC || code == EDQUOT || code == EFBIG || code == EROFS);
}

}  // namespace

std::string AVAssetExportSession::Impl::outputFolder() const {
  const std::filesystem::path parent = std::filesystem::path(outputURL.path()).parent_path();
  return parent.empty() ? "." : parent.string();
}

std::string AVAssetExportSession::Impl::failureText() const {
  const bool converts = preset == AVAssetExportPresetHighestQuality;
  std::string folder = outputFolder();
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return std::string("The ") + (converts ? "converted" : "trimmed") + " movie could not be written in “" + folder + "”";
}

std::int64_t AVAssetExportSession::estimatedOutputFileLength() const {
  const std::int64_t whole = impl_->asset ? impl_->asset->fileLength().value_or(0) : 0;
  if (whole == 0 || !impl_->range.duration.isValid() || !impl_->range.start.isValid()) return whole;
  const double length = CMTimeGetSeconds(impl_->asset->duration());
  const double start = CMTimeGetSeconds(impl_->range.start);
  const double end = std::min(length, start + CMTimeGetSeconds(impl_->range.duration));
  // Also where the length is no number.
  if (!(length > 0)) return whole;
  return static_cast<std::int64_t>(std::ceil(double(whole) * std::clamp((end - start) / length, 0.0, 1.0)));
}

std::int64_t AVAssetExportSession::missingSpaceWithReserve(std::int64_t reserve) const {
  const NSFileManager& manager = NSFileManager::defaultManager();
  const std::string folder = manager.existingFolderForPath(impl_->outputFolder());
  if (!impl_->asset) return 0;
  const FileDescriptor source(open(impl_->asset->readablePath().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  // Sound is mixed into a file of its own, of which the movie is then made, as a recording is repacked into one.
  const bool isRepacked = (source && !isobmff::isMovieFile(source.get())) ||
                          (impl_->preset == AVAssetExportPresetHighestQuality &&
                           impl_->asset->tracksWithMediaType(AVMediaTypeAudio).size() > 1);
  const std::int64_t times = isRepacked ? 2 : 1, most = (std::numeric_limits<std::int64_t>::max() - reserve) / times;
  const auto missing = [&](std::int64_t bytes) {
    return manager.missingSpaceForBytes_inFolder(reserve + std::min(bytes, most) * times, folder);
  };
  // Mostly there is far more room than that, and nothing needs to be known of the movie.
  if (missing(impl_->asset->fileLength().value_or(0)) == 0) return 0;
  const bool shares = !isRepacked && impl_->preset == AVAssetExportPresetPassthrough &&
                      manager.canShareBlocksOfItemAtPath_inFolder(impl_->asset->readablePath(), folder);
  return missing(shares ? 0 : estimatedOutputFileLength());
}

NSErrorPtr AVAssetExportSession::Impl::run() {
  const bool converts = preset == AVAssetExportPresetHighestQuality && fileType == AVFileTypeMPEG4;
  const bool cuts = preset == AVAssetExportPresetPassthrough && fileType == AVFileTypeM4V;
  if (!asset || (!converts && !cuts) || !outputURL) {
    return std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorExportFailed,
                                           "This kind of export is not available.");
  }
  const std::string what = failureText(), name = outputURL.lastPathComponent(), folder = outputFolder();
  if (placeAt(outputURL.path(), *asset) == Place::Taken && !replacesExistingFile) return NSError::posix(EEXIST, what);
  std::optional<HiddenFile> file = HiddenFile::create(folder, modeFor(outputURL.path(), *asset));
  if (!file) return NSError::posix(errno, what);

  CMTimeRange taken{kCMTimeInvalid, kCMTimeInvalid};
  NSErrorPtr error = converts ? convert(folder, file->descriptor(), &taken) : cut(folder, file->descriptor(), &taken);
  if (error) return isFailureOfWriting(*error) ? NSError::posix(error->code(), what) : error;

  const bool replace = replacesExistingFile || placeAt(outputURL.path(), *asset) == Place::OwnFile;
  if (cancelled) return NSError::posix(ECANCELED, what);
  if (asset->hasChanged()) {
    return std::make_shared<const NSError>(
        AVFoundationErrorDomain, AVErrorExportFailed,
        "“" + asset->URL().lastPathComponent() + "” has been changed by another program since it was opened.");
  }
  const int failure = replace ? file->publishReplacing(name) : file->publish(name);
  if (failure != 0) return NSError::posix(failure, what);
  const std::lock_guard lock(mutex);
  exported = taken;
  return nullptr;
}

NSErrorPtr AVAssetExportSession::Impl::cut(const std::string& folder, int descriptor, CMTimeRange* taken) {
  MovieExport job;
  job.sourcePath = asset->readablePath();
  job.sourceName = asset->URL().lastPathComponent();
  job.outputFolder = folder;
  job.output = descriptor;
  job.range = range;
  job.isCancelled = [this] { return cancelled.load(); };
  job.progress = [this](float value) { progress = value; };
  if (NSErrorPtr error = job.run()) return error;
  *taken = CMTimeRangeMake(job.start, CMTimeSubtract(job.end, job.start));
  for (const std::string& track : job.leftOut) os_trace("Left out of the trimmed copy: %s", track.c_str());
  const std::lock_guard lock(mutex);
  leftOut = std::move(job.leftOut);
  return nullptr;
}

NSErrorPtr AVAssetExportSession::Impl::convert(const std::string& folder, int descriptor, CMTimeRange* taken) {
  if (range.duration.isValid()) {
    return std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorInvalidTimeRange,
                                           "Only a whole movie can be converted.");
  }
  Transcoder job;
  job.sourcePath = asset->readablePath();
  job.sourceName = asset->URL().lastPathComponent();
  job.outputFolder = folder;
  job.output = descriptor;
  job.soundTracks = mixedTracks;
  job.isCancelled = [this] { return cancelled.load(); };
  job.progress = [this](float value) { progress = value; };
  if (NSErrorPtr error = job.run()) return error;
  *taken = CMTimeRangeMake(kCMTimeZero, CMTimeMakeWithSeconds(job.duration, 1'000'000'000));
  return nullptr;
}

void AVAssetExportSession::Impl::finish(AVAssetExportSessionStatus ended, const NSErrorPtr& why) {
  {
    const std::lock_guard lock(mutex);
    error = why;
  }
  status = ended;
}

AVAssetExportSession::AVAssetExportSession() : impl_(std::make_shared<Impl>()) {}
AVAssetExportSession::~AVAssetExportSession() = default;

Strong<AVAssetExportSession> AVAssetExportSession::initWithAsset_presetName(const Strong<AVURLAsset>& asset,
                                                                            const std::string& presetName) {
  auto session = std::make_shared<AVAssetExportSession>();
  session->impl_->asset = asset;
  session->impl_->preset = presetName;
  return session;
}

const NSURL& AVAssetExportSession::outputURL() const {
  return impl_->outputURL;
}

void AVAssetExportSession::setOutputURL(const NSURL& url) {
  impl_->outputURL = url;
}

void AVAssetExportSession::setOutputFileType(const std::string& type) {
  impl_->fileType = type;
}

void AVAssetExportSession::setReplacesExistingFile(bool replaces) {
  impl_->replacesExistingFile = replaces;
}

void AVAssetExportSession::setTimeRange(CMTimeRange range) {
  impl_->range = range;
}

void AVAssetExportSession::setAudioMix(const Strong<AVMutableAudioMix>& mix) {
  impl_->mixedTracks.clear();
  if (!mix) return;
  for (const auto& parameters : mix->inputParameters()) impl_->mixedTracks.push_back(parameters->trackID());
}

void AVAssetExportSession::exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) {
  using Status = AVAssetExportSessionStatus;
  auto expected = Status::Unknown;
  if (impl_->status.compare_exchange_strong(expected, Status::Waiting)) {
    const std::lock_guard lock(impl_->mutex);
    if (!impl_->cancelled) impl_->work = std::make_unique<EssentialWork>();
  }
  dispatch_async(impl_->queue, [self = shared_from_this(), impl = impl_, handler = std::move(handler)] {
    auto waiting = Status::Waiting;
    // A session exports once; a second request only learns how the first one ended.
    if (impl->status.compare_exchange_strong(waiting, Status::Exporting)) {
      const NSErrorPtr error = impl->cancelled ? NSError::posix(ECANCELED, "") : impl->run();
      if (!error) {
        // Whole and under its name: a cancellation that comes now is too late.
        impl->progress = 1;
        impl->finish(Status::Completed, nullptr);
      } else if (impl->cancelled) {
        impl->finish(Status::Cancelled, nullptr);
      } else {
        impl->finish(Status::Failed, error);
      }
    }
    if (handler) handler();
    const std::lock_guard lock(impl->mutex);
    impl->work = nullptr;
  });
}

void AVAssetExportSession::cancelExport() {
  impl_->cancelled = true;
  const std::lock_guard lock(impl_->mutex);
  impl_->work = nullptr;
}

AVAssetExportSessionStatus AVAssetExportSession::status() const {
  return impl_->status;
}

NSErrorPtr AVAssetExportSession::error() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->error;
}

float AVAssetExportSession::progress() const {
  return impl_->progress;
}

CMTimeRange AVAssetExportSession::exportedTimeRange() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->exported;
}

std::vector<std::string> AVAssetExportSession::tracksLeftOut() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->leftOut;
}
