#include "platform/backends/qt/QtEditorWindow.h"
#include "support/NSFileManagerZVExtensions.h"
#include "tests/sharing/SharingTest.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

QtEditorWindow* window = nullptr;

// Before any other static value is made, because the temporary directory's path is one of them.
[[gnu::constructor(101)]] void useFoldersOfOurOwn() {
  std::string pattern = (std::filesystem::temp_directory_path() / "zevanti-sharing-test-XXXXXX").string();
  const char* folder = mkdtemp(pattern.data());
  if (!folder) std::abort();
  for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"}) setenv(name, folder, 1);
  for (const char* name : {"LC_ALL", "LANGUAGE"}) unsetenv(name);
  setenv("LANG", "C.UTF-8", 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
}

}  // namespace

QtEditorWindow& theWindow() {
  return *window;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::filesystem::create_directories(ZVScreenRecorderTempDirectory);
  EditorWindow::Options options;
  options.offscreen = true;
  options.size = CGSizeMake(375, 667);
  options.title = "Sharing tests";
  EditorWindow::prepareEnvironment(options);
  auto editorWindow = std::make_unique<QtEditorWindow>(argc, argv, options);
  window = editorWindow.get();
  const int result = RUN_ALL_TESTS();
  editorWindow = nullptr;
  std::filesystem::remove_all(std::getenv("XDG_CACHE_HOME"));
  return result;
}
