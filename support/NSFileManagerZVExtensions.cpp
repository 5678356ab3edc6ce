#include "support/NSFileManagerZVExtensions.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/ExtensionLaunch.h"
#include "platform/Foundation/os_trace.h"

const std::string ZVScreenRecorderTempDirectory = temporaryDirectoryPath();

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

}  // namespace ZVExtensions
