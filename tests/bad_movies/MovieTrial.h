#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Examines a movie as the host does, and if that lets it through opens, scrubs and trims it in a process of its own,
/// as the editor does: asset, player, thumbnails, export. What the movie does to that process stays there.
class MovieTrial {
 public:
  /// `folder` takes what is written; it must exist.
  explicit MovieTrial(std::filesystem::path folder) : folder_(std::move(folder)) {}

  struct Result {
    std::string fault;  ///< what must not be; empty when all was well
    bool opened = false, shown = false, trimmed = false;
    double seconds = 0;    ///< of computing, all threads together, in the stage that took longest
    double megabytes = 0;  ///< of memory, the most at one time
  };
  /// `examined`: whether the host's examination comes first, as it does but for who starts the editor himself. The
  /// movie may lie in the folder; what else lies there goes.
  Result run(const std::filesystem::path& movie, bool examined = true) const;

 private:
  std::vector<std::filesystem::path> filesBeside(const std::filesystem::path& movie) const;

  std::filesystem::path folder_;
};
