#pragma once

#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/NSURL.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// Where the system keeps the movie files that it makes, with a trailing separator.
extern const std::string ZVScreenRecorderTempDirectory;

/// Bytes that must be free beyond what a file needs: ten to the eighth power.
inline constexpr std::int64_t ZVScreenRecorderRequiredFreeSpace = 100'000'000;

/// Operations added to the file manager: the housekeeping of the temporary directory. None of them keeps a state or
/// takes a lock. Those without a completion are synchronous, on any thread; failures go to the trace log.
namespace ZVExtensions {

/// The temporary directory path, `ZVScreenRecorderTempDirectory`.
const std::string& _srTempPath(const NSFileManager& manager);

/// Removes a file in the background, if there is one. Returns at once; `completion` (may be null) gets the error, or
/// null, on the global queue of background priority.
void _srRemoveFile_completion(const NSFileManager& manager, const NSURL& url,
                              std::function<void(NSErrorPtr)> completion);

/// Nothing when the file's attributes can't be read.
std::optional<NSDate> _srGetCreationDateForFile(const NSFileManager& manager, const NSURL& url);

/// Makes the temporary directory, private to its user, unless something exists at its path. The folder above it has to
/// be there.
void _srSetupTempDirectory(const NSFileManager& manager);

/// Bytes of the directory's own entry, as the file system counts them: not those of the files in it. 0 with `error`
/// (may be null) set when it can't be read.
std::int64_t _srSizeOfTempDir(const NSFileManager& manager, NSErrorPtr* error);

/// Removes all that is in the temporary directory. Returns the bytes freed, as below.
std::int64_t _srDeleteAllTempFiles(const NSFileManager& manager);

/// Removes the entries of the temporary directory, folders with what is in them, that were last modified more than
/// `timeToLive` seconds ago; with exactly 0, all of them. An entry whose dates can't be read is removed with 0 only.
/// Returns the sum of the sizes of the entries removed, in bytes; a folder counts as its own entry.
std::int64_t _srDeleteFilesOlderThanTimeToLiveInSeconds(const NSFileManager& manager, double timeToLive);

/// Moves a file in the background and replaces what is at `destination`; what is there is gone even when the move
/// fails. Returns at once; `completion` (may be null) gets the move's error, or null, on the global queue of default
/// priority. A file that is at its destination already stays there.
void _srMoveFileFromURL_toURL_completion(const NSFileManager& manager, const NSURL& source, const NSURL& destination,
                                         std::function<void(NSErrorPtr)> completion);

/// Removes, in the background on the global queue of default priority, the entries of the temporary directory whose
/// names begin with `prefix`, whatever its case and diacritics. No name begins with an empty prefix.
void _srDeleteFilesWithPrefix(const NSFileManager& manager, const std::string& prefix);

/// Whether more than `ZVScreenRecorderRequiredFreeSpace` bytes are free for the temporary directory.
bool _srDeviceHasSufficientFreeSpaceForRecording(const NSFileManager& manager);

/// How many bytes are missing at `folder`, which need not exist yet, to write `bytes` there and still have
/// `ZVScreenRecorderRequiredFreeSpace` left; 0 when there is room, and when the file system is read-only or does not
/// say. Other than the operations above it works on any folder.
std::int64_t _srMissingSpaceForBytes_inFolder(const NSFileManager& manager, std::int64_t bytes,
                                              const std::string& folder);

/// Bytes that this user can still write on the temporary directory's file system; 0 when that can't be read.
std::uint64_t _srDeviceFreeDiskSpace(const NSFileManager& manager);

}  // namespace ZVExtensions
