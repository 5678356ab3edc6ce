#include "platform/Photos/PHPhotoLibrary.h"

#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/ShownText.h"
#include "platform/Foundation/UTF8.h"
#include "platform/Photos/PhotoLibraryStore.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

namespace {

struct SaveRequest {
  std::string path;
  std::shared_ptr<PhotoLibrarySource> source;  // null when it could not be opened
  NSErrorPtr openError;
};

SaveRequest makeRequest(const std::string& path) {
  SaveRequest request{path, nullptr, nullptr};
  request.source = PhotoLibraryStore::open(path, &request.openError);
  return request;
}

/// What the change block that runs on this thread has asked for.
thread_local std::vector<SaveRequest>* currentChange = nullptr;

struct Library {
  dispatch_queue_t queue = dispatch_queue_create("photo library");
  std::atomic<int> pending{0}, failed{0};
  std::atomic<bool> latestFailed{false};
  std::atomic<float> progress{0};
  std::mutex mutex;
  std::string folder, nameForPrivateFiles = "Recording";
  /// Paths of copies that other programs needed and the person has not asked for. Of `queue`.
  std::vector<std::string> copiesForOthers;
};

Library& library() {
  static Library& shared = *new Library;  // saves may still run when static objects are destroyed
  return shared;
}

/// A request to the library, from when it is made until it has been carried out and reported.
class PendingRequest {
 public:
  PendingRequest() { ++library().pending; }
  ~PendingRequest() { --library().pending; }
  PendingRequest(const PendingRequest&) = delete;
  PendingRequest& operator=(const PendingRequest&) = delete;

