#pragma once

#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSURL.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the file system knows of one entry.
struct NSFileAttributes {
  /// The birth time; the modification time where the file system keeps no birth time, or where that is earlier (a copy
  /// that was given the times of its original).
  std::optional<NSDate> NSFileCreationDate;
  std::optional<NSDate> fileModificationDate;
  std::int64_t fileSize = 0;  ///< bytes
  bool isDirectory = false;
  bool isOwnedByUser = false;  ///< by whom this program runs for
};

/// Files by path. All calls are synchronous and safe from any thread. Symbolic links are not followed by
/// `attributesOfItemAtPath`, `removeItemAtPath` and `moveItemAtURL`.
class NSFileManager {
 public:
  static NSFileManager& defaultManager();

  bool fileExistsAtPath(const std::string& path) const;
  bool fileExistsAtPath_isDirectory(const std::string& path, bool* isDirectory) const;
  /// On failure: nothing, and `error` (may be null) is set.
  std::optional<NSFileAttributes> attributesOfItemAtPath_error(const std::string& path, NSErrorPtr* error) const;
  /// Removes a file, or a directory with all that is in it.
  bool removeItemAtPath_error(const std::string& path, NSErrorPtr* error) const;
  bool moveItemAtURL_toURL_error(const NSURL& from, const NSURL& to, NSErrorPtr* error) const;
  /// Makes one directory, mode 0700 whatever the umask says when `isPrivate`.
  bool createDirectoryAtPath_error(const std::string& path, bool isPrivate, NSErrorPtr* error) const;
  /// Makes an empty file of mode 0600. When something is there already it stays, and the error's code is EEXIST.
  bool createFileAtPath_error(const std::string& path, NSErrorPtr* error) const;
  /// Names of the entries of a directory, one level, hidden ones included, in no particular order.
  std::optional<std::vector<std::string>> contentsOfDirectoryAtPath_error(const std::string& path,
                                                                          NSErrorPtr* error) const;
  /// Free bytes for this user on the file system that holds `path` (NSFileSystemFreeSize).
  std::optional<std::uint64_t> fileSystemFreeSizeForPath_error(const std::string& path, NSErrorPtr* error) const;
  /// Whether this user may change what is at `path`; of a folder: make files in it.
  bool isWritableFileAtPath(const std::string& path) const;
  bool isReadableFileAtPath(const std::string& path) const;  ///< links are followed
  /// Whether something that is no folder of this user's, a link for one, has the name `path`. What nothing has is
  /// nobody's.
  bool isForeignFolderAtPath(const std::string& path) const;
  /// `path`, or the nearest folder above it that exists: where its file system is asked about before it is made.
  std::string existingFolderForPath(const std::string& path) const;
  /// Whether what is written at one of these paths, made or not, takes room from the other.
  bool isSameFileSystem(const std::string& path, const std::string& other) const;
  /// How many bytes are missing to write `bytes` (not negative) in `folder`, which need not exist yet; 0 when there is
  /// room, when the file system does not say, and when it is read-only: room is not what is missing there.
  std::int64_t missingSpaceForBytes_inFolder(std::int64_t bytes, const std::string& folder) const;
  /// The same for a copy of the file at `path` and `reserve` bytes that are to be left; blocks that the copy would
  /// share with the file take no room.
  std::int64_t missingSpaceToCopyItemAtPath_inFolder_withReserve(const std::string& path, const std::string& folder,
                                                                 std::int64_t reserve) const;
  /// Whether a copy of the file at `path` in `folder` would share its blocks, and so take no room. Tried with a few
  /// bytes in a file without a name.
  bool canShareBlocksOfItemAtPath_inFolder(const std::string& path, const std::string& folder) const;
};
