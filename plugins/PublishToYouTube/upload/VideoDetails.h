#pragma once

#include "platform/Foundation/NSError.h"

#include <optional>
#include <string>
#include <vector>

namespace publishing {

/// What the person says about a video.
struct VideoDetails {
  enum class Visibility { Private, Unlisted, Public };

  std::string title;               ///< 1 to 100 characters, without < and >
  std::string description;         ///< at most 5000 bytes, without < and >
  std::string categoryIdentifier;  ///< of videoCategories()
  std::vector<std::string> tags;   ///< at most 500 characters together, commas and the quotes of those with blanks too
  Visibility visibility = Visibility::Private;
  bool madeForChildren = false;

  bool operator==(const VideoDetails&) const = default;
  /// Null when the service takes these details; otherwise an error that names the field.
  NSErrorPtr check() const;
  /// The body of an upload session's start.
  std::string json() const;
  /// What `json` was made of; nothing when the text can't be read.
  static std::optional<VideoDetails> fromJson(const std::string& text);
};

/// The tags in a line that a person has typed: what stands between commas, without blanks around it, each once, however
/// its letters are written.
std::vector<std::string> tagsInLine(const std::string& line);

}  // namespace publishing
