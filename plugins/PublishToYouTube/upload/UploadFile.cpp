#include "plugins/PublishToYouTube/upload/UploadFile.h"

#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <QtCore/QCryptographicHash>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace publishing {

namespace {

constexpr std::int64_t hashedPiece = std::int64_t(1024) * 1024;  // bytes

std::string nameOf(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

std::string typeOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  if (extension == ".mp4" || extension == ".m4v") return "video/mp4";
  if (extension == ".mov") return "video/quicktime";
  if (extension == ".webm") return "video/webm";
  if (extension == ".mkv") return "video/x-matroska";
  return "video/*";
}

}  // namespace

std::shared_ptr<UploadFile> UploadFile::open(const std::string& path, NSErrorPtr* error) {
  const auto fail = [&](const NSErrorPtr& what) {
    *error = what;
    return nullptr;
  };
  const std::shared_ptr<UploadFile> file(new UploadFile);
  file->path_ = path;
  file->type_ = typeOf(path);
  file->file_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file->file_ || fstat(file->file_.get(), &status) != 0) {
    const int failure = errno;
    return fail(NSError::posix(failure, localized("The movie %@ can't be opened", {nameOf(path)})));
  }
  if (!S_ISREG(status.st_mode) || status.st_size == 0) {
    return fail(publishingError(
        PublishingErrorCode::UnreadableFile,
        S_ISREG(status.st_mode) ? localized("There is nothing to publish in %@: it is empty.", {nameOf(path)})
                                : localized("There is nothing to publish in %@: it is not a file.", {nameOf(path)})));
  }
  file->size_ = status.st_size;
  file->changedSeconds_ = status.st_mtim.tv_sec;
  file->changedNanoseconds_ = status.st_mtim.tv_nsec;
  posix_fadvise(file->file_.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
  return file;
}

std::string UploadFile::identify(const std::function<bool()>& isWanted) {
  QCryptographicHash hash(QCryptographicHash::Sha256);
  std::vector<char> piece(static_cast<size_t>(std::min(size_, hashedPiece)));
  for (std::int64_t at = 0; at < size_;) {
    if (!isWanted()) return {};
    const std::int64_t done = read(at, piece.data(), std::int64_t(piece.size()));
    if (done <= 0) return {};
    hash.addData(QByteArrayView(piece.data(), done));
    at += done;
  }
  return std::to_string(size_) + "-" + hash.result().toHex().toStdString();
}

bool UploadFile::isUnchanged() const {
  struct stat status {};
  return fstat(file_.get(), &status) == 0 && status.st_size == size_ && status.st_mtim.tv_sec == changedSeconds_ &&
         status.st_mtim.tv_nsec == changedNanoseconds_;
}

std::int64_t UploadFile::read(std::int64_t at, char* data, std::int64_t size) {
  const std::int64_t wanted = std::clamp<std::int64_t>(size_ - at, 0, size);
  std::int64_t done = 0;
  while (done < wanted) {
    const ssize_t step = pread(file_.get(), data + done, size_t(wanted - done), at + done);
    if (step < 0 && errno == EINTR) continue;
    if (step < 0) unreadable_ = true;
    if (step <= 0) return -1;  // it has become shorter
    done += step;
  }
  // After reading, so that nothing is handed on that was written meanwhile.
  return isUnchanged() ? done : -1;
}

NSErrorPtr UploadFile::check() {
  if (!isUnchanged()) {
    return publishingError(PublishingErrorCode::FileChanged,
                           localized("The movie %@ changed while it was published, so it was not published. Publish it "
                                     "again when it is finished.",
                                     {nameOf(path_)}));
  }
  if (unreadable_) {
    return publishingError(
        PublishingErrorCode::UnreadableFile,
        localized("The movie %@ can't be read to its end, so it was not published. Check the disk that it is on.",
                  {nameOf(path_)}));
  }
  return nullptr;
}

}  // namespace publishing
