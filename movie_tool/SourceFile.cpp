#include "movie_tool/SourceFile.h"

#include "movie_tool/Message.h"
#include "platform/backends/ffmpeg/ContainerConversion.h"
#include "platform/backends/ffmpeg/MovieInput.h"
#include "platform/backends/isobmff/ByteReader.h"
#include "platform/backends/isobmff/FileScanner.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/ReadFailure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>

using isobmff::fourCC;

SourceFile SourceFile::open(const std::string& path, NSErrorPtr* error) {
  SourceFile source;
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    *error = NSError::posix(errno, message::quoted(path) + " can't be opened");
    return source;
  }
  const char* problem = S_ISDIR(status.st_mode)    ? " is a folder."
                        : !S_ISREG(status.st_mode) ? " is a pipe or a device, not a file."
                        : status.st_size == 0      ? " is empty."
                                                   : nullptr;
  if (problem) {
    *error = std::make_shared<const NSError>(NSPOSIXErrorDomain, EINVAL, message::quoted(path) + problem);
    return source;
  }
  source.file_ = std::move(file);
  source.size_ = std::uint64_t(status.st_size);
  return source;
}

bool SourceFile::isBoxed() const {
  return isobmff::isMovieFile(descriptor());
}

MovieKind SourceFile::kind() const {
  if (!kind_) kind_ = readKind();
  return *kind_;
}

MovieKind SourceFile::readKind() const {
  if (!isBoxed()) {
    const auto input = MovieInput::open("/proc/self/fd/" + std::to_string(descriptor()), "", nullptr);
    return input && isPackedAsQuickTime(*input) ? MovieKind::QuickTime : MovieKind::MP4;
  }
  try {
    isobmff::FileScanner scanner(descriptor());
    isobmff::FileBox box;
    // Little stands before it, if it is there.
    for (std::uint64_t at = 0, count = 0; count < 16 && scanner.boxAt(at, box); at = box.end, ++count) {
      if (box.type != fourCC("ftyp")) continue;
      return isobmff::loadU32(scanner.read(box.payload, 4).data()) == fourCC("qt  ") ? MovieKind::QuickTime
                                                                                     : MovieKind::MP4;
    }
  } catch (const isobmff::ReadFailure&) {
    // Nobody can read it, so nothing will be written.
  }
  return MovieKind::QuickTime;
}
