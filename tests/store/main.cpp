#include "platform/Dispatch/dispatch.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  dispatch_main::attachToCurrentThread([] {});
  return RUN_ALL_TESTS();
}
