#include "platform/Foundation/NSError.h"

#include <system_error>

NSErrorPtr NSError::posix(int errnoValue, const std::string& what) {
  return std::make_shared<const NSError>(NSPOSIXErrorDomain, errnoValue,
                                         what + ": " + std::generic_category().message(errnoValue));
}
