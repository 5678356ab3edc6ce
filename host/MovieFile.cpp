#include "host/MovieFile.h"

#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/ShownText.h"
#include "support/NSFileManagerZVExtensions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

/// The folder that a person knows: what is in it comes and goes.
std::string placeOf(const std::string& folder) {
  std::filesystem::path place = folder;
  if (!place.has_filename()) place = place.parent_path();
  place = place.parent_path();
  if (!place.has_filename()) place = place.parent_path();
  return displayName(place.string());
}

NSErrorPtr lackOfSpace(const std::string& folder, std::int64_t missing) {
  const std::string room = missing > 0
                               ? "there is not enough room in “" + placeOf(folder) +
                                     "”: " + std::to_string((missing + 999'999) / 1'000'000) + " MB more are needed"
                               : "there is no room left in “" + placeOf(folder) + "”";
  return std::make_shared<const NSError>(
      NSPOSIXErrorDomain, ENOSPC, "The movie can’t be opened: " + room + ". Make room on its disk, then open it again");
}

}  // namespace

std::optional<MovieFile> MovieFile::open(const std::string& path, std::string& problem) {
  // Without waiting for a writer, should it be a pipe.
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    problem = std::strerror(errno);
  } else if (S_ISDIR(status.st_mode)) {
    problem = "it is a folder";
  } else if (!S_ISREG(status.st_mode)) {
    problem = "it is not a file";
  } else if (status.st_size == 0) {
    problem = "the file is empty";
  } else {
    return MovieFile(path.substr(path.rfind('/') + 1), std::move(file));
  }
  return {};
}

std::string MovieFile::handOver(const std::string& folder, const CopyProgress& progress, NSErrorPtr* error) const {
  std::string path = folder + "/" + name_;
  // The very file that was opened, whatever has its name by now.
  std::string opened = "/proc/self/fd/" + std::to_string(file_.get());
  if (linkat(AT_FDCWD, opened.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return path;

  const auto missingSpace = [&] {
    return NSFileManager::defaultManager().missingSpaceToCopyItemAtPath_inFolder_withReserve(
        opened, folder, ZVScreenRecorderRequiredFreeSpace);
  };
  if (const std::int64_t missing = missingSpace(); missing > 0) {
    *error = lackOfSpace(folder, missing);
    return {};
  }
  struct stat status {};
  fstat(file_.get(), &status);
  // What is saved of it may be read by those who may read the recording. The folder is private.
  const mode_t mode = S_IRUSR | S_IWUSR | (status.st_mode & (S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH));
  FileDescriptor copy(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  const int failure = copy ? cloneOrCopy(file_.get(), copy.get(), progress) : errno;
  if (failure == 0) {
    // The title shows when the movie was made.
    std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    futimens(copy.get(), times.data());
    return path;
  }
  unlink(path.c_str());
  copy.reset();  // gives its room back
  if (failure == ENOSPC) {
    *error = lackOfSpace(folder, missingSpace());
  } else if (failure == kSourceEndedEarly) {
    *error = std::make_shared<const NSError>(
        NSPOSIXErrorDomain, failure,
        "“" + displayName(name_) + "” was cut off by another program while it was copied; open it again");
  } else {
    *error = NSError::posix(failure, "The movie can’t be copied to “" + placeOf(folder) + "”");
  }
  return {};
}
