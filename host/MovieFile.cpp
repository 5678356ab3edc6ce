#include "host/MovieFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <array>
#include <cerrno>
#include <cstring>

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

  FileDescriptor copy(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  int failure = copy ? cloneOrCopy(file_.get(), copy.get(), progress) : errno;
  struct stat status {};
  if (failure == 0 && fstat(file_.get(), &status) == 0) {
    // The title shows when the movie was made.
    std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    futimens(copy.get(), times.data());
    return path;
  }
  unlink(path.c_str());
  *error = NSError::posix(failure, "The movie can’t be copied to “" + folder + "”");
  return {};
}
