#include "EditorFixture.h"
#include "platform/AVFoundation/AVPlayer.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {
std::unique_ptr<EditorWindow> window;

// Before any other static value is made, because the temporary directory's path is one of them.
[[gnu::constructor(101)]] void useFoldersOfOurOwn() {
  std::string pattern = (std::filesystem::temp_directory_path() / "zevanti-editor-test-XXXXXX").string();
  if (const char* folder = mkdtemp(pattern.data())) setenv("XDG_CACHE_HOME", folder, 1);
  setenv("LC_ALL", "en_US.UTF-8", 1);
  setenv("TZ", "UTC", 1);
  setenv("ZEVANTI_BUNDLE", ZEVANTI_SOURCE_DIR "/resources/ZVVideoEditorExtension.appex", 1);
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
}

/// What the store knows, apart from what this machine's does.
void writeCatalogue() {
  const auto folder = std::filesystem::path(getenv("XDG_CACHE_HOME")) / "catalogue";
  std::filesystem::create_directories(folder / "xml");
  std::ofstream(folder / "xml/test.xml") << R"(<?xml version="1.0" encoding="UTF-8"?>
<components version="0.14" origin="test">
  <component type="desktop-application">
    <id>org.example.app</id><name>Rainfall</name><summary>Drops</summary>
    <developer_name>Cloud Works</developer_name><url type="homepage">https://rainfall.example.org/</url>
  </component>
</components>)";
  setenv("ZEVANTI_STORE_CATALOGUE", folder.c_str(), 1);
  setenv("XDG_CONFIG_HOME", (folder.parent_path() / "config").c_str(), 1);
}
}  // namespace

EditorWindow& testWindow() {
  return *window;
}

int main(int argc, char* argv[]) {
  ::testing::InitGoogleTest(&argc, argv);
  writeCatalogue();
  AVPlayer::setConfiguration({.audio = false, .openGL = false});
  EditorWindow::Options options;
  options.size = CGSize{375, 667};
  options.scale = 1;
  options.offscreen = true;
  options.title = "Test";
  EditorWindow::prepareEnvironment(options);
  window = EditorWindow::create(argc, argv, options);
  const int result = RUN_ALL_TESTS();
  window = nullptr;
  std::filesystem::remove_all(getenv("XDG_CACHE_HOME"));
  return result;
}
