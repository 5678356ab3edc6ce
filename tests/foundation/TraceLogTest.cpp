#include "platform/Foundation/os_trace.h"

#include "platform/Dispatch/dispatch.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

TEST(TraceLog, KeepsWhatWasWrittenAndWhere) {
  dispatch_main::attachToCurrentThread(nullptr);
  trace_log::clear();
  os_trace("loaded %i of %d", 2, 3);
  testing::internal::CaptureStderr();
  std::thread([] { os_trace_error("Error writing video to camera roll: %d", 28); }).join();
  // A person at the terminal sees what failed.
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Error writing video to camera roll: 28"), std::string::npos);
  NSLog("%s", std::string(5000, 'x').c_str());

  auto messages = trace_log::messages();
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_EQ(messages[0].text, "loaded 2 of 3");
  EXPECT_EQ(messages[0].level, TraceLevel::Default);
  EXPECT_TRUE(messages[0].onMainQueue);
  EXPECT_EQ(messages[1].level, TraceLevel::Error);
  EXPECT_FALSE(messages[1].onMainQueue);
  EXPECT_EQ(messages[2].text.size(), 5000U);
}

TEST(TraceLog, KeepsTheLatestThousand) {
  trace_log::clear();
  for (int i = 0; i < 1500; ++i) os_trace("%i", i);
  auto messages = trace_log::messages();
  ASSERT_EQ(messages.size(), 1000U);
  EXPECT_EQ(messages.front().text, "500");
  EXPECT_EQ(messages.back().text, "1499");
}

}  // namespace
