#include "ScrubberFixture.h"

#include <cstdlib>
#include <memory>

namespace {
std::unique_ptr<EditorWindow> window;
}

EditorWindow& testWindow() {
  return *window;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  EditorWindow::Options options;
  options.size = CGSize{375, 200};
  const char* scale = std::getenv("ZEVANTI_TEST_SCALE");
  options.scale = scale ? std::strtof(scale, nullptr) : 1;
  options.offscreen = true;
  options.title = "Timeline";
  EditorWindow::prepareEnvironment(options);
  window = EditorWindow::create(argc, argv, options);
  const int result = RUN_ALL_TESTS();
  window = nullptr;
  return result;
}
