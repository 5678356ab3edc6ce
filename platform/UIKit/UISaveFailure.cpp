#include "platform/UIKit/UISaveFailure.h"

#include "platform/Foundation/NSByteCountFormatter.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/NSStringFormat.h"
#include "platform/Foundation/ShownText.h"
#include "platform/UIKit/UIKitStrings.h"

#include <cerrno>

namespace {

/// As a person writes it.
std::string shown(std::string folder) {
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return displayName(folder);
}

}  // namespace

UISaveFailure UISaveFailure::lackOfSpace(const std::string& folder, std::int64_t missingSpace) {
  const std::string what =
      "“" + shown(folder) + "” has not enough room, " + std::to_string(missingSpace) + " bytes more are needed";
  return {NSError::posix(ENOSPC, what), folder, missingSpace, ""};
}

UISaveFailure UISaveFailure::foreignFolder(const std::string& folder) {
  return {NSError::posix(ENOTDIR, "“" + shown(folder) + "” is a link, or belongs to another user"), folder, 0, ""};
}

UISaveFailure UISaveFailure::unreadableRecording(const std::string& name) {
  return {NSError::posix(EACCES, "“" + displayName(name) + "” can't be read any more"), "", 0, name};
}

UISaveFailure UISaveFailure::changedRecording() {
  return {std::make_shared<const NSError>(NSPOSIXErrorDomain, ESTALE,
                                          "Another program has changed the recording since it was opened"),
          "", 0, ""};
}

std::string UIUnreadableCopyMessage(const std::string& folder) {
  return NSStringWithFormat(
      UIKitLocalizedString("The copy of the selected part in “%@” can’t be read. Here is the whole recording again."),
      {shown(folder)});
}

std::string UIChangedRecordingMessage() {
  return UIKitLocalizedString(
      "Another program has changed this recording since it was opened. Close the window and open the recording again.");
}

std::string UISaveFailure::message() const {
  const std::string place = shown(folder);
  const NSFileManager& files = NSFileManager::defaultManager();
  const int code = error->domain() == NSPOSIXErrorDomain ? error->code() : 0;
  if (code == ESTALE) return UIChangedRecordingMessage();
  if (!movie.empty()) {
    return NSStringWithFormat(UIKitLocalizedString("“%@” can’t be read any more: its permissions have been changed. "
                                                   "Give yourself the right to read it, then try again."),
                              {displayName(movie)});
  }
  if (code == ENOSPC && missingSpace > 0) {
    return NSStringWithFormat(UIKitLocalizedString("There is not enough room in “%@”: %@ more are needed. Make room "
                                                   "on its disk, then try again."),
                              {place, NSByteCountFormatter::stringFromByteCount(missingSpace)});
  }
  if (code == ENOSPC) {
    return NSStringWithFormat(
        UIKitLocalizedString("There is no room left in “%@”. Make room on its disk, then try again."), {place});
  }
  if (code == EDQUOT) {
    return NSStringWithFormat(UIKitLocalizedString("You have used up your share of the disk in “%@”. Delete something "
                                                   "of yours there, then try again."),
                              {place});
  }
  if (code == EFBIG) {
    return NSStringWithFormat(UIKitLocalizedString("The movie is larger than a file in “%@” can be. Select a shorter "
                                                   "part, then try again."),
                              {place});
  }
  if (code == EROFS) {
    return NSStringWithFormat(UIKitLocalizedString("Nothing can be written in “%@”: its disk is read-only. Make it "
                                                   "writable, then try again."),
                              {place});
  }
  // These may also be about the recording.
  if ((code == EACCES || code == EPERM) && !files.isWritableFileAtPath(files.existingFolderForPath(folder))) {
    return NSStringWithFormat(UIKitLocalizedString("You are not allowed to write in “%@”. Change the folder’s "
                                                   "permissions, then try again."),
                              {place});
  }
  if (code == ENOTDIR && files.isForeignFolderAtPath(folder)) {
    return NSStringWithFormat(UIKitLocalizedString("The folder “%@” isn’t yours any more: something else has taken its "
                                                   "place. Remove that, then try again."),
                              {place});
  }
  if ((code == ENOENT || code == ENOTDIR) && !files.fileExistsAtPath(folder)) {
    return NSStringWithFormat(
        UIKitLocalizedString("The folder “%@” is not there any more. Make it again, then try again."), {place});
  }
  return displayText(error->localizedDescription());
}
