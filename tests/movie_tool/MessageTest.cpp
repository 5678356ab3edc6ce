#include "movie_tool/Message.h"

#include <gtest/gtest.h>

TEST(Message, LeavesNothingToTheTerminal) {
  EXPECT_EQ(message::printable("Häßlich “日本” 🎬.mp4"), "Häßlich “日本” 🎬.mp4");
  EXPECT_EQ(message::printable("a\nb\tc\r\x1b[31m\x7f"), "a\\nb\\tc\\x0d\\x1b[31m\\x7f");
  EXPECT_EQ(message::printable(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(message::printable("\xc2\x9b"
                               "1m"),
            "\\xc2\\x9b1m")
      << "a control character of two bytes";
  EXPECT_EQ(message::printable("\xe2\x80\xae"
                               "4pm"),
            "\\xe2\\x80\\xae"
            "4pm")
      << "writes from right to left";
  // Cut off, too long a form, half a pair, behind the last character.
  EXPECT_EQ(message::printable("\xe2\x82"), "\\xe2\\x82");
  EXPECT_EQ(message::printable("\xc0\xaf\xe0\x80\xaf"), "\\xc0\\xaf\\xe0\\x80\\xaf");
  EXPECT_EQ(message::printable("\xed\xa0\x80\xf4\x90\x80\x80"), "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80");
}
