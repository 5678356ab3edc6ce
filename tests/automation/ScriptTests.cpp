#include "automation/JSON.h"
#include "automation/Script.h"

#include <gtest/gtest.h>

#include <cmath>

using Kind = ScriptStep::Kind;

TEST(Script, ReadsEveryStep) {
  const Script script = Script::parse(
      "# a session\n"
      "wait ready 2.5\r\n"
      "\n"
      "  tap Play   # the toolbar's\n"
      "tap \"Save a \\\"copy\\\" # 2\"\n"
      "tap Save a copy\n"
      "drag end 25.5\n"
      "key Shift+Left\n"
      "shake\n"
      "resize 667 375\n"
      "time\nstate\ndump\n"
      "wait saved\n"
      "screenshot \"my pictures/1.png\"\n"
      "share\n"
      "activity Save a copy\n"
      "alert \"OK\"\n"
      "wait text \"75 %\" 3\n"
      "wait settled\n"
      "wait file /tmp/gone 60\n"
      "answer OK");
  ASSERT_FALSE(script.error) << *script.error;
  ASSERT_EQ(script.steps.size(), 20U);
  const auto& steps = script.steps;
  EXPECT_EQ(steps[0].kind, Kind::Wait);
  EXPECT_EQ(steps[0].line, 2);
  EXPECT_EQ(steps[0].name, "ready");
  EXPECT_DOUBLE_EQ(steps[0].seconds, 2.5);
  EXPECT_EQ(steps[1].name, "Play");
  EXPECT_EQ(steps[2].name, "Save a \"copy\" # 2");
  EXPECT_EQ(steps[3].name, "Save a copy");
  EXPECT_EQ(steps[4].kind, Kind::Drag);
  EXPECT_DOUBLE_EQ(steps[4].seconds, 25.5);
  EXPECT_EQ(steps[5].name, "Shift+Left");
  EXPECT_EQ(steps[7].width, 667);
  EXPECT_EQ(steps[7].height, 375);
  EXPECT_DOUBLE_EQ(steps[11].seconds, Script::kDefaultWait);
  EXPECT_EQ(steps[12].name, "my pictures/1.png");
  EXPECT_EQ(steps[12].line, 15);
  EXPECT_EQ(steps[13].kind, Kind::Share);
  EXPECT_EQ(steps[14].kind, Kind::Activity);
  EXPECT_EQ(steps[14].name, "Save a copy");
  EXPECT_EQ(steps[15].kind, Kind::Alert);
  EXPECT_EQ(steps[15].name, "OK");
  EXPECT_EQ(steps[16].value, "75 %");
  EXPECT_DOUBLE_EQ(steps[16].seconds, 3);
  EXPECT_EQ(steps[17].name, "settled");
  EXPECT_EQ(steps[18].value, "/tmp/gone");
  EXPECT_EQ(steps[19].kind, Kind::Alert);
  EXPECT_TRUE(steps[19].optional && !steps[15].optional);
}

TEST(Script, NamesTheFirstLineThatMakesNoSense) {
  for (const char* line : {"walk",
                           "Wait ready",
                           "wait",
                           "wait redy",
                           "wait ready soon",
                           "wait text",
                           "wait ready -1",
                           "wait ready nan",
                           "wait ready 1 2",
                           "tap",
                           "share it",
                           "activity",
                           "alert",
                           "tap \"Play",
                           "tap \"\"",
                           "drag end",
                           "drag handle 3",
                           "drag end 3s",
                           "drag end 1e999",
                           "key",
                           "key A B",
                           "shake it",
                           "resize 300",
                           "resize 300x200 1",
                           "resize 0 200",
                           "resize 300 20000",
                           "time 3",
                           "screenshot",
                           "screenshot a.jpg",
                           "screenshot a b.png"}) {
    const Script script = Script::parse("shake\n\n" + std::string(line) + "\nanother bad line\n");
    ASSERT_TRUE(script.error) << line;
    EXPECT_TRUE(script.error->starts_with("script line 3: ")) << *script.error;
    EXPECT_TRUE(script.steps.empty()) << line;
  }
}

TEST(JSON, EscapesAnyText) {
  EXPECT_EQ(jsonString("a \"b\" \\ /\n\t\x01\x7f"), R"("a \"b\" \\ /\n\t\u0001\u007f")");
  EXPECT_EQ(jsonString("Größe 🎬 日"), "\"Größe 🎬 日\"");
  // A lone continuation byte, too long a form, half a surrogate pair, a cut-off sequence.
  EXPECT_EQ(jsonString("a\x80z"), "\"a\xEF\xBF\xBDz\"");
  EXPECT_EQ(jsonString("\xC0\xAF"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
  EXPECT_EQ(jsonString("\xED\xA0\x80"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"");
  EXPECT_EQ(jsonString("\xF0\x9F\x8E"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

TEST(JSON, WritesNumbersThatJSONHas) {
  JSONObject object;
  object.add("a", 0.1).add("b", NAN).add("c", -3).add("d", CGRectMake(0.1F, 2, 3, 4)).add("e", false);
  EXPECT_EQ(object.text(), R"({"a": 0.1, "b": null, "c": -3, "d": [0.1, 2, 3, 4], "e": false})");
}
