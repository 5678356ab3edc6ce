#pragma once

#include "platform/Foundation/NSDate.h"

#include <optional>
#include <string>

/// Operations added to dates.
namespace ZVExtensions {

/// The date as the editor's title shows it, in the person's language and time zone: "November 16 08:34 PM". Empty when
/// there is no date.
std::string _srGetStringFromDate(const std::optional<NSDate>& date);

}  // namespace ZVExtensions
