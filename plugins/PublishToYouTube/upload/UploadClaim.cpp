#include "plugins/PublishToYouTube/upload/UploadClaim.h"

#include "plugins/PublishToYouTube/upload/PrivateFile.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace publishing {

namespace {

std::string pathOf(const std::string& stateFolder, const std::string& file) {
  return stateFolder + "/uploading/" + file + ".lock";
}

/// All of the file. The lock is the open file's, not the process's: two windows of one process exclude each other too.
struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

/// Whether the file still has this name: who had the claim before removes it.
bool isAt(const FileDescriptor& file, const std::string& path) {
  struct stat opened {
  }, named{};
  return fstat(file.get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

}  // namespace

std::unique_ptr<UploadClaim> UploadClaim::take(const std::string& stateFolder, const std::string& file) {
  constexpr int mostTries = 10;
  const std::string path = pathOf(stateFolder, file);
  for (int i = 0; i < mostTries; ++i) {
    FileDescriptor lock(openPrivateFile(path, true));
    if (!lock) break;
    struct flock whole = wholeFile();
    if (fcntl(lock.get(), F_OFD_SETLK, &whole) != 0) {
      if (errno == EAGAIN || errno == EACCES) return nullptr;
      break;
    }
    if (isAt(lock, path)) return std::unique_ptr<UploadClaim>(new UploadClaim(path, std::move(lock)));
  }
  return std::unique_ptr<UploadClaim>(new UploadClaim({}, FileDescriptor()));
}

bool UploadClaim::isTaken(const std::string& stateFolder, const std::string& file) {
  const FileDescriptor lock(openPrivateFile(pathOf(stateFolder, file), false));
  struct flock whole = wholeFile();
  return lock && fcntl(lock.get(), F_OFD_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
}

UploadClaim::~UploadClaim() {
  if (lock_) removePrivateFile(path_);
}

}  // namespace publishing
