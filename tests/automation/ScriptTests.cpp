#include "automation/JSON.h"
#include "automation/Script.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(Script, ReadsStepsWithTheirWordsAndLines) {
  const Script script = Script::parse(
      "# a session\n"
      "wait ready 2.5\r\n"
      "\n"
      "  tap Play   # the toolbar's\n"
      "tap \"Save a \\\"copy\\\" # 2\"\n"
      "tap Save a copy\n"
      "drag end 25.5\n"
      "wait saved\n"
      "screenshot \"my pictures/1.png\"\n"
      "alert OK\n"
      "answer OK\n"
      "wait text \"75 %\" 3");
  ASSERT_FALSE(script.error) << *script.error;
  const auto& steps = script.steps;
  std::string names;
  for (const ScriptStep& step : steps) names += std::to_string(step.line) + " " + step.name + "\n";
  EXPECT_EQ(names,
            "2 ready\n4 Play\n5 Save a \"copy\" # 2\n6 Save a copy\n7 end\n8 saved\n9 my pictures/1.png\n10 OK\n11 OK\n"
            "12 text\n");
  ASSERT_EQ(steps.size(), 10U);
  EXPECT_DOUBLE_EQ(steps[0].seconds, 2.5);
  EXPECT_DOUBLE_EQ(steps[4].seconds, 25.5);
  EXPECT_DOUBLE_EQ(steps[5].seconds, Script::kDefaultWait);
  EXPECT_EQ(steps[8].kind, ScriptStep::Kind::Alert);
  EXPECT_TRUE(steps[8].optional && !steps[7].optional);
  EXPECT_EQ(steps[9].value, "75 %");
  EXPECT_DOUBLE_EQ(steps[9].seconds, 3);
}

TEST(Script, NamesTheFirstLineThatMakesNoSense) {
  for (const char* line : {"walk",
                           "wait",
                           "wait redy",
                           "wait ready soon",
                           "wait text",
                           "wait ready -1",
                           "wait ready nan",
                           "wait ready 1 2",
                           "tap",
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
