#include "platform/UIKit/UIProgressView.h"
#include "tests/uikit/UIKitTestSupport.h"

#include <cmath>

namespace {

TEST(ProgressView, FillsAndTellsHowFar) {
  const Strong<UIWindow> window = windowOfSize(320, 480);
  const auto bar = viewIn<UIProgressView>(window->rootViewController()->view(), CGRectMake(0, 57, 320, 3));
  bar->setAccessibilityLabel("Saving");
  window->layoutIfNeeded();
  const auto filled = [&bar] { return bar->subviews().front()->frame(); };
  EXPECT_EQ(filled(), CGRectMake(0, 0, 0, 3));
  bar->setProgress_animated(0.25F, false);
  EXPECT_EQ(filled(), CGRectMake(0, 0, 80, 3));
  const auto elements = bar->accessibilityElements();
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0].role, UIAccessibilityRole::ProgressBar);
  EXPECT_EQ(elements[0].label, "Saving");
  EXPECT_EQ(elements[0].value, "25%");

  bar->setFrame(CGRectMake(0, 57, 640, 3));
  window->layoutIfNeeded();
  EXPECT_EQ(filled(), CGRectMake(0, 0, 160, 3));
  for (const auto& [given, taken] : {std::pair(7.0F, 1.0F), {-1.0F, 0.0F}, {NAN, 0.0F}}) {
    bar->setProgress_animated(given, false);
    EXPECT_EQ(bar->progress(), taken);
  }
  // What lies under it can be touched.
  EXPECT_NE(window->rootViewController()->view()->hitTest({10, 58}), bar);
}

}  // namespace
