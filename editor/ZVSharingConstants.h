#pragma once

/// The video service's own share extension. Where that is installed and enabled, the editor offers no publishing of its
/// own.
inline constexpr const char* ZVYouTubeShareExtensionBundleIdentifier = "com.youtube.ShareExtension";
