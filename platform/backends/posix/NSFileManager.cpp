#include "platform/Foundation/NSFileManager.h"

#include "platform/backends/posix/FileCopy.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <memory>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

bool fail(NSErrorPtr* error, int number, const std::string& what) {
  if (error) *error = NSError::posix(number, what);
  return false;
}

bool isOnReadOnlyDisk(const std::string& path) {
  struct statvfs status {};
  return statvfs(path.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

NSDate dateOf(const statx_timestamp& time) {
  return NSDate(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9);
}

/// A move between file systems: the copy takes its name only when it is whole.
int moveByCopying(const std::string& from, const std::string& to) {
  std::error_code error;
  if (std::filesystem::is_directory(std::filesystem::symlink_status(from, error))) {
    std::filesystem::copy(
        from, to, std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks, error);
  } else {
    error = std::error_code(copyFile(from, to), std::generic_category());
  }
  if (error) return error.value();
  std::filesystem::remove_all(from, error);
  return error.value();
}

}  // namespace

NSFileManager& NSFileManager::defaultManager() {
  static NSFileManager manager;
  return manager;
}

bool NSFileManager::fileExistsAtPath(const std::string& path) const {
  return fileExistsAtPath_isDirectory(path, nullptr);
}

bool NSFileManager::fileExistsAtPath_isDirectory(const std::string& path, bool* isDirectory) const {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return false;
  if (isDirectory) *isDirectory = S_ISDIR(status.st_mode);
  return true;
}

std::optional<NSFileAttributes> NSFileManager::attributesOfItemAtPath_error(const std::string& path,
                                                                            NSErrorPtr* error) const {
  struct statx status;
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    fail(error, errno, "The properties of “" + path + "” can’t be read");
    return {};
  }
  NSFileAttributes attributes;
  attributes.fileModificationDate = dateOf(status.stx_mtime);
  attributes.NSFileCreationDate = attributes.fileModificationDate;
  if (status.stx_mask & STATX_BTIME) {
    // Content is not younger than its file, unless the file is a copy that was given the original's times.
    NSDate birth = dateOf(status.stx_btime);
    if (birth.timeIntervalSince1970() < attributes.fileModificationDate->timeIntervalSince1970())
      attributes.NSFileCreationDate = birth;
  }
  attributes.fileSize = static_cast<std::int64_t>(status.stx_size);
  attributes.isDirectory = S_ISDIR(status.stx_mode);
  attributes.isOwnedByUser = status.stx_uid == geteuid();
  return attributes;
}

bool NSFileManager::removeItemAtPath_error(const std::string& path, NSErrorPtr* error) const {
  std::error_code failure;
  std::uintmax_t removed = std::filesystem::remove_all(path, failure);
  if (failure) return fail(error, failure.value(), "“" + path + "” can’t be removed");
  if (removed == 0) return fail(error, ENOENT, "“" + path + "” can’t be removed");
  return true;
}

bool NSFileManager::moveItemAtURL_toURL_error(const NSURL& from, const NSURL& to, NSErrorPtr* error) const {
  auto moved = [&] { return renameat2(AT_FDCWD, from.path().c_str(), AT_FDCWD, to.path().c_str(), RENAME_NOREPLACE); };
  int failure = moved() == 0 ? 0 : errno;
  if (failure == EINVAL || failure == ENOSYS) {
    // The file system can't promise not to replace: look first.
    struct stat status;
    if (lstat(to.path().c_str(), &status) == 0) {
      failure = EEXIST;
    } else {
      failure = rename(from.path().c_str(), to.path().c_str()) == 0 ? 0 : errno;
    }
  }
  if (failure == EXDEV) failure = moveByCopying(from.path(), to.path());
  if (failure == 0) return true;
  const std::string what = "“" + from.path() + "” can’t be moved to “" + to.path() + "”";
  if (failure != kSourceEndedEarly) return fail(error, failure, what);
  if (error) *error = std::make_shared<const NSError>(NSPOSIXErrorDomain, failure, what + ": it was cut off meanwhile");
  return false;
}

bool NSFileManager::createDirectoryAtPath_error(const std::string& path, bool isPrivate, NSErrorPtr* error) const {
  // A private directory must not be open to others for a moment, nor be made useless by the umask.
  if (mkdir(path.c_str(), isPrivate ? 0700 : 0777) != 0 || (isPrivate && chmod(path.c_str(), 0700) != 0))
    return fail(error, errno, "The folder “" + path + "” can’t be made");
  return true;
}

