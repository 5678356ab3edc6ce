#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSExtension.h"

#include <algorithm>
#include <cerrno>

bool NSItemProvider::hasItemConformingToTypeIdentifier(const std::string& typeIdentifier) const {
  return std::find(types_.begin(), types_.end(), typeIdentifier) != types_.end();
}

void NSItemProvider::loadItemForTypeIdentifier_options_completionHandler(const std::string& typeIdentifier,
                                                                         const void* /*options*/,
                                                                         CompletionHandler completion) const {
  auto deliver = [completion = std::move(completion)](const std::string& value, const NSErrorPtr& error) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                   [completion, value, error] { completion(value, error); });
  };
  if (!hasItemConformingToTypeIdentifier(typeIdentifier)) {
    deliver("", NSError::posix(ENOENT, "There is no value of the type " + typeIdentifier));
    return;
  }
  loader_(typeIdentifier, std::move(deliver));
}
