#pragma once

#include "platform/Foundation/NSBundle.h"

#include <memory>
#include <optional>
#include <string>

/// Operations added to bundles.
namespace ZVExtensions {

/// The bundle of the framework that the extension belongs to; null when it isn't installed. Looked for once in the
/// process. Any thread.
std::shared_ptr<NSBundle> _srFrameworkBundle();

/// The text for `key` in that bundle's default table, in the person's language, or `key`. Nothing without the bundle.
std::optional<std::string> _srLocalizedStringFromFrameworkBundleWithKey(const std::string& key);

/// The name, in the person's language if it has one there, of the application with this bundle identifier. Nothing when
/// there is no such bundle, or it has no name.
std::optional<std::string> _srLocalizedAppNameFromBundleID(const std::string& bundleIdentifier);

}  // namespace ZVExtensions
