#pragma once

#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/NSURL.h"

#include <functional>
#include <optional>
#include <string>

/// Where the system keeps the movie files that it makes, with a trailing separator.
extern const std::string ZVScreenRecorderTempDirectory;

/// Operations added to the file manager.
namespace ZVExtensions {

/// The temporary directory path, `ZVScreenRecorderTempDirectory`.
const std::string& _srTempPath(const NSFileManager& manager);

/// Removes a file in the background, if there is one. Returns at once; `completion` (may be null) gets the error, or
/// null, on the global queue of background priority.
void _srRemoveFile_completion(const NSFileManager& manager, const NSURL& url,
                              std::function<void(NSErrorPtr)> completion);

/// Nothing when the file's attributes can't be read.
std::optional<NSDate> _srGetCreationDateForFile(const NSFileManager& manager, const NSURL& url);

}  // namespace ZVExtensions
