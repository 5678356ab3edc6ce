#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include "plugins/PublishToYouTube/upload/LocalizedText.h"

namespace publishing {

NSErrorPtr publishingError(PublishingErrorCode code, std::string text) {
  return std::make_shared<NSError>(PublishingErrorDomain, int(code), std::move(text));
}

NSErrorPtr alreadyUploading() {
  return publishingError(PublishingErrorCode::AlreadyUploading,
                         localized("This recording is being published in another window. Wait until that is done, or "
                                   "stop it there, before you publish it here."));
}

bool isPublishingError(const NSErrorPtr& error, PublishingErrorCode code) {
  return error && error->domain() == PublishingErrorDomain && error->code() == int(code);
}

}  // namespace publishing
