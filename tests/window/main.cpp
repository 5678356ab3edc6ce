#include "tests/window/WindowTest.h"

#include <cstdlib>
#include <filesystem>

namespace {
QtEditorWindow* window = nullptr;
std::string program;
}  // namespace

const std::string& theProgram() {
  return program;
}

QtEditorWindow& theWindow() {
  return *window;
}

void WindowTest::SetUp() {
  controller_ = std::make_shared<UIViewController>();
  theWindow().resize({375, 667});
  theWindow().present(controller_);
  ASSERT_TRUE(waitUntil([] { return theWindow().quickWindow().isExposed(); }));
}

void WindowTest::TearDown() {
  theWindow().dismiss();
}

std::string WindowTest::picturePath(const std::string& name) {
  const std::filesystem::path folder = std::filesystem::path(ZEVANTI_BUILD_DIR) / "pictures";
  std::filesystem::create_directories(folder);
  const char* scale = std::getenv("ZEVANTI_TEST_SCALE");
  return (folder / (name + (scale ? std::string("@") + scale : "") + ".png")).string();
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  program = std::filesystem::canonical(argv[0]).string();
  EditorWindow::Options options;
  options.offscreen = std::getenv("ZEVANTI_TEST_ON_SCREEN") == nullptr;
  options.size = CGSizeMake(375, 667);
  if (const char* scale = std::getenv("ZEVANTI_TEST_SCALE")) {
    options.scale = std::strtof(scale, nullptr);
  }
  options.title = "Window tests";
  EditorWindow::prepareEnvironment(options);
  auto editorWindow = std::make_unique<QtEditorWindow>(argc, argv, options);
  window = editorWindow.get();
  return RUN_ALL_TESTS();
}
