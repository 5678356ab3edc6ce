#include "plugins/PublishToYouTube/upload/PrivateFile.h"

#include "platform/backends/posix/FileDescriptor.h"
#include "platform/backends/posix/HiddenFile.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace publishing {

namespace {

constexpr off_t largestFile = off_t(1024) * 1024;

/// Opens the folder of `path`; its own name must not be a link.
FileDescriptor openFolder(const std::string& path, bool create) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (create) {
    std::string made;
    for (const auto& part : folder) {
      made += (made.empty() || made.back() == '/' ? "" : "/") + part.string();
      mkdir(made.c_str(), 0700);  // those that are there stay as they are
    }
  }
  return FileDescriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::string nameOf(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

}  // namespace

std::optional<std::string> readPrivateFile(const std::string& path, int* failure) {
  const auto fail = [failure](int number) {
    const bool isOurs = number != 0 && number != ENOENT && number != ENOTDIR && number != ELOOP;
    if (failure) *failure = isOurs ? number : 0;
    return std::nullopt;
  };
  const FileDescriptor folder = openFolder(path, false);
  if (!folder) return fail(errno);
  const FileDescriptor file(openat(folder.get(), nameOf(path).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return fail(errno);
  if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || status.st_size > largestFile) return fail(0);
  if ((status.st_mode & 077) != 0 && fchmod(file.get(), 0600) != 0) return fail(errno);
  std::string content(size_t(status.st_size), '\0');
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t size = read(file.get(), content.data() + done, content.size() - done);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return fail(size < 0 ? errno : EIO);
    done += size_t(size);
  }
  if (failure) *failure = 0;
  return content;
}

int writePrivateFile(const std::string& path, const std::string& content) {
  FileDescriptor folder = openFolder(path, true);
  if (!folder) return errno;
  std::optional<HiddenFile> file = HiddenFile::create(std::move(folder), S_IRUSR | S_IWUSR);
  if (!file) return errno;
  for (size_t done = 0; done < content.size();) {
    const ssize_t size = write(file->descriptor(), content.data() + done, content.size() - done);
    if (size < 0 && errno != EINTR) return errno;
    done += size_t(std::max<ssize_t>(size, 0));
  }
  return file->publishReplacing(nameOf(path));
}

int openPrivateFile(const std::string& path, bool create) {
  const FileDescriptor folder = openFolder(path, create);
  if (!folder) return -1;
  return openat(folder.get(), nameOf(path).c_str(),
                O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (create ? O_CREAT : 0), S_IRUSR | S_IWUSR);
}

void removePrivateFile(const std::string& path) {
  const FileDescriptor folder = openFolder(path, false);
  if (folder) unlinkat(folder.get(), nameOf(path).c_str(), 0);
}

}  // namespace publishing
