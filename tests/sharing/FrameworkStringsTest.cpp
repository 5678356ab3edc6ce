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

/// A framework of the test's own in the place of the system's: bundles are looked for once in a process, so each test
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
  void install() const {
    write("Info.plist", R"(<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>test.Photos</string></dict>
                           </plist>)");
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

TEST(FrameworkStrings, AreLookedForInFourTablesInOrder) {
  inItsOwnProcess([] {
    const Framework framework;
    framework.install();
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
    return wrong;
  });
}

TEST(FrameworkStrings, AMissingPhotoLibraryGivesNothingAndIsLookedForAgain) {
  inItsOwnProcess([] {
    const Framework framework;
    if (ZVPhotoLibraryFrameworkBundle() || ZVLocalizedFrameworkString("CLOSE")) return "found without a bundle";
    if (ZVYouTubeActivity::photosUIFrameworkBundle()) return "a bundle for the picture";
    framework.install();
    framework.write("en.lproj/PhotoLibrary-GM.strings", R"("CLOSE" = "Shut";)");
    if (ZVLocalizedFrameworkString("CLOSE") != "Shut") return "not found once it was there";
    return ZVYouTubeActivity::photosUIFrameworkBundle() ? "looked for the picture's bundle twice" : "";
  });
}

TEST(FrameworkStrings, TheSystemsFrameworksHaveWhatPublishingSaysAndItsPicture) {
  EXPECT_EQ(shown(ZVLocalizedFrameworkString("FAILED_PUBLISH_VIDEO")), "The video could not be published");
  EXPECT_EQ(shown(ZVLocalizedFrameworkString("VIEW_BUTTON_TITLE_FORMAT")), "View on %@");
  const ZVYouTubeActivity activity;
  ASSERT_NE(activity.activityImage(), nullptr);
  EXPECT_EQ(activity.activityImage()->size(), CGSizeMake(34, 34)) << "as large as the desktop's";
  ASSERT_NE(activity._activitySettingsImage(), nullptr);
  EXPECT_EQ(activity._activitySettingsImage()->size(), CGSizeMake(29, 29));
  EXPECT_EQ(ZVYouTubeActivity::photosUIImageNamed("PUActivityOther"), nullptr);
}

TEST(FrameworkStrings, NamesOfApplicationsComeInThePersonsLanguage) {
  const auto folder = std::filesystem::path(ZVScreenRecorderTempDirectory) / "names.app";
  std::filesystem::create_directories(folder / "en.lproj");
  std::ofstream(folder / "Info.plist") << R"(<plist version="1.0"><dict>
      <key>CFBundleIdentifier</key><string>test.Names</string><key>CFBundleName</key><string>Plain</string>
      </dict></plist>)";
  EXPECT_EQ(ZVExtensions::_srLocalizedAppNameFromBundleID("test.Names"), std::nullopt) << "not loaded yet";
  ASSERT_NE(NSBundle::bundleWithPath(folder), nullptr);
  EXPECT_EQ(shown(ZVExtensions::_srLocalizedAppNameFromBundleID("test.Names")), "Plain");

  std::filesystem::copy(folder, folder.string() + "2", std::filesystem::copy_options::recursive);
  std::filesystem::remove_all(folder);
  const std::string other = folder.string() + "2";
  std::ofstream(other + "/Info.plist") << R"(<plist version="1.0"><dict>
      <key>CFBundleIdentifier</key><string>test.Names2</string><key>CFBundleName</key><string>Plain</string>
      </dict></plist>)";
  std::ofstream(other + "/en.lproj/InfoPlist.strings") << R"("CFBundleName" = "Own Words";)";
  ASSERT_NE(NSBundle::bundleWithPath(other), nullptr);
  EXPECT_EQ(shown(ZVExtensions::_srLocalizedAppNameFromBundleID("test.Names2")), "Own Words");
  std::filesystem::remove_all(other);

  EXPECT_EQ(shown(ZVExtensions::_srLocalizedAppNameFromBundleID("zevanti.Zevanti")), "Zevanti");
  ASSERT_NE(ZVExtensions::_srFrameworkBundle(), nullptr);
  EXPECT_EQ(shown(ZVExtensions::_srLocalizedStringFromFrameworkBundleWithKey("NO_SUCH_KEY")), "NO_SUCH_KEY");
}
