#include "support/NSFileManagerZVExtensions.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/ExtensionLaunch.h"
#include "platform/Foundation/NSPredicate.h"
#include "platform/Foundation/NSStringFormat.h"
#include "platform/Foundation/os_trace.h"

#include <cerrno>
#include <filesystem>
#include <limits>
#include <utility>
#include <vector>

const std::string ZVScreenRecorderTempDirectory = temporaryDirectoryPath();

namespace {

/// Without the separator, behind which a link would be followed.
std::string pathOfTempDirectory(const NSFileManager& manager) {
  std::string path = ZVExtensions::_srTempPath(manager);
  while (path.ends_with('/')) path.pop_back();
  return path;
}

/// The names in the temporary directory; nothing, with `error` (may be null) set, when it can't be read. A link, or
/// another user's folder, in its place has nothing that is ours to remove.
std::optional<std::vector<std::string>> namesOfTempEntries(const NSFileManager& manager, NSErrorPtr* error) {
  const std::string path = pathOfTempDirectory(manager);
  if (!manager.isForeignFolderAtPath(path)) return manager.contentsOfDirectoryAtPath_error(path, error);
  if (error) *error = NSError::posix(ENOTDIR, path);
  return {};
}

std::string pathOfTempEntry(const NSFileManager& manager, const std::string& name) {
  return NSStringWithFormat("%@/%@", {ZVExtensions::_srTempPath(manager), name});
}

/// Toward zero, as a conversion to int does; the nearest int for what does not fit, which no conversion defines.
int truncated(double number) {
  if (number != number) return 0;
  if (number <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  if (number >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  return static_cast<int>(number);
}

void reportDeletionFailure(const NSErrorPtr& error) {
  os_trace_error("error in _zxRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: %i", error->code());
  NSLog("error = %s", error->description().c_str());
}

bool isSamePlace(const NSURL& one, const NSURL& other) {
  const auto first = std::filesystem::path(one.path()).lexically_normal();
  const auto second = std::filesystem::path(other.path()).lexically_normal();
  std::error_code error;  // a folder that isn't there is no other's
  return first == second || (first.filename() == second.filename() &&
                             std::filesystem::equivalent(first.parent_path(), second.parent_path(), error));
}

}  // namespace

namespace ZVExtensions {

const std::string& _srTempPath(const NSFileManager&) {
  return ZVScreenRecorderTempDirectory;
}

void _srRemoveFile_completion(const NSFileManager& manager, const NSURL& url,
                              std::function<void(NSErrorPtr)> completion) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND),
                 [&manager, url, completion = std::move(completion)] {
                   NSErrorPtr error;
                   if (manager.fileExistsAtPath(url.path()) && !manager.removeItemAtPath_error(url.path(), &error)) {
                     os_trace("_zxRemoveFile error: %i", error->code());
                   }
                   if (completion) completion(error);
                 });
}

std::optional<NSDate> _srGetCreationDateForFile(const NSFileManager& manager, const NSURL& url) {
  const auto attributes = manager.attributesOfItemAtPath_error(url.path(), nullptr);
  return attributes ? attributes->NSFileCreationDate : std::nullopt;
}

void _srSetupTempDirectory(const NSFileManager& manager) {
  os_trace("_srSetupTempDirectory");
  if (manager.attributesOfItemAtPath_error(pathOfTempDirectory(manager), nullptr)) return;  // whatever it is
  NSErrorPtr error;
  if (manager.createDirectoryAtPath_error(_srTempPath(manager), true, &error)) return;
  NSLog("error: %s", error->description().c_str());
  os_trace_error("error creating temp directory");
}

std::int64_t _srSizeOfTempDir(const NSFileManager& manager, NSErrorPtr* error) {
  const auto attributes = manager.attributesOfItemAtPath_error(_srTempPath(manager), error);
  return attributes ? attributes->fileSize : 0;
}

std::int64_t _srDeleteAllTempFiles(const NSFileManager& manager) {
  return _srDeleteFilesOlderThanTimeToLiveInSeconds(manager, 0);
}

std::int64_t _srDeleteFilesOlderThanTimeToLiveInSeconds(const NSFileManager& manager, double timeToLive) {
  os_trace("_srDeleteFilesOlderThanTimeToLiveInSeconds: %i", truncated(timeToLive));
  NSErrorPtr error;
  const auto names = namesOfTempEntries(manager, &error);
  if (!names) reportDeletionFailure(error);
  std::int64_t freed = 0;
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    const std::string path = pathOfTempEntry(manager, name);
    const auto attributes = manager.attributesOfItemAtPath_error(path, &error);
    if (!attributes) reportDeletionFailure(error);
    bool isOld = timeToLive == 0;
    if (!isOld && attributes && attributes->fileModificationDate) {
      const double age =
          NSDate::date().timeIntervalSince1970() - attributes->fileModificationDate->timeIntervalSince1970();
      isOld = age > timeToLive;
    }
    if (!isOld) continue;
    os_trace("deleting old file");
    if (manager.removeItemAtPath_error(path, &error)) {
      freed += attributes ? attributes->fileSize : 0;
    } else {
      reportDeletionFailure(error);
    }
  }
  return freed;
}

void _srMoveFileFromURL_toURL_completion(const NSFileManager& manager, const NSURL& source, const NSURL& destination,
                                         std::function<void(NSErrorPtr)> completion) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [&manager, source, destination, completion = std::move(completion)] {
                   NSErrorPtr error;
                   if (!isSamePlace(source, destination)) {
                     if (manager.fileExistsAtPath(destination.path()))
                       manager.removeItemAtPath_error(destination.path(), nullptr);
                     if (!manager.moveItemAtURL_toURL_error(source, destination, &error))
                       os_trace_error("_zxMoveFileFromURL error: %i", error->code());
                   }
                   if (completion) completion(error);
                 });
}

void _srDeleteFilesWithPrefix(const NSFileManager& manager, const std::string& prefix) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT), [&manager, prefix] {
    const NSPredicate predicate = NSPredicate::predicateWithFormat("self BEGINSWITH[cd] %@", {prefix});
    const auto names = namesOfTempEntries(manager, nullptr);
    for (const std::string& name : names.value_or(std::vector<std::string>())) {
      if (!predicate.evaluateWithObject(name)) continue;
      NSErrorPtr error;
      if (!manager.removeItemAtPath_error(pathOfTempEntry(manager, name), &error))
        os_trace_error("_zxDeleteFilesWithPrefix error: %i", error->code());
    }
  });
}

bool _srDeviceHasSufficientFreeSpaceForRecording(const NSFileManager& manager) {
  return _srDeviceFreeDiskSpace(manager) > static_cast<std::uint64_t>(ZVScreenRecorderRequiredFreeSpace);
}

std::int64_t _srMissingSpaceForBytes_inFolder(const NSFileManager& manager, std::int64_t bytes,
                                              const std::string& folder) {
  constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
  const std::int64_t needed =
      bytes > most - ZVScreenRecorderRequiredFreeSpace ? most : bytes + ZVScreenRecorderRequiredFreeSpace;
  return manager.missingSpaceForBytes_inFolder(needed, folder);
}

std::uint64_t _srDeviceFreeDiskSpace(const NSFileManager& manager) {
  return manager.fileSystemFreeSizeForPath_error(_srTempPath(manager), nullptr).value_or(0);
}

}  // namespace ZVExtensions
