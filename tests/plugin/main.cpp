#include "tests/plugin/PluginTest.h"

#include <QTemporaryDir>
#include <cstdlib>

namespace {
QtEditorWindow* window = nullptr;
}

QtEditorWindow& theWindow() {
  return *window;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The person's own settings, tokens and secrets stay out of it.
  QTemporaryDir home;
  const std::string folder = home.path().toStdString();
  setenv("XDG_CONFIG_HOME", (folder + "/config").c_str(), 1);
  setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
  setenv("PATH", (folder + "/no-programs").c_str(), 1);  // no browser either
  for (const char* name : {"LC_ALL", "LANGUAGE"}) unsetenv(name);
  setenv("LANG", "C.UTF-8", 1);
  EditorWindow::Options options;
  options.offscreen = true;
  options.size = CGSizeMake(375, 667);
  options.title = "Plug-in tests";
  EditorWindow::prepareEnvironment(options);
  auto editorWindow = std::make_unique<QtEditorWindow>(argc, argv, options);
  window = editorWindow.get();
  return RUN_ALL_TESTS();
}
