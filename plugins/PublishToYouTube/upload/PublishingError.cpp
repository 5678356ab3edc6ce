#include "plugins/PublishToYouTube/upload/PublishingError.h"

namespace publishing {

NSErrorPtr publishingError(PublishingErrorCode code, std::string text) {
  return std::make_shared<NSError>(PublishingErrorDomain, int(code), std::move(text));
}

bool isPublishingError(const NSErrorPtr& error, PublishingErrorCode code) {
  return error && error->domain() == PublishingErrorDomain && error->code() == int(code);
}

}  // namespace publishing
