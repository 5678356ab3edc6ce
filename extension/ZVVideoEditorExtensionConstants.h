#pragma once

/// What host and extension agree on: the titles of the three input items. Each item carries its value under
/// `kUTTypeData`.

/// A string: the absolute path of the recorded movie.
inline constexpr const char* ZVVideoEditorExtensionMoviePathKey = "ZVVideoEditorExtensionMovieURLKey";
/// A string: the recorded application's display name.
inline constexpr const char* ZVVideoEditorExtensionAppNameKey = "ZVVideoEditorExtensionAppNameKey";
/// A string: the recorded application's bundle identifier.
inline constexpr const char* ZVVideoEditorExtensionBundleIdentifierKey = "ZVVideoEditorExtensionBundleIdentifierKey";

/// What this program is, in the form that tools which look through binaries know; ends in a line feed.
inline constexpr char ZVVideoEditorExtensionVersionString[] = "@(#)PROGRAM:ZVVideoEditorExtension  PROJECT:Zevanti-1\n";
/// The same as a number.
inline constexpr double ZVVideoEditorExtensionVersionNumber = 1.0;

/// The one message that the extension sends its host: one argument, an array of activity types; one-way.
inline constexpr const char* ZVExtensionDidFinishSelector = "extensionDidFinishWithActivityTypes:";
