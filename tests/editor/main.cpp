#include "EditorFixture.h"
#include "platform/AVFoundation/AVPlayer.h"

#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {
std::unique_ptr<EditorWindow> window;

// Before any other static value is made, because the temporary directory's path is one of them.
[[gnu::constructor(101)]] void useFoldersOfOurOwn() {
  static char pattern[] = "/tmp/zevanti-editor-test-XXXXXX";
  if (const char* folder = mkdtemp(pattern)) setenv("XDG_CACHE_HOME", folder, 1);
  setenv("LC_ALL", "en_US.UTF-8", 1);
  setenv("TZ", "UTC", 1);
  setenv("ZEVANTI_BUNDLE", ZEVANTI_SOURCE_DIR "/resources/ZVVideoEditorExtension.appex", 1);
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
}
}  // namespace

EditorWindow& testWindow() {
  return *window;
}

int main(int argc, char* argv[]) {
  ::testing::InitGoogleTest(&argc, argv);
  AVPlayer::setConfiguration({.audio = false, .openGL = false});
  EditorWindow::Options options;
  options.size = CGSize{375, 667};
  options.scale = 1;
  options.offscreen = true;
  options.title = "Test";
  window = EditorWindow::create(argc, argv, options);
  const int result = RUN_ALL_TESTS();
  window = nullptr;
  std::filesystem::remove_all(getenv("XDG_CACHE_HOME"));
  return result;
}
