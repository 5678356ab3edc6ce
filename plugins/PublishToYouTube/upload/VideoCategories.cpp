#include "plugins/PublishToYouTube/upload/VideoCategories.h"

namespace publishing {

const std::vector<VideoCategory>& videoCategories() {
  static const std::vector<VideoCategory> categories{
      {"2", "Autos & Vehicles"},       {"23", "Comedy"},          {"27", "Education"},
      {"24", "Entertainment"},         {"1", "Film & Animation"}, {"20", "Gaming"},
      {"26", "Howto & Style"},         {"10", "Music"},           {"25", "News & Politics"},
      {"29", "Nonprofits & Activism"}, {"22", "People & Blogs"},  {"15", "Pets & Animals"},
      {"28", "Science & Technology"},  {"17", "Sports"},          {"19", "Travel & Events"},
  };
  return categories;
}

}  // namespace publishing