 private:
  EssentialWork work_;
};

/// `text` as part of a file name: no separators, no control characters, not hidden, not over-long.
std::string cleanName(std::string text) {
  for (char& c : text) {
    if (c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '-';
  }
  text.erase(0, text.find_first_not_of(" ."));
  // File systems take 255 bytes; the number and the extension need some.
  constexpr std::size_t kLongest = 200;
  text = UTF8Shortened(text, kLongest);
  text.erase(text.find_last_not_of(' ') + 1);
  return text.empty() ? "Recording" : text;
}

struct FileName {
  std::string name, extension;
};

/// What a movie is called in the library.
FileName libraryName(const std::string& path) {
  std::string privateName;
  {
    const std::lock_guard lock(library().mutex);
    privateName = library().nameForPrivateFiles;
  }
  std::string name = NSURL::fileURLWithPath(path).lastPathComponent(), extension;
  if (const std::size_t dot = name.rfind('.'); dot != std::string::npos && dot > 0 && name.size() - dot <= 8) {
    extension = name.substr(dot + 1);
    name.resize(dot);
  }
  if (name.starts_with("ZVZevanti_")) name = privateName + " trimmed";
  return {cleanName(name), cleanName(extension.empty() ? "mp4" : extension)};
}

NSErrorPtr carryOut(const SaveRequest& request, std::string* savedPath) {
  if (!request.source) return request.openError;
  const FileName file = libraryName(request.path);
  return PhotoLibraryStore::save(*request.source, PHPhotoLibrary::sharedPhotoLibrary().folder(), file.name,
                                 file.extension, savedPath, [](float value) { library().progress = value; });
}

/// One save from beginning to end, counted and reported.
NSErrorPtr save(const SaveRequest& request, std::string* savedPath = nullptr) {
  library().progress = 0;
  const NSErrorPtr error = carryOut(request, savedPath);
  library().latestFailed = error != nullptr;
  if (error) {
    ++library().failed;
    printMessage(error->localizedDescription());
  }
  return error;
}

/// Why a copy would leave less than `reserve` bytes on the library's disk; null when it would not.
NSErrorPtr lackOfSpace(const SaveRequest& request, std::int64_t reserve) {
  const std::string& folder = PHPhotoLibrary::sharedPhotoLibrary().folder();
  const std::int64_t missing =
      NSFileManager::defaultManager().missingSpaceToCopyItemAtPath_inFolder_withReserve(request.path, folder, reserve);
  if (!request.source || missing == 0) return nullptr;
  return NSError::posix(ENOSPC,
                        "“" + folder + "” has not enough room, " + std::to_string(missing) + " bytes more are needed");
}

/// A save that the person has asked for. A copy of the movie that is there only because it was shared becomes it.
NSErrorPtr saveForPerson(const SaveRequest& request) {
  auto& copies = library().copiesForOthers;
  const auto copy = std::find_if(copies.begin(), copies.end(), [&](const std::string& path) {
    return request.source && PhotoLibraryStore::isCopy(*request.source, path);
  });
  if (copy == copies.end()) return save(request);
  copies.erase(copy);
  library().latestFailed = false;
  return nullptr;
}

}  // namespace

PHPhotoLibrary& PHPhotoLibrary::sharedPhotoLibrary() {
  static PHPhotoLibrary shared;
  return shared;
}

void PHPhotoLibrary::performChanges_completionHandler(std::function<void()> changeBlock,
                                                      std::function<void(bool success, NSErrorPtr error)> completion) {
  dispatch_async(library().queue, [changeBlock = std::move(changeBlock), completion = std::move(completion),
                                   pending = std::make_shared<PendingRequest>()]() mutable {
    std::vector<SaveRequest> requests;
    currentChange = &requests;
    changeBlock();
    currentChange = nullptr;
    changeBlock = nullptr;  // what it holds is not needed while the files are written
    NSErrorPtr firstError;
    for (const SaveRequest& request : requests) {
      const NSErrorPtr error = saveForPerson(request);
      if (!firstError) firstError = error;
    }
    if (completion) completion(!firstError, firstError);
  });
}

void PHPhotoLibrary::locateOrSaveMovieAtPath_requiredFreeSpace_completionHandler(
    const std::string& path, std::int64_t requiredFreeSpace,
    std::function<void(const std::string& savedPath, NSErrorPtr error)> completion) {
  dispatch_async(library().queue, [this, request = makeRequest(path), requiredFreeSpace,
                                   completion = std::move(completion), pending = std::make_shared<PendingRequest>()] {
    std::string savedPath;
    if (request.source) savedPath = PhotoLibraryStore::find(*request.source, folder());
    NSErrorPtr error;
    if (savedPath.empty()) {
      error = lackOfSpace(request, requiredFreeSpace);
      if (!error) error = save(request, &savedPath);
      if (!error) library().copiesForOthers.push_back(savedPath);
    }
    completion(savedPath, error);
  });
}

std::string PHPhotoLibrary::fileNameForMovieAtPath(const std::string& path) const {
  const FileName file = libraryName(path);
  return file.name + "." + file.extension;
}

void PHPhotoLibrary::configure(const std::string& folder, const std::string& nameForPrivateFiles) {
  const std::lock_guard lock(library().mutex);
  library().folder = folder;
  if (!nameForPrivateFiles.empty()) library().nameForPrivateFiles = nameForPrivateFiles;
}

const std::string& PHPhotoLibrary::folder() const {
  const std::lock_guard lock(library().mutex);
  if (library().folder.empty()) library().folder = PhotoLibraryStore::defaultFolder();
  return library().folder;
}

bool PHPhotoLibrary::hasPendingSaves() const {
  return library().pending > 0;
}

int PHPhotoLibrary::failedSaveCount() const {
  return library().failed;
}

bool PHPhotoLibrary::latestSaveFailed() const {
  return library().latestFailed;
}

float PHPhotoLibrary::progress() const {
  return library().progress;
}

void PHAssetChangeRequest::creationRequestForAssetFromVideoAtFileURL(const NSURL& url,
                                                                     const std::function<bool()>& hasChanged) {
  if (!currentChange) return;
  SaveRequest request = makeRequest(url.path());
  if (request.source && hasChanged && hasChanged()) {
    request.source = nullptr;
    request.openError = std::make_shared<const NSError>(
        NSPOSIXErrorDomain, ESTALE,
        "“" + url.lastPathComponent() + "” could not be saved: another program has changed it");
  }
  currentChange->push_back(std::move(request));
}

void UISaveVideoAtPathToSavedPhotosAlbum(const std::string& path, std::function<void(NSErrorPtr error)> completion) {
  dispatch_async(library().queue, [request = makeRequest(path), completion = std::move(completion),
                                   pending = std::make_shared<PendingRequest>()] {
    const NSErrorPtr error = save(request);
    if (completion) completion(error);
  });
}
