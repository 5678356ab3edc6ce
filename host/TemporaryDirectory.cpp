#include "host/TemporaryDirectory.h"

#include "platform/Foundation/ExtensionLaunch.h"
#include "platform/Foundation/NSFileManager.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace {

NSErrorPtr refused(const std::string& path, const char* why) {
  return std::make_shared<NSError>("Zevanti", 1,
                                   "The folder for temporary files, “" + path + "”, " + why +
                                       ". Move it away, or choose another cache folder with XDG_CACHE_HOME.");
}

}  // namespace

std::unique_ptr<TemporaryDirectory> TemporaryDirectory::open(NSErrorPtr* error) {
  std::string path = temporaryDirectoryPath();
  path.pop_back();  // with the separator at its end a link would be followed
  // The way there is the user's cache directory, which is private as well.
  mode_t before = umask(077);
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST && !failure)
    failure = std::error_code(errno, std::generic_category());
  umask(before);

  FileDescriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!directory) {
    bool otherKind = errno == ELOOP || errno == ENOTDIR;
    *error = otherKind
                 ? refused(path, "is not a folder")
                 : NSError::posix(failure ? failure.value() : errno,
                                  "The folder for temporary files, “" + path +
                                      "”, can’t be made or used; choose another cache folder with XDG_CACHE_HOME");
    return nullptr;
  }
  if (fstat(directory.get(), &status) != 0 || status.st_uid != geteuid()) {
    *error = refused(path, "belongs to another user");
    return nullptr;
  }
  if ((status.st_mode & 07777) != 0700 && fchmod(directory.get(), 0700) != 0) {
    *error = NSError::posix(errno, "The folder “" + path + "” can’t be made private");
    return nullptr;
  }

  std::unique_ptr<TemporaryDirectory> opened(new TemporaryDirectory(std::move(directory)));
  // On a file system without locks nothing is swept, and everything else works.
  if (flock(opened->lock(), LOCK_EX | LOCK_NB) == 0) opened->sweep();
  flock(opened->lock(), LOCK_SH);

  std::string folder = path + "/ZVZevanti_XXXXXX";
  if (!mkdtemp(folder.data())) {
    *error = NSError::posix(errno, "The folder “" + path + "” can’t be written to");
    return nullptr;
  }
  opened->runFolder_ = folder;
  return opened;
}

bool TemporaryDirectory::contains(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path inside = std::filesystem::weakly_canonical(path, failure),
                              directory = std::filesystem::weakly_canonical(temporaryDirectoryPath(), failure) / "";
  return !inside.empty() && (inside / "").string().starts_with(directory.string());
}

TemporaryDirectory::~TemporaryDirectory() {
  if (!runFolder_.empty()) NSFileManager::defaultManager().removeItemAtPath_error(runFolder_, nullptr);
  if (flock(lock(), LOCK_EX | LOCK_NB) == 0) sweep();
}

void TemporaryDirectory::sweep() const {
  // By descriptor: what was checked is what is swept.
  std::string self = "/proc/self/fd/" + std::to_string(lock());
  NSFileManager& files = NSFileManager::defaultManager();
  for (const std::string& name :
       files.contentsOfDirectoryAtPath_error(self, nullptr).value_or(std::vector<std::string>())) {
    if (name.starts_with("ZVZevanti_") || name.starts_with(".zevanti-"))
      files.removeItemAtPath_error(self + "/" + name, nullptr);
  }
}
