#pragma once

#include "platform/Foundation/NSError.h"
#include "plugins/PublishToYouTube/upload/HttpTransfer.h"

#include <cstdint>
#include <optional>
#include <string>

namespace publishing {

/// What an answer of the video service means. Pure functions.

/// How many bytes the service has, from the Range header of a 308: 0 without one. Nothing when the header can't be
/// read, doesn't begin at 0, or counts more than `sent` bytes.
std::optional<std::int64_t> receivedBytes(const HttpTransfer::Answer& answer, std::int64_t sent);
/// The identifier in the description of a finished video; nothing when it can't be read or isn't one.
std::optional<std::string> videoIdentifier(const HttpTransfer::Answer& answer);
/// Seconds from a Retry-After header, which counts them or names a time.
std::optional<double> retryAfter(const HttpTransfer::Answer& answer);
/// Whether another try may go better: 408, 429, 5xx, and a 403 that only says "too fast".
bool isTemporary(const HttpTransfer::Answer& answer);
/// For a status of 400 or more that isn't temporary: what happened and what to do.
NSErrorPtr refusal(const HttpTransfer::Answer& answer);
/// Whether a 401 is about the account, and not about the token.
bool isAboutAccount(const HttpTransfer::Answer& answer);
/// The next midnight in the time zone in which the service counts its days, as a local time of day for a person.
std::string nextAllowance();

}  // namespace publishing
