#pragma once

/// The domain of failures of movies, players and exports, and its codes.
inline constexpr const char* AVFoundationErrorDomain = "AVFoundationErrorDomain";
inline constexpr int AVErrorUnknown = -11800;
inline constexpr int AVErrorExportFailed = -11820;
inline constexpr int AVErrorFileFormatNotRecognized = -11828;
inline constexpr int AVErrorDecoderNotFound = -11833;
inline constexpr int AVErrorInvalidTimeRange = -11841;
