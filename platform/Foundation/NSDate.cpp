#include "platform/Foundation/NSDate.h"

#include <chrono>

NSDate NSDate::date() {
  return NSDate(std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count());
}
