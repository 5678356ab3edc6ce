#include "movie_tool/OutputFile.h"

#include "movie_tool/Message.h"
#include "platform/Foundation/UTF8.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;
using message::quoted;

namespace {

/// In small letters, with the point.
std::string ending(const fs::path& path) {
  std::string text = path.extension().string();
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
  return text;
}

bool fits(const std::string& ending, MovieKind kind) {
  const auto is = [&](std::initializer_list<const char*> endings) {
    return std::find(endings.begin(), endings.end(), ending) != endings.end();
  };
  return kind == MovieKind::QuickTime ? is({".mov", ".qt"}) : is({".mp4", ".m4v", ".m4a", ".3gp", ".3g2", ".f4v"});
}

/// Whether a copy of `movie` may end in `ending`. Recorders put QuickTime movies into .mp4 files and the reverse; their
/// copies are no worse.
bool mayEndIn(const std::string& ending, const std::string& movie, const SourceFile& source) {
  if (fits(ending, source.kind())) return true;
  const bool known = fits(ending, MovieKind::MP4) || fits(ending, MovieKind::QuickTime);
  return known && ending == ::ending(movie) && source.isBoxed();
}

std::string folderOf(const std::string& path) {
  const std::string folder = fs::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

std::string folderObstacle(const std::string& folder) {
  struct stat status {};
  const std::string other = "; give another file with -o";
  if (stat(folder.c_str(), &status) != 0)
    return errno == ENOENT ? "there is no folder " + quoted(folder) + "; make it first, or give another file with -o"
                           : "can't write in the folder " + quoted(folder) + ": " + std::strerror(errno);
  if (!S_ISDIR(status.st_mode)) return quoted(folder) + " is not a folder" + other;
  if (access(folder.c_str(), W_OK | X_OK) != 0)
    return "can't write in the folder " + quoted(folder) + ": " + std::strerror(errno) + other;
  return "";
}

}  // namespace

std::string output_file::defaultPath(const std::string& movie, const SourceFile& source) {
  const fs::path path(movie);
  const std::string suffix = " trimmed" + (mayEndIn(ending(path), movie, source)   ? path.extension().string()
                                           : source.kind() == MovieKind::QuickTime ? ".mov"
                                                                                   : ".mp4");
  const std::string name = UTF8Shortened(path.stem().string(), NAME_MAX - suffix.size()) + suffix;
  return (path.parent_path() / name).string();
}

std::string output_file::wrongEnding(const std::string& path, const std::string& movie, const SourceFile& source) {
  const std::string given = ending(path);
  if (given.empty() || mayEndIn(given, movie, source)) return "";
  return "can't write a " + given + " file: the copy of " + quoted(movie) + " is " +
         (source.kind() == MovieKind::QuickTime ? "a QuickTime movie; give a name that ends in .mov"
                                                : "an MP4 movie; give a name that ends in .mp4 or .m4v");
}

std::string output_file::obstacle(const std::string& path, const std::string& movie, bool replaces) {
  const std::string other = "; give another file with -o";
  if (fs::path(path).filename().empty()) return quoted(path) + " is the name of a folder" + other;
  struct stat there {
  }, own{};
  if (stat(path.c_str(), &there) != 0 && lstat(path.c_str(), &there) != 0) {
    const int reason = errno;
    if (const std::string problem = folderObstacle(folderOf(path)); !problem.empty()) return problem;
    return reason == ENOENT ? "" : "can't write " + quoted(path) + ": " + std::strerror(reason);
  }
  if (stat(movie.c_str(), &own) == 0 && there.st_dev == own.st_dev && there.st_ino == own.st_ino)
    return quoted(path) + " is the movie itself" + other;
  if (S_ISDIR(there.st_mode)) return quoted(path) + " is a folder" + other;
  if (!S_ISREG(there.st_mode) && !S_ISLNK(there.st_mode)) return quoted(path) + " is not a file" + other;
  if (!replaces) return quoted(path) + " is there already" + other + ", or --force to replace it";
  return folderObstacle(folderOf(path));
}
