#include "platform/Photos/PhotoLibraryStore.h"

#include "platform/backends/posix/FileCopy.h"
#include "platform/backends/posix/HiddenFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include <fstream>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {

class OpenedFile : public PhotoLibrarySource {
 public:
  FileDescriptor file;
  std::string name;
};

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value && value[0] == '/' ? value : "";
}

std::string homeDirectory() {
  if (std::string home = environment("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user && user->pw_dir ? user->pw_dir : "/";
}

/// As written by the desktop: XDG_VIDEOS_DIR="$HOME/Videos".
std::string videoDirectory() {
  if (std::string named = environment("XDG_VIDEOS_DIR"); !named.empty()) return named;
  const std::string home = homeDirectory(), configured = environment("XDG_CONFIG_HOME");
  std::ifstream file((configured.empty() ? home + "/.config" : configured) + "/user-dirs.dirs");
  constexpr std::string_view kKey = "XDG_VIDEOS_DIR=\"";
  for (std::string line; std::getline(file, line);) {
    line.erase(0, line.find_first_not_of(" \t"));
    const std::size_t end = line.rfind('"');
    if (!line.starts_with(kKey) || end < kKey.size()) continue;
    std::string path = line.substr(kKey.size(), end - kKey.size());
    if (path.starts_with("$HOME/")) path = home + path.substr(5);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    if (path.starts_with('/') && path != home) return path;  // the home directory itself means "none"
  }
  return home + "/Videos";
}

/// How many bytes of a file of `size` bytes find no room, now that writing `descriptor` has failed for lack of it.
std::int64_t missingBytes(int descriptor, std::int64_t size) {
  struct stat written {};
  struct statvfs space {};
  if (fstat(descriptor, &written) != 0 || fstatvfs(descriptor, &space) != 0) return 0;
  const auto free = std::int64_t(space.f_bavail) * std::int64_t(space.f_frsize);
  return std::max<std::int64_t>(size - std::int64_t(written.st_blocks) * 512 - free, 1);
}

}  // namespace

std::string PhotoLibraryStore::defaultFolder() {
  return videoDirectory() + "/Zevanti";
}

std::shared_ptr<PhotoLibrarySource> PhotoLibraryStore::open(const std::string& path, NSErrorPtr* error) {
  auto source = std::make_shared<OpenedFile>();
  source->name = std::filesystem::path(path).filename();
  source->file.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  int failure = 0;
  if (!source->file || fstat(source->file.get(), &status) != 0)
    failure = errno;
  else if (!S_ISREG(status.st_mode))
    failure = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  if (failure == 0) return source;
  *error = NSError::posix(failure, "“" + path + "” could not be saved: it can't be read");
  return nullptr;
}

NSErrorPtr PhotoLibraryStore::save(PhotoLibrarySource& opened, const std::string& folder, const std::string& name,
                                   const std::string& extension) {
  auto& source = static_cast<OpenedFile&>(opened);
  const std::string what = "“" + name + "." + extension + "” could not be saved in " + folder;
  std::error_code folderError;
  std::filesystem::create_directories(folder, folderError);
  if (folderError) return NSError::posix(folderError.value(), what + ": the folder can't be made");

  struct stat status {};
  if (fstat(source.file.get(), &status) != 0) return NSError::posix(errno, what);
  std::optional<HiddenFile> file = HiddenFile::create(folder);
  if (!file) return NSError::posix(errno, what);
  int failure = cloneOrCopy(source.file.get(), file->descriptor());
  // A saved movie keeps its age.
  const std::array<timespec, 2> times{timespec{0, UTIME_NOW}, status.st_mtim};
  if (failure == 0) futimens(file->descriptor(), times.data());
  for (int number = 1; failure == 0; ++number) {
    const std::string numbered = number == 1 ? name : name + " " + std::to_string(number);
    failure = file->publish(numbered + "." + extension);
    if (failure == 0) return nullptr;
    if (failure == EEXIST) failure = 0;
  }
  if (failure == ENOSPC || failure == EDQUOT) {
    const std::string missing = std::to_string(missingBytes(file->descriptor(), status.st_size));
    return NSError::posix(failure, what + ", " + missing + " bytes are missing on the disk");
  }
  return NSError::posix(failure, what);
}
