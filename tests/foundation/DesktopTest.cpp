#include "platform/Foundation/DesktopFolders.h"
#include "platform/Foundation/NSByteCountFormatter.h"
#include "platform/Foundation/NSDateFormatter.h"
#include "platform/Foundation/NSNumberFormatter.h"
#include "platform/Foundation/PersonLanguages.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <map>
#include <optional>

namespace {

using Names = std::vector<std::string>;

/// What the desktop says in the environment; put back afterwards.
class Desktop : public testing::Test {
 protected:
  ~Desktop() override {
    for (const auto& [name, value] : before_) {
      if (value) {
        setenv(name.c_str(), value->c_str(), 1);
      } else {
        unsetenv(name.c_str());
      }
    }
  }
  void say(const std::string& name, const std::string& value) {
    const char* old = std::getenv(name.c_str());
    before_.try_emplace(name, old ? std::optional<std::string>(old) : std::nullopt);
    setenv(name.c_str(), value.c_str(), 1);
  }

 private:
  std::map<std::string, std::optional<std::string>> before_;
};

TEST_F(Desktop, FoldersComeFromTheEnvironmentElseFromHome) {
  say("HOME", "/home/person");
  for (const char* name : {"XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"}) say(name, "");
  EXPECT_EQ(desktopDataFolders(), (Names{"/home/person/.local/share", "/usr/local/share", "/usr/share"}));
  EXPECT_EQ(desktopConfigurationFolders(), (Names{"/home/person/.config", "/etc/xdg"}));
  say("XDG_DATA_HOME", "/data");
  say("XDG_DATA_DIRS", "/one::relative:/two:");
  say("XDG_CONFIG_HOME", "relative");
  EXPECT_EQ(desktopDataFolders(), (Names{"/data", "/one", "/two"}));
  EXPECT_EQ(desktopConfigurationFolders(), (Names{"/home/person/.config", "/etc/xdg"}));
}

TEST_F(Desktop, TheBusIsWhereTheEnvironmentSaysElseWhereItUsuallyIs) {
  ScratchFolder runtime;
  say("DBUS_SESSION_BUS_ADDRESS", "unix:path=/named");
  say("XDG_RUNTIME_DIR", runtime.path());
  EXPECT_EQ(sessionBusAddress(), "unix:path=/named");
  say("DBUS_SESSION_BUS_ADDRESS", "");
  EXPECT_EQ(sessionBusAddress(), "") << "there is none, and none is to be started";
  runtime.write("bus", "");
  EXPECT_EQ(sessionBusAddress(), "unix:path=" + (runtime / "bus"));
  say("XDG_RUNTIME_DIR", "");
  EXPECT_EQ(sessionBusAddress(), "");
}

TEST_F(Desktop, LanguagesAreInThePersonsOrder) {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) say(name, "");
  EXPECT_EQ(personLanguages(), Names{});
  say("LANGUAGE", "de:fr");
  say("LANG", "C.UTF-8");
  EXPECT_EQ(personLanguages(), Names{}) << "no translation is wanted";
  say("LANG", "it_IT.UTF-8");
  EXPECT_EQ(personLanguages(), (Names{"de", "fr", "it_IT"}));
  say("LC_MESSAGES", "ja_JP");
  say("LANGUAGE", "");
  EXPECT_EQ(personLanguages(), Names{"ja_JP"});
  say("LC_ALL", "POSIX");
  EXPECT_EQ(personLanguages(), Names{});
}

TEST_F(Desktop, SizesAreWrittenAsThePersonReadsThem) {
  say("LANGUAGE", "");
  const auto size = [&](const char* locale, std::int64_t bytes) {
    say("LC_ALL", locale);
    return NSByteCountFormatter::stringFromByteCount(bytes);
  };
  EXPECT_EQ(size("C", 0), "0 bytes");
  EXPECT_EQ(size("C", 1), "1 byte");
  EXPECT_EQ(size("C", 999), "999 bytes");
  EXPECT_EQ(size("C", 1000), "1.0 kB");
  EXPECT_EQ(size("en_US.UTF-8", 1'540'000), "1.5 MB");
  EXPECT_EQ(size("en_US.UTF-8", 999'499'999), "999 MB");
  EXPECT_EQ(size("en_US.UTF-8", 999'500'000), "1.0 GB") << "never 1000 MB";
  EXPECT_EQ(size("de_AT.UTF-8", 1'540'000), "1,5 MB");
  EXPECT_EQ(size("fr_FR.UTF-8", 12'000'000), "12\u202fMo");
  EXPECT_EQ(size("ar_EG.UTF-8", 12'000'000).find("MB"), std::string::npos);
}

TEST_F(Desktop, NumbersHaveTheDigitsOfThePersonsLanguage) {
  say("LANGUAGE", "");
  const auto percent = [&](const char* locale, double part) {
    say("LC_ALL", locale);
    return NSNumberFormatter::percentStringFromPart(part);
  };
  EXPECT_EQ(percent("C", 0.42F), "42%");
  EXPECT_EQ(percent("en_US.UTF-8", 0.9999), "99%") << "not all before it is all";
  EXPECT_EQ(percent("en_US.UTF-8", 7), "100%");
  EXPECT_EQ(percent("de_DE.UTF-8", 0.07), "7\u00a0%");
  EXPECT_NE(percent("ar_EG.UTF-8", 0.42).find("٤٢"), std::string::npos);
  // All numbers in a text are of one kind: sizes, times, and the date above.
  const auto seconds = [] { return NSNumberFormatter::stringInPersonsDigits("1:05"); };
  EXPECT_EQ(seconds(), "١:٠٥");
  EXPECT_NE(NSByteCountFormatter::stringFromByteCount(12'000'000).find("١٢"), std::string::npos);
  NSDateFormatter date;
  date.setDateFormat("d");
  date.setTimeZone(NSTimeZone::timeZoneWithName("UTC"));
  EXPECT_EQ(date.stringFromDate(NSDate(0)), "١");
  // In the west of the Arab world they are others.
  EXPECT_NE(percent("ar_MA.UTF-8", 0.42).find("42"), std::string::npos);
  EXPECT_EQ(seconds(), "1:05");
}

}  // namespace
