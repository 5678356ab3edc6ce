#pragma once

#include "platform/Foundation/NSBundle.h"

#include <memory>
#include <optional>
#include <string>

/// The bundle that the class of this name came from: null when there is no such class, or its bundle is not there. Any
/// thread.
std::shared_ptr<NSBundle> ZVBundleOfClassNamed(const std::string& className);

/// The bundle of the photo library's framework. Kept once it has been found; until then each call looks for it. Main
/// queue.
std::shared_ptr<NSBundle> ZVPhotoLibraryFrameworkBundle();

/// The framework's text for `key` in the person's language: of its tables for this device, for all of them, and those
/// of later editions, the first that has a text other than the key. The key itself when none has, nothing without the
/// framework. Main queue.
std::optional<std::string> ZVLocalizedFrameworkString(const std::string& key);
