#include "platform/Foundation/ShownText.h"

#include <gtest/gtest.h>

TEST(ShownText, LeavesNothingToTheTerminal) {
  EXPECT_EQ(printableText("Häßlich “日本” 🎬.mp4"), "Häßlich “日本” 🎬.mp4");
  EXPECT_EQ(printableText("a\nb\tc\r\x1b[31m\x7f"), "a\\nb\\tc\\x0d\\x1b[31m\\x7f");
  EXPECT_EQ(printableText(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(printableText("\xc2\x9b"
                          "1m"),
            "\\xc2\\x9b1m")
      << "a control character of two bytes";
  EXPECT_EQ(printableText("\xe2\x80\xae"
                          "4pm"),
            "\\xe2\\x80\\xae"
            "4pm")
      << "writes from right to left";
  // Cut off, too long a form, half a pair, behind the last character.
  EXPECT_EQ(printableText("\xe2\x82"), "\\xe2\\x82");
  EXPECT_EQ(printableText("\xc0\xaf\xe0\x80\xaf"), "\\xc0\\xaf\\xe0\\x80\\xaf");
  EXPECT_EQ(printableText("\xed\xa0\x80\xf4\x90\x80\x80"), "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80");
}

TEST(ShownText, KeepsANameInOneLineAndInItsPlace) {
  EXPECT_EQ(displayName("Regen “日本” 🎬 %@ %s"), "Regen “日本” 🎬 %@ %s");
  EXPECT_EQ(displayName("a\nb\r\x1b[31m\xff"), "a b  [31m\xEF\xBF\xBD");
  EXPECT_EQ(displayName("gpj\u202E4pm\u2066.\u2069\u2028x"), "gpj4pm. x");
  EXPECT_EQ(displayName("ער\u200Fב"), "ער\u200Fב") << "a mark is a part of the writing";
  const std::string shown = displayName(std::string(299, 'x') + "ßend");
  EXPECT_EQ(shown, std::string(299, 'x') + "…") << "cut at a character's border";
}
