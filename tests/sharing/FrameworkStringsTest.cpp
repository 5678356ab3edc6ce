#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIImage.h"
#include "sharing/ZVYouTubeActivity.h"
#include "support/NSBundleZVExtensions.h"
#include "support/NSFileManagerZVExtensions.h"
#include "support/ZVFrameworkStrings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

namespace {

/// A framework of the test's own in the place of the system's: bundles are looked for once in a process, so the test
/// runs in one of its own.
class Framework {
 public:
  Framework() {
    folder_ = (std::filesystem::temp_directory_path() / "zevanti-framework-XXXXXX").string();
    if (!mkdtemp(folder_.data())) std::abort();
    const runtime::LoadingBundle bundle(folder_);
    for (const char* name : {"PLPhotoTileViewController", "PUPhotoView"}) {
      runtime::registerClass(
          std::make_unique<ClassInfo>(name, NSObject::staticClass(), nullptr, std::unordered_map<std::string, IMP>()));
    }
  }
  ~Framework() { std::filesystem::remove_all(folder_); }
  void write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(folder_ + "/" + name).parent_path());
    std::ofstream(folder_ + "/" + name) << content;
  }

 private:
  std::string folder_;
};

/// Runs `test` in a process of its own, which is to print nothing but what is wrong.
void inItsOwnProcess(const std::function<std::string()>& test) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        const std::string wrong = test();
        std::fprintf(stderr, "%s", wrong.empty() ? "all is well" : wrong.c_str());
        std::_Exit(wrong.empty() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "all is well");
}

std::string shown(const std::optional<std::string>& text) {
  return text ? *text : "(nothing)";
}

}  // namespace

TEST(FrameworkStrings, AreLookedForUntilTheyAreThereAndInFourTablesInOrder) {
  inItsOwnProcess([]() -> std::string {
    const Framework framework;
    if (ZVPhotoLibraryFrameworkBundle() || ZVLocalizedFrameworkString("ALL")) return "found without a bundle";
    if (ZVYouTubeActivity::photosUIFrameworkBundle()) return "a bundle for the picture";
    framework.write(
        "Info.plist",
        "<plist version='1.0'><dict><key>CFBundleIdentifier</key><string>test.Photos</string></dict></plist>");
    framework.write("en.lproj/PhotoLibrary-Device.strings", R"("ALL" = "device"; "SAME" = "SAME"; "PAIR" = "PAIR";)");
    framework.write("en.lproj/PhotoLibrary.strings", R"("ALL" = "usual"; "SAME" = "usual"; "TWO" = "usual";)");
    framework.write("en.lproj/PhotoLibrary-Avalanche.strings",
                    R"("ALL" = "third"; "TWO" = "third"; "PAIR" = "third";)");
    framework.write("en.lproj/PhotoLibrary-GM.strings", R"("ALL" = "last"; "LAST" = "last"; "PAIR" = "last";)");
    const std::map<std::string, std::string> expected = {{"ALL", "device"}, {"SAME", "usual"}, {"TWO", "usual"},
                                                         {"PAIR", "third"}, {"LAST", "last"},  {"NONE", "NONE"}};
    std::string wrong;
    for (const auto& [key, text] : expected) {
      const std::string found = shown(ZVLocalizedFrameworkString(key));
      if (found != text) wrong += key + " gives " + found + " instead of " + text + "\n";
    }
    return wrong + (ZVYouTubeActivity::photosUIFrameworkBundle() ? "looked for the picture's bundle twice" : "");
  });
}

TEST(FrameworkStrings, TheSystemsFrameworkHasThePictureForPublishing) {
  const ZVYouTubeActivity activity;
  ASSERT_NE(activity.activityImage(), nullptr);
  EXPECT_EQ(activity.activityImage()->size(), CGSizeMake(34, 34)) << "as large as the desktop's";
  ASSERT_NE(activity._activitySettingsImage(), nullptr);
  EXPECT_EQ(activity._activitySettingsImage()->size(), CGSizeMake(29, 29));
  EXPECT_EQ(ZVYouTubeActivity::photosUIImageNamed("PUActivityOther"), nullptr);
}

TEST(FrameworkStrings, NamesOfApplicationsComeInThePersonsLanguage) {
  for (const bool isTranslated : {false, true}) {
    const std::string identifier = isTranslated ? "test.Names" : "test.Names2";
    const auto folder = std::filesystem::path(ZVScreenRecorderTempDirectory) / (identifier + ".app");
    std::filesystem::create_directories(folder / "en.lproj");
    std::ofstream(folder / "Info.plist") << R"(<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>)"
                                         << identifier
                                         << R"(</string><key>CFBundleName</key><string>Plain</string></dict></plist>)";
    if (isTranslated) std::ofstream(folder / "en.lproj/InfoPlist.strings") << R"("CFBundleName" = "Own Words";)";
    EXPECT_EQ(ZVExtensions::_srLocalizedAppNameFromBundleID(identifier), std::nullopt) << "not loaded yet";
    ASSERT_NE(NSBundle::bundleWithPath(folder), nullptr);
    EXPECT_EQ(shown(ZVExtensions::_srLocalizedAppNameFromBundleID(identifier)), isTranslated ? "Own Words" : "Plain");
    std::filesystem::remove_all(folder);
  }
  EXPECT_EQ(shown(ZVExtensions::_srLocalizedAppNameFromBundleID("zevanti.Zevanti")), "Zevanti");
  EXPECT_EQ(shown(ZVExtensions::_srLocalizedStringFromFrameworkBundleWithKey("NO_SUCH_KEY")), "NO_SUCH_KEY");
}
