#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSExtension.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

/// What is installed under the program's own prefix, which for a test is the folder that it lies in.
class Installed {
 public:
  explicit Installed(const std::string& path) : path_(systemPath(path)) {}
  ~Installed() {
    std::error_code error;
    fs::remove_all(path_, error);
  }
  void write(const std::string& name, const std::string& content) const {
    const fs::path file = name.empty() ? fs::path(path_) : fs::path(path_) / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file) << content;
  }

 private:
  std::string path_;
};

TEST(ExtensionLookup, FindsAnExtensionByIdentifierUnlessDisabled) {
  const ScratchFolder home;
  setenv("XDG_CONFIG_HOME", home.path().c_str(), 1);
  auto find = [](const char* identifier, bool excludingDisabled) {
    NSErrorPtr error;
    auto found =
        NSExtension::extensionWithIdentifier_excludingDisabledExtensions_error(identifier, excludingDisabled, &error);
    EXPECT_FALSE(error);
    return found;
  };
  EXPECT_FALSE(find("org.example.LookupTest", true));

  const Installed installed("/System/Library/PlugIns/LookupTest.appex");
  installed.write("Info.plist", R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
    <key>CFBundleIdentifier</key><string>org.example.LookupTest</string></dict></plist>)");
  const auto found = find("org.example.LookupTest", true);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->identifier(), "org.example.LookupTest");
  EXPECT_EQ(fs::path(found->bundlePath()).filename(), "LookupTest.appex");
  EXPECT_FALSE(find("org.example.Lookup", true));
  EXPECT_FALSE(find("", true));

  home.write("zevanti/disabled-extensions/org.example.LookupTest", "");
  EXPECT_FALSE(find("org.example.LookupTest", true));
  EXPECT_TRUE(find("org.example.LookupTest", false));
  unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
