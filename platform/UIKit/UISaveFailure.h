#pragma once

#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <string>

/// Why a movie was not saved, or made ready to be shared, and how a person is told. An error of the POSIX domain with
/// the code ESTALE says that the recording is not any more what was opened. Any thread.
struct UISaveFailure {
  NSErrorPtr error;               ///< never null
  std::string folder;             ///< where it was to be written
  std::int64_t missingSpace = 0;  ///< bytes, when `folder` has too little room and it is known how much; else 0
  std::string movie;              ///< its name, when it is what can't be read; else empty

  /// What has happened, the folder that it is about, and what to do, in the person's language; what is not among the
  /// usual failures in the error's own words.
  std::string message() const;

  /// There is not enough room in `folder`.
  static UISaveFailure lackOfSpace(const std::string& folder, std::int64_t missingSpace);
  /// Something that is not this user's has taken the place of `folder`: a link, another user's folder.
  static UISaveFailure foreignFolder(const std::string& folder);
  /// The recording of this name may not be read any more.
  static UISaveFailure unreadableRecording(const std::string& name);
  /// The recording is not any more what was opened.
  static UISaveFailure changedRecording();
};

/// What a person is told about a trimmed copy in `folder` that was made and can't be read.
std::string UIUnreadableCopyMessage(const std::string& folder);

/// What a person is told about a recording that another program has shortened or overwritten.
std::string UIChangedRecordingMessage();
