#include "tests/host/FakeExtension.h"

#include <gtest/gtest.h>
#include <cstdlib>

int main(int argc, char* argv[]) {
  // The host under test starts this very program in the extension's place.
  if (std::getenv("ZEVANTI_CONNECTION")) return runFakeExtension();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
