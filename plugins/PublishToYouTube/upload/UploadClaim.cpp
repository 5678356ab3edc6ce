#include "plugins/PublishToYouTube/upload/UploadClaim.h"

#include "plugins/PublishToYouTube/upload/PrivateFile.h"

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace publishing {

namespace {

constexpr const char* extension = ".lock";

// Who sweeps holds a claim for some microseconds.
constexpr int mostLooks = 4;
constexpr std::chrono::milliseconds betweenLooks(5);

std::string folderIn(const std::string& stateFolder) {
  return stateFolder + "/uploading";
}

std::string pathOf(const std::string& stateFolder, const std::string& file) {
  return folderIn(stateFolder) + "/" + file + extension;
}

/// All of the file. The lock is the open file's, not the process's: two windows of one process exclude each other too.
struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

std::unique_ptr<UploadClaim> UploadClaim::take(const std::string& stateFolder, const std::string& file) {
  constexpr int mostTries = 100;
  int looks = 0;
  const std::string path = pathOf(stateFolder, file);
  for (int i = 0; i < mostTries; ++i) {
    FileDescriptor lock(openPrivateFile(path, true));
    if (!lock) break;
    struct flock whole = wholeFile();
    if (fcntl(lock.get(), F_OFD_SETLK, &whole) != 0) {
      if (errno != EAGAIN && errno != EACCES) break;
      if (++looks == mostLooks) return nullptr;
      std::this_thread::sleep_for(betweenLooks);
      continue;
    }
    // Who had the claim before removes it.
    if (hasName(lock, AT_FDCWD, path.c_str()))
      return std::unique_ptr<UploadClaim>(new UploadClaim(path, std::move(lock)));
  }
  return std::unique_ptr<UploadClaim>(new UploadClaim({}, FileDescriptor()));
}

bool UploadClaim::isTaken(const std::string& stateFolder, const std::string& file) {
  for (int look = 1;; ++look) {
    const FileDescriptor lock(openPrivateFile(pathOf(stateFolder, file), false));
    struct flock whole = wholeFile();
    if (!lock || fcntl(lock.get(), F_OFD_GETLK, &whole) != 0 || whole.l_type == F_UNLCK) return false;
    if (look == mostLooks) return true;
    std::this_thread::sleep_for(betweenLooks);
  }
}

void UploadClaim::sweep(const std::string& stateFolder, std::chrono::seconds age) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folderIn(stateFolder), error)) {
    const std::string path = entry.path().string();
    struct stat status {};
    if (entry.path().extension() != extension || lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_mtim.tv_sec > std::time(nullptr) - age.count())
      continue;
    const FileDescriptor lock(openPrivateFile(path, false));
    struct flock whole = wholeFile();
    // Who has opened it by now sees, having locked it, that it has lost its name, and makes another.
    if (lock && fcntl(lock.get(), F_OFD_SETLK, &whole) == 0 && hasName(lock, AT_FDCWD, path.c_str()))
      removePrivateFile(path);
  }
}

UploadClaim::~UploadClaim() {
  if (lock_) removePrivateFile(path_);
}

}  // namespace publishing
