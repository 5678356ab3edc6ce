#include "platform/backends/portal/SaveCopyActivity.h"

#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/DesktopInventory.h"
#include "platform/backends/portal/PortalRequest.h"
#include "platform/backends/posix/FileCopy.h"
#include "platform/backends/posix/HiddenFile.h"

#include <fcntl.h>
#include <QStringList>
#include <QUrl>
#include <cerrno>
#include <filesystem>
#include <memory>

ZV_REGISTER_CLASS(SaveCopyActivity, "SaveCopyActivity", SystemActivity, {})

namespace {

/// Fills a hidden file with the movie and gives it its name. The dialog has asked about a file that was there when it
/// closed; one that has come since stays. 0 or an errno value.
int saveCopy(int source, const std::filesystem::path& target, bool mayReplace) {
  std::optional<HiddenFile> file = HiddenFile::create(target.parent_path().string(), 0666);
  if (!file) return errno;
  if (const int failure = cloneOrCopy(source, file->descriptor())) return failure;
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
  const QVariantMap options{
      {QStringLiteral("current_name"), QString::fromStdString(library.fileNameForMovieAtPath(items().movie))}};
  PortalRequest::send(QStringLiteral("org.freedesktop.portal.FileChooser"), QStringLiteral("SaveFile"),
                      {QString::fromStdString(UIKitLocalizedString("Save a Copy"))}, options,
                      [self = strongSelf(this)](PortalRequest::Outcome outcome, const QVariantMap& results) {
                        const QUrl chosen(results.value(QStringLiteral("uris")).toStringList().value(0));
                        if (outcome == PortalRequest::Outcome::Cancelled) return self->activityDidFinish(false);
                        if (outcome == PortalRequest::Outcome::Done && chosen.isLocalFile())
                          return self->copyTo(chosen.toLocalFile().toStdString());
                        self->fail(UIKitLocalizedString("The copy could not be saved"),
                                   UIKitLocalizedString("The desktop has named no file to save it in."));
                      });
}

void SaveCopyActivity::copyTo(const std::string& path) {
  const auto self = strongSelf(this);
  // Opened now: the movie may go away with the editor.
  const auto source = std::make_shared<FileDescriptor>(open(items().movie.c_str(), O_RDONLY | O_CLOEXEC));
  const int openFailure = *source ? 0 : errno;
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [self, source, openFailure, path, work = std::make_shared<EssentialWork>()] {
                   std::error_code error;
                   const bool isThere = std::filesystem::exists(path, error);
                   const int failure = openFailure ? openFailure : saveCopy(source->get(), path, isThere);
                   dispatch_async(dispatch_get_main_queue(), [self, failure, path] {
                     if (failure == 0) return self->activityDidFinish(true);
                     self->fail(UIKitLocalizedString("The copy could not be saved"),
                                NSError::posix(failure, path)->localizedDescription());
                   });
                 });
}
