#pragma once

#include "platform/Foundation/NSError.h"

#include <string>

namespace publishing {

inline constexpr const char* PublishingErrorDomain = "ZVPublishingErrorDomain";

/// Codes of `PublishingErrorDomain`. Each error's text says what happened and what can be done.
enum class PublishingErrorCode {
  WrongServerAddress = 1,  ///< the override of the server's address is no loopback address
  NoClient,                ///< the file with the person's client identifier is missing or can't be used
  WrongDetails,            ///< a title, description or tag that the service does not take
  UnreadableFile,          ///< the movie can't be opened or read
  FileChanged,             ///< the movie changed while it was published
  SignInRefused,           ///< the person, or the service, said no
  SignInAbandoned,         ///< nobody signed in for some minutes
  ConnectionLost,          ///< no answer after many tries; publishing the same file again goes on where it stopped
  InsecureConnection,      ///< the server could not prove who it is
  QuotaExceeded,           ///< the service takes no more today
  Refused,                 ///< the service refuses this video or account
  WrongAnswer,             ///< the service's answer makes no sense
  AlreadyUploading,        ///< the same recording is being published by another window
};

NSErrorPtr publishingError(PublishingErrorCode code, std::string text);
/// AlreadyUploading.
NSErrorPtr alreadyUploading();
bool isPublishingError(const NSErrorPtr& error, PublishingErrorCode code);

}  // namespace publishing
