#pragma once

/// Activity types of the platform: what a person did with a movie. Also what the host prints.
inline constexpr const char* UIActivityTypeSaveToCameraRoll = "UIActivityTypeSaveToCameraRoll";
