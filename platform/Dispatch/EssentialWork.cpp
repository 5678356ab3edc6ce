#include "platform/Dispatch/EssentialWork.h"

#include <atomic>

namespace {
std::atomic<int> count{0};
}

EssentialWork::EssentialWork() {
  ++count;
}

EssentialWork::~EssentialWork() {
  --count;
}

bool EssentialWork::isUnderWay() {
  return count > 0;
}
