#include "platform/Foundation/ExtensionLaunch.h"

#include <gtest/gtest.h>
#include <clocale>
#include <cstdlib>

namespace {

/// What the extension makes of what the host passes.
ExtensionLaunch passed(const ExtensionLaunch& launch) {
  for (const std::string& variable : launch.environment()) {
    std::size_t equals = variable.find('=');
    setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
  }
  return ExtensionLaunch::takeFromEnvironment();
}

TEST(ExtensionLaunch, ArrivesAsItWasSent) {
  ExtensionLaunch sent;
  sent.size = ExtensionLaunch::Size{1024, 768};
  sent.scale = 1.5F;
  sent.offscreen = sent.pad = true;
  sent.library = "/a folder/ü";
  sent.appName = "App=Name";
  sent.script = "steps";
  sent.connection = 7;
  // A number has a point in every locale.
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  ExtensionLaunch arrived = passed(sent);
  std::setlocale(LC_ALL, "C");
  ASSERT_TRUE(arrived.size);
  EXPECT_EQ(arrived.size->width, 1024);
  EXPECT_EQ(arrived.size->height, 768);
  EXPECT_EQ(arrived.scale, 1.5F);
  EXPECT_TRUE(arrived.offscreen && arrived.pad);
  EXPECT_EQ(arrived.library, sent.library);
  EXPECT_EQ(arrived.appName, sent.appName);
  EXPECT_EQ(arrived.script, sent.script);
  EXPECT_EQ(arrived.connection, 7);
  EXPECT_EQ(std::getenv("ZEVANTI_CONNECTION"), nullptr) << "programs started later would see it";

  // The defaults take the place of what was there before.
  ExtensionLaunch plain = passed({});
  EXPECT_FALSE(plain.size);
  EXPECT_EQ(plain.scale, 0);
  EXPECT_FALSE(plain.offscreen || plain.pad);
  EXPECT_EQ(plain.library + plain.appName + plain.script, "");
  EXPECT_EQ(plain.connection, -1);
}

TEST(ExtensionLaunch, NonsenseCountsAsNotGiven) {
  for (const char* size : {"", "x", "12", "12x", "x12", "0x12", "-3x12", "12x34 ", "99999x1", "1e3x5"})
    EXPECT_FALSE(parseSize(size)) << size;
  for (const char* scale : {"", "0", "-1", "nan", "inf", "9", "1.5x", "1,5"}) EXPECT_FALSE(parseScale(scale)) << scale;
  setenv("ZEVANTI_CONNECTION", "1", 1);  // standard output is none
  EXPECT_EQ(ExtensionLaunch::takeFromEnvironment().connection, -1);
}

}  // namespace
