#pragma once

#include "platform/UIKit/UIActivity.h"

#include <cstdint>
#include <string>
#include <vector>

/// The desktop's own activities: Mail, Message, Copy, the social post, Save a Copy, Show in Folder. Each really does
/// what it says, through the desktop's portal or the programs that are installed; one that can't work here, as far as
/// the desktop has told, answers NO when the sheet asks whether it can be performed.
///
/// Mail, Message, Copy and Show in Folder hand the movie to other programs, which may read it long after the editor has
/// gone: they hand over the copy in the photo library and save the movie there first when it isn't.

inline constexpr const char* UIActivityTypeSaveToFiles = "UIActivityTypeSaveToFiles";    ///< Save a Copy
inline constexpr const char* UIActivityTypeShowInFolder = "UIActivityTypeShowInFolder";  ///< Show in Folder

/// Asks the desktop, in the background, what it can do; to be called when the program starts, so that the answers are
/// there before a sheet opens. `subject` is that of mails; empty leaves the movie's name for it. `then` (may be null)
/// is called on the main queue when everything that answers has answered; on a desktop that hangs that may be never.
/// Main queue.
void UISystemActivitiesPrepare(const std::string& subject, std::function<void()> then = nullptr);

/// How many bytes what the activities write is to leave free on a disk; a movie that finds no such room is not written.
/// At first none. Main queue.
void UISystemActivitiesSetRequiredFreeSpace(std::int64_t bytes);

/// New objects for one sheet, in the order in which it shows them. Never waits: what the desktop has not answered yet
/// is not offered. Main queue.
std::vector<Strong<UIActivity>> UISystemActivities();
