#include "platform/Photos/PhotoLibraryStore.h"

#include "platform/Foundation/Environment.h"
#include "platform/backends/posix/ContentWatch.h"
#include "platform/backends/posix/FileCopy.h"
#include "platform/backends/posix/FileFlush.h"
#include "platform/backends/posix/HiddenFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

class OpenedFile : public PhotoLibrarySource {
 public:
  FileDescriptor file;
  std::optional<ContentWatch> watch;  // ends before the file is closed
  std::string name;
};

/// As written by the desktop: XDG_VIDEOS_DIR="$HOME/Videos".
std::string videoDirectory() {
  if (std::string named = environmentFolder("XDG_VIDEOS_DIR"); !named.empty()) return named;
  const std::string home = homeFolder(), configured = environmentFolder("XDG_CONFIG_HOME");
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
  return std::max<std::int64_t>(size - std::int64_t(written.st_blocks) * 512 - free, 0);
}

/// Whether two files of `size` bytes are the same at both ends and at places between.
bool haveSameContent(int first, int second, std::int64_t size) {
  constexpr std::int64_t kPieces = 64;
  constexpr std::size_t kPieceSize = 16384;
  std::vector<char> a(kPieceSize), b(kPieceSize);
  const std::int64_t last = std::max<std::int64_t>(size - std::int64_t(kPieceSize), 0);
  for (std::int64_t piece = 0; piece <= kPieces; ++piece) {
    const std::int64_t offset = last / kPieces * piece + last % kPieces * piece / kPieces;
    const ssize_t length = pread(first, a.data(), kPieceSize, offset);
    if (length < 0 || pread(second, b.data(), kPieceSize, offset) != length) return false;
    if (!std::equal(a.begin(), a.begin() + length, b.begin())) return false;
    if (last == 0) break;
  }
  return true;
}

bool isAsLong(int file, const struct stat& wanted) {
  struct stat status {};
  return fstat(file, &status) == 0 && status.st_size == wanted.st_size;
}

bool isSameMovie(int source, const struct stat& wanted, const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode) || found.st_size != wanted.st_size) return false;
  if (found.st_dev == wanted.st_dev && found.st_ino == wanted.st_ino) return true;
  constexpr time_t kCoarsestTimes = 2;  // seconds, on the file systems of memory cards
  if (std::abs(found.st_mtim.tv_sec - wanted.st_mtim.tv_sec) > kCoarsestTimes) return false;
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return file && haveSameContent(source, file.get(), wanted.st_size);
}

}  // namespace

std::string PhotoLibraryStore::find(PhotoLibrarySource& opened, const std::string& folder) {
  const int source = static_cast<OpenedFile&>(opened).file.get();
  struct stat wanted {};
  if (fstat(source, &wanted) != 0) return "";
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const std::string path = entry->path().string();
    if (!entry->path().filename().string().starts_with(".") && isSameMovie(source, wanted, path)) return path;
  }
  return "";
}

bool PhotoLibraryStore::isCopy(PhotoLibrarySource& opened, const std::string& path) {
  const int source = static_cast<OpenedFile&>(opened).file.get();
  struct stat wanted {};
  return fstat(source, &wanted) == 0 && isSameMovie(source, wanted, path);
}

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
  if (failure == 0) {
    source->watch.emplace(source->file.get());
    return source;
  }
  *error = NSError::posix(failure, "“" + source->name + "” could not be saved: it can't be read");
  return nullptr;
}

NSErrorPtr PhotoLibraryStore::save(PhotoLibrarySource& opened, const std::string& folder, const std::string& name,
                                   const std::string& extension, std::string* savedPath,
                                   const std::function<void(float)>& progress) {
  auto& source = static_cast<OpenedFile&>(opened);
  const std::string what = "“" + name + "." + extension + "” could not be saved in " + folder;
  std::error_code folderError;
  std::filesystem::create_directories(folder, folderError);
  if (folderError) return NSError::posix(folderError.value(), what + ": the folder can't be made");

  struct stat status {};
  if (fstat(source.file.get(), &status) != 0) return NSError::posix(errno, what);
  std::optional<HiddenFile> file = HiddenFile::create(folder, status.st_mode);
  if (!file) return NSError::posix(errno, what);
  const auto report = [&progress](float from, std::int64_t done, std::int64_t total) {
    if (progress && total > 0) progress(std::min(from + 0.5F * float(double(done) / double(total)), 1.0F));
    return true;
  };
  int failure = cloneOrCopy(source.file.get(), file->descriptor(),
                            [&](std::int64_t done, std::int64_t total) { return report(0, done, total); });
  if (failure == 0 &&
      (!isAsLong(source.file.get(), status) || !isAsLong(file->descriptor(), status) || source.watch->hasChanged()))
    failure = kSourceEndedEarly;
  if (failure == 0) {
    failure =
        flushFile(file->descriptor(), [&](std::int64_t done, std::int64_t total) { return report(0.5F, done, total); });
  }
  // A saved movie keeps its age.
  const std::array<timespec, 2> times{timespec{0, UTIME_NOW}, status.st_mtim};
  if (failure == 0) futimens(file->descriptor(), times.data());
  for (int number = 1; failure == 0; ++number) {
    const std::string numbered = number == 1 ? name : name + " " + std::to_string(number);
    failure = file->publish(numbered + "." + extension);
    if (failure == 0) {
      if (savedPath) *savedPath = folder + "/" + numbered + "." + extension;
      return nullptr;
    }
    if (failure == EEXIST) failure = 0;
  }
  if (failure == kSourceEndedEarly) {
    return std::make_shared<const NSError>(NSPOSIXErrorDomain, failure,
                                           what + ": another program has changed it meanwhile");
  }
  const std::int64_t missing = failure == ENOSPC ? missingBytes(file->descriptor(), status.st_size) : 0;
  if (missing > 0)
    return NSError::posix(failure, what + ", " + std::to_string(missing) + " bytes more are needed on the disk");
  return NSError::posix(failure, what);
}
