#include "platform/Foundation/NSBundle.h"
#include "tests/foundation/ScratchFolder.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace {

constexpr const char* kInfo = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>CFBundleIdentifier</key><string>org.example.Bundle</string>
  <key>Count</key><integer>3</integer>
  <key>NSExtension</key><dict><key>NSExtensionPrincipalClass</key><string>Principal</string></dict>
</dict></plist>)";

class Bundle : public testing::Test {
 protected:
  void SetUp() override { speak("en_US.UTF-8"); }
  static void speak(const char* locale, const char* list = nullptr) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"}) unsetenv(name);
    setenv("LANG", locale, 1);
    if (list) setenv("LANGUAGE", list, 1);
  }
  // A loaded bundle stays loaded: each has an identifier of its own.
  const std::string identifier_ = "org.example.Bundle" + std::to_string(++count_);
  static inline int count_ = 0;
  std::shared_ptr<NSBundle> bundle() {
    std::string info = kInfo;
    folder_.write("Info.plist", info.replace(info.find("org.example.Bundle"), 18, identifier_));
    return NSBundle::bundleWithPath(folder_.path());
  }
  ScratchFolder folder_;
};

TEST_F(Bundle, ReadsThePropertyList) {
  EXPECT_EQ(NSBundle::bundleWithPath(folder_.path()), nullptr);
  auto found = bundle();
  ASSERT_TRUE(found);
  EXPECT_EQ(found->infoString("NSExtension.NSExtensionPrincipalClass"), "Principal");
  EXPECT_EQ(found->infoString("NSExtension"), "");
  EXPECT_EQ(found->infoString("Count"), "");
  EXPECT_EQ(NSBundle::bundleWithIdentifier(identifier_), found);
  EXPECT_EQ(NSBundle::bundleWithIdentifier(""), nullptr);
  // The same bundle by another spelling of its path.
  EXPECT_EQ(NSBundle::bundleWithPath(folder_ / "."), found);
}

TEST_F(Bundle, DamagedPropertyListIsNoBundle) {
  folder_.write("Info.plist", "<plist version=\"1.0\"><dict><key>CFBundle");
  EXPECT_EQ(NSBundle::bundleWithPath(folder_.path()), nullptr);
}

TEST_F(Bundle, TextsComeInThePersonsLanguage) {
  folder_.write("en.lproj/Localizable.strings", "\"Share\" = \"Share\";\n\"Only English\" = \"English\";");
  folder_.write("de.lproj/Localizable.strings", "/* Kopf */ \"Share\" = \"Teilen\"; // Ende");
  folder_.write("de-AT.lproj/Localizable.strings", "\"Share\" = \"Mitteilen\";");
  folder_.write("en.lproj/Photos.strings", kInfo);
  auto text = [this](const std::string& key, const std::string& value = "") {
    // A fresh bundle each time, as in a new process.
    static int count = 0;
    std::string copy = folder_ / ("copy" + std::to_string(++count) + ".bundle");
    std::filesystem::create_directory(copy);
    for (const char* name : {"en.lproj", "de.lproj", "de-AT.lproj"})
      std::filesystem::copy(folder_ / name, copy + "/" + name);
    std::ofstream(copy + "/Info.plist") << kInfo;
    return NSBundle::bundleWithPath(copy)->localizedStringForKey_value_table(key, value, "");
  };
  EXPECT_EQ(text("Share"), "Share");
  speak("de_DE.UTF-8");
  EXPECT_EQ(text("Share"), "Teilen");
  EXPECT_EQ(text("Only English"), "English");
  EXPECT_EQ(text("Missing"), "Missing");
  EXPECT_EQ(text("Missing", "Fallback"), "Fallback");
  speak("de_AT.UTF-8");
  EXPECT_EQ(text("Share"), "Mitteilen");
  speak("fr_FR.UTF-8", "fr:de");
  EXPECT_EQ(text("Share"), "Teilen");
  speak("C", "de");
  EXPECT_EQ(text("Share"), "Share");
}

TEST_F(Bundle, UnderstandsEveryFormOfStringTable) {
  folder_.write(
      "en.lproj/Classic.strings",
      "/* = \"no\"; */\n\"quote\\\"d\" = \"line\\none\";\nbare_key = \"\\U00e9\\UD83D\\uDE00\";\n\"broken\" = ");
  std::string wide = "\xFF\xFE";
  for (char sign : std::string("\"k\" = \"v\";")) wide += {sign, '\0'};
  folder_.write("en.lproj/Wide.strings", wide);
  folder_.write("en.lproj/List.strings", "<plist version=\"1.0\"><dict><key>k</key><string>v</string></dict></plist>");
  auto found = bundle();
  ASSERT_TRUE(found);
  EXPECT_EQ(found->localizedStringForKey_value_table("quote\"d", "", "Classic"), "line\none");
  EXPECT_EQ(found->localizedStringForKey_value_table("bare_key", "", "Classic"), "é😀");
  EXPECT_EQ(found->localizedStringForKey_value_table("broken", "", "Classic"), "broken");
  EXPECT_EQ(found->localizedStringForKey_value_table("k", "", "Wide"), "v");
  EXPECT_EQ(found->localizedStringForKey_value_table("k", "", "List"), "v");
  EXPECT_EQ(found->localizedStringForKey_value_table("k", "", "No such table"), "k");
}

TEST_F(Bundle, FindsResourcesInTheLanguageFirst) {
  std::string plain = folder_.write("image.png", ""), english = folder_.write("en.lproj/text.txt", ""),
              german = folder_.write("de.lproj/text.txt", "");
  auto found = bundle();
  EXPECT_EQ(found->pathForResource("image.png"), plain);
  EXPECT_EQ(found->pathForResource("text.txt"), english);
  speak("de_CH.UTF-8");
  EXPECT_EQ(found->pathForResource("text.txt"), german);
  EXPECT_EQ(found->pathForResource("none.txt"), "");
}

}  // namespace
