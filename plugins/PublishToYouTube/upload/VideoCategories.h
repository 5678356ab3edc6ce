#pragma once

#include <string>
#include <vector>

namespace publishing {

struct VideoCategory {
  std::string identifier;  ///< what the service calls it
  std::string label;       ///< English, as the service shows it
};

/// The categories that the service offers for new videos, by label.
const std::vector<VideoCategory>& videoCategories();

}  // namespace publishing
