#include "platform/Foundation/NSStringFormat.h"

#include <gtest/gtest.h>

TEST(StringFormat, FillsInWhatIsThereAndLeavesTheRest) {
  const std::vector<std::string> two{"Game", "100% %@ Ltd"};
  struct Case {
    const char *format, *text;
  };
  for (const Case& each :
       {Case{"A clip of %@ by %@", "A clip of Game by 100% %@ Ltd"}, Case{"%2$@: %1$@", "100% %@ Ltd: Game"},
        Case{"%1$@, %1$@ %@", "Game, Game Game"}, Case{"%@ %@ %@ %3$@", "Game 100% %@ Ltd %@ %3$@"},
        Case{"SHARE_TEXT_FORMAT", "SHARE_TEXT_FORMAT"}, Case{"100%% %d %", "100% %d %"}, Case{"%1$", "%1$"},
        Case{"%0$@", "%0$@"}, Case{"", ""}}) {
    EXPECT_EQ(NSStringWithFormat(each.format, two), each.text) << each.format;
  }
}
