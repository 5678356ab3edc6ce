#pragma once

#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <string>

/// Why a movie was not saved, and how a person is told. Main queue.
struct ZVSaveFailure {
  NSErrorPtr error;               ///< never null
  std::string folder;             ///< where it was to be written
  std::int64_t missingSpace = 0;  ///< bytes, when `folder` has too little room and it is known how much; else 0

  /// What has happened, the folder that it is about, and what to do, in the person's language; what is not among the
  /// usual failures in the error's own words.
  std::string message() const;

  /// There is not enough room in `folder`.
  static ZVSaveFailure lackOfSpace(const std::string& folder, std::int64_t missingSpace);
  /// Something that is not this user's has taken the place of `folder`: a link, another user's folder.
  static ZVSaveFailure foreignFolder(const std::string& folder);
  /// The recording is not any more what was opened.
  static ZVSaveFailure changedRecording();
};

/// What a person is told about a trimmed copy in `folder` that was made and can't be read.
std::string ZVUnreadableCopyMessage(const std::string& folder);

/// What a person is told about a recording that another program has shortened or overwritten.
std::string ZVChangedRecordingMessage();