bool NSFileManager::createFileAtPath_error(const std::string& path, NSErrorPtr* error) const {
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return file || fail(error, errno, "The file “" + path + "” can’t be made");
}

std::optional<std::vector<std::string>> NSFileManager::contentsOfDirectoryAtPath_error(const std::string& path,
                                                                                       NSErrorPtr* error) const {
  std::error_code failure;
  std::vector<std::string> names;
  std::filesystem::directory_iterator entry(path, failure), end;
  for (; !failure && entry != end; entry.increment(failure)) names.push_back(entry->path().filename().string());
  if (failure) {
    fail(error, failure.value(), "The folder “" + path + "” can’t be read");
    return {};
  }
  return names;
}

std::optional<std::uint64_t> NSFileManager::fileSystemFreeSizeForPath_error(const std::string& path,
                                                                            NSErrorPtr* error) const {
  struct statvfs status;
  if (statvfs(path.c_str(), &status) != 0) {
    fail(error, errno, "The free space of “" + path + "” can’t be read");
    return {};
  }
  return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

bool NSFileManager::isWritableFileAtPath(const std::string& path) const {
  bool isDirectory = false;
  return fileExistsAtPath_isDirectory(path, &isDirectory) &&
         access(path.c_str(), isDirectory ? W_OK | X_OK : W_OK) == 0;
}

bool NSFileManager::isReadableFileAtPath(const std::string& path) const {
  return access(path.c_str(), R_OK) == 0;
}

bool NSFileManager::isForeignFolderAtPath(const std::string& path) const {
  std::string name = path;
  while (name.ends_with('/')) name.pop_back();  // with it a link would be followed
  const auto found = attributesOfItemAtPath_error(name, nullptr);
  return found && !(found->isDirectory && found->isOwnedByUser);
}

std::string NSFileManager::existingFolderForPath(const std::string& path) const {
  std::filesystem::path folder = path.empty() ? "." : path;
  for (bool isDirectory = false; !fileExistsAtPath_isDirectory(folder.string(), &isDirectory) || !isDirectory;) {
    if (!folder.has_relative_path()) return folder.has_root_directory() ? "/" : ".";
    folder = folder.parent_path();
    if (folder.empty()) return ".";
  }
  return folder.string();
}

bool NSFileManager::isSameFileSystem(const std::string& path, const std::string& other) const {
  struct stat one {
  }, two{};
  return stat(existingFolderForPath(path).c_str(), &one) == 0 &&
         stat(existingFolderForPath(other).c_str(), &two) == 0 && one.st_dev == two.st_dev;
}

std::int64_t NSFileManager::missingSpaceForBytes_inFolder(std::int64_t bytes, const std::string& folder) const {
  const std::string there = existingFolderForPath(folder);
  const auto free = fileSystemFreeSizeForPath_error(there, nullptr);
  if (!free || *free >= static_cast<std::uint64_t>(bytes) || isOnReadOnlyDisk(there)) return 0;
  return bytes - static_cast<std::int64_t>(*free);
}

std::int64_t NSFileManager::missingSpaceToCopyItemAtPath_inFolder_withReserve(const std::string& path,
                                                                              const std::string& folder,
                                                                              std::int64_t reserve) const {
  struct stat status {};
  const std::int64_t bytes = stat(path.c_str(), &status) == 0 ? std::int64_t(status.st_size) : 0;
  const std::int64_t needed = std::min(bytes, std::numeric_limits<std::int64_t>::max() - reserve) + reserve;
  const std::int64_t most = missingSpaceForBytes_inFolder(needed, folder);
  if (most == 0 || !canShareBlocksOfItemAtPath_inFolder(path, folder)) return most;
  return missingSpaceForBytes_inFolder(reserve, folder);
}

bool NSFileManager::canShareBlocksOfItemAtPath_inFolder(const std::string& path, const std::string& folder) const {
  const FileDescriptor source(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!source) return false;
  const FileDescriptor trial(open(existingFolderForPath(folder).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  struct stat status {};
  if (!trial || fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  struct statvfs blocks {};
  if (fstatvfs(trial.get(), &blocks) != 0) return false;
  file_clone_range range{};
  range.src_fd = source.get();
  // One block; the whole of a file that is smaller.
  range.src_length = std::uint64_t(status.st_size) > blocks.f_bsize ? blocks.f_bsize : 0;
  return ioctl(trial.get(), FICLONERANGE, &range) == 0;
}
