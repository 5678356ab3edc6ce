#include "platform/backends/plist/StringsFile.h"
#include "tests/common/Files.h"

#include <gtest/gtest.h>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace {

using Texts = std::map<std::string, std::string>;
const std::filesystem::path sources = ZEVANTI_SOURCE_DIR;

std::size_t placeholders(const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find("%@"); at != std::string::npos; at = text.find("%@", at + 2)) ++count;
  return count;
}

/// The tables of one bundle by language.
std::map<std::string, Texts> tables(const std::string& bundle, const std::string& table) {
  std::map<std::string, Texts> all;
  for (const auto& entry : std::filesystem::directory_iterator(sources / "resources" / bundle)) {
    if (entry.path().extension() != ".lproj") continue;
    all[entry.path().stem()] = parseStringsFile(contentOf(entry.path() / (table + ".strings")));
  }
  return all;
}

const std::string kit = "System/Library/Frameworks/UIKit.framework";
const std::string form = "System/Library/PublishingBundles/PublishToYouTube.bundle";

/// Every text that `function` is called with in the sources of `folders` is in the English table of `bundle`.
void expectTexts(const std::string& function, std::initializer_list<const char*> folders, const std::string& bundle) {
  const Texts english = tables(bundle, "Localizable").at("en");
  const std::regex use(function + "\\(\\s*((?:\"(?:[^\"\\\\]|\\\\.)*\"\\s*)+)[,)]");
  std::set<std::string> used;
  for (const char* folder : folders) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(sources / folder)) {
      if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
      const std::string text = contentOf(entry.path());
      for (std::sregex_iterator match(text.begin(), text.end(), use), end; match != end; ++match) {
        // Neighbouring literals are one text.
        std::string key = std::regex_replace((*match)[1].str(), std::regex("\"\\s*\""), "");
        key = key.substr(1, key.find_last_of('"') - 1);
        used.insert(key);
        EXPECT_TRUE(english.count(key)) << entry.path() << ": " << key;
      }
    }
  }
  EXPECT_GT(used.size(), 10U);
}

}  // namespace

TEST(TranslationTest, EveryLanguageSaysTheSame) {
  const std::pair<std::string, std::string> all[] = {
      {"ZVVideoEditorExtension.appex", "Localizable"},
      {"System/Library/Frameworks/PhotoLibrary.framework", "PhotoLibrary"},
      {kit, "Localizable"},
      {form, "Localizable"}};
  for (const auto& [bundle, table] : all) {
    const auto languages = tables(bundle, table);
    ASSERT_EQ(languages.size(), 10U) << bundle;
    const Texts& english = languages.at("en");
    ASSERT_FALSE(english.empty()) << bundle;
    for (const auto& [language, texts] : languages) {
      EXPECT_EQ(texts.size(), english.size()) << bundle << " " << language;
      for (const auto& [key, text] : english) {
        const auto translated = texts.find(key);
        if (translated == texts.end() || translated->second.empty()) {
          ADD_FAILURE() << bundle << ", " << language << ": no text for " << key;
        } else {
          EXPECT_EQ(placeholders(translated->second), placeholders(text)) << bundle << " " << language << " " << key;
        }
      }
    }
  }
}

TEST(TranslationTest, EveryWordOfTheProgramCanBeTranslated) {
  expectTexts("UIKitLocalizedString", {"editor", "overlay", "sharing", "platform"}, kit);
  expectTexts("localized", {"plugins"}, form);
}
