#include "platform/backends/portal/SaveCopyActivity.h"

#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/DesktopInventory.h"
#include "platform/backends/portal/PortalRequest.h"
#include "platform/backends/posix/ContentWatch.h"
#include "platform/backends/posix/FileCopy.h"
#include "platform/backends/posix/HiddenFile.h"

#include <fcntl.h>
#include <QStringList>
#include <QUrl>
#include <cerrno>
#include <filesystem>
#include <memory>

ZV_REGISTER_CLASS(SaveCopyActivity, "SaveCopyActivity", SystemActivity, {})

struct SaveCopyActivity::Source {
  explicit Source(const std::string& path) : file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (file) watch.emplace(file.get());
  }
  FileDescriptor file;
  std::optional<ContentWatch> watch;  // ends before the file is closed
};

namespace {

/// Fills a hidden file with the movie and gives it its name. The dialog has asked about a file that was there when it
/// closed; one that has come since stays. 0 or an errno value.
int saveCopy(int source, ContentWatch& watch, const std::filesystem::path& target, bool mayReplace,
             std::int64_t reserve) {
  const NSFileManager& files = NSFileManager::defaultManager();
  const std::string folder = target.parent_path().string();
  if (files.missingSpaceToCopyItemAtPath_inFolder_withReserve("/proc/self/fd/" + std::to_string(source), folder,
                                                              reserve) > 0)
    return ENOSPC;
  std::optional<HiddenFile> file = HiddenFile::create(folder, 0666);
  if (!file) return errno;
  if (const int failure = cloneOrCopy(source, file->descriptor())) return failure;
  // The person has asked for what was there before the dialog.
  if (watch.hasChanged()) return kSourceEndedEarly;
  const std::string name = target.filename().string();
  return mayReplace ? file->publishReplacing(name) : file->publish(name);
}

}  // namespace

std::string SaveCopyActivity::activityTitle() const {
  return UIKitLocalizedString("Save a Copy…");
}

bool SaveCopyActivity::isPossible(const Items& items) const {
  return !items.movie.empty() && DesktopInventory::shared().hasPortal("FileChooser");
}

void SaveCopyActivity::performActivity() {
  const PHPhotoLibrary& library = PHPhotoLibrary::sharedPhotoLibrary();
  // Opened now: the movie may go away with the editor, or change while the dialog is open.
  const auto source = std::make_shared<Source>(items().movie);
  if (const int failure = source->file ? 0 : errno) {
    return fail(UIKitLocalizedString("The copy could not be saved"),
                NSError::posix(failure, "“" + library.fileNameForMovieAtPath(items().movie) + "” can't be read")
                    ->localizedDescription());
  }
  const QVariantMap options{
      {QStringLiteral("current_name"), QString::fromStdString(library.fileNameForMovieAtPath(items().movie))}};
  PortalRequest::send(QStringLiteral("org.freedesktop.portal.FileChooser"), QStringLiteral("SaveFile"),
                      {QString::fromStdString(UIKitLocalizedString("Save a Copy"))}, options,
                      [self = strongSelf(this), source](PortalRequest::Outcome outcome, const QVariantMap& results) {
                        const QUrl chosen(results.value(QStringLiteral("uris")).toStringList().value(0));
                        if (outcome == PortalRequest::Outcome::Cancelled) return self->activityDidFinish(false);
                        if (outcome == PortalRequest::Outcome::Done && chosen.isLocalFile())
                          return self->copyTo(source, chosen.toLocalFile().toStdString());
                        self->fail(UIKitLocalizedString("The copy could not be saved"),
                                   UIKitLocalizedString("The desktop has named no file to save it in."));
                      });
}

void SaveCopyActivity::copyTo(const std::shared_ptr<Source>& source, const std::string& path) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [self = strongSelf(this), source, path, reserve = systemActivityRequiredFreeSpace(),
                  work = std::make_shared<EssentialWork>()] {
                   std::error_code error;
                   const bool isThere = std::filesystem::exists(path, error);
                   std::string message;
                   if (const int failure = saveCopy(source->file.get(), *source->watch, path, isThere, reserve)) {
                     message = whyNotCopied(NSError::posix(failure, "“" + path + "”"),
                                            "/proc/self/fd/" + std::to_string(source->file.get()),
                                            std::filesystem::path(path).parent_path().string(), reserve);
                   }
                   dispatch_async(dispatch_get_main_queue(), [self, message] {
                     if (message.empty()) return self->activityDidFinish(true);
                     self->fail(UIKitLocalizedString("The copy could not be saved"), message);
                   });
                 });
}
