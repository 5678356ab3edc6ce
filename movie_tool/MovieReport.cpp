#include "movie_tool/MovieReport.h"

#include "movie_tool/BoxReport.h"
#include "movie_tool/StreamReport.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <filesystem>

std::unique_ptr<MovieReport> MovieReport::read(const std::string& path, NSErrorPtr* error) {
  std::string name = std::filesystem::path(path).filename().string();
  if (name.empty()) name = path;
  // A pipe that nobody writes to must not keep us waiting.
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    *error = NSError::posix(errno, "“" + name + "” can't be opened");
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    const std::string what = S_ISDIR(status.st_mode) ? "” is a folder." : "” is not a file.";
    *error = std::make_shared<const NSError>(NSPOSIXErrorDomain, EINVAL, "“" + name + what);
    return nullptr;
  }
  std::unique_ptr<MovieReport> report;
  NSErrorPtr ours;
  if (isobmff::isMovieFile(file.get())) {
    if (const auto movie = isobmff::readMovie(file.get(), name, &ours)) report = reportOfBoxes(*movie);
  }
  if (!report) report = reportOfStreams(path, name, error);
  if (!report) {
    // Ours knows more about what is wrong.
    if (ours) *error = ours;
    return nullptr;
  }
  report->file = path;
  report->bytes = std::uint64_t(status.st_size);
  return report;
}
