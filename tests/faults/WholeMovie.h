#pragma once

#include "tests/end_to_end/MovieReader.h"

#include <gtest/gtest.h>

/// Every picture of `seconds` of a test recording is there, in order.
inline void expectWhole(const std::filesystem::path& movie, double seconds) {
  EXPECT_NEAR(movieDuration(movie), seconds, 0.1) << movie;
  const auto numbers = frameNumbers(movie);
  EXPECT_GT(numbers.size(), seconds * 25) << movie;
  for (std::size_t at = 0; at < numbers.size(); ++at) {
    ASSERT_TRUE(numbers[at]) << movie << ", picture " << at;
    ASSERT_EQ(*numbers[at], *numbers[0] + static_cast<int>(at)) << movie;
  }
}
