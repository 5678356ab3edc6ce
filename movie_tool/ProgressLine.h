#pragma once

#include <chrono>

/// A line on the terminal that comes when work takes its time, and goes. Nothing is printed when standard error is no
/// terminal, or when the work is done in half a second.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine();  ///< takes the line away
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// 0 to 1. To be called ten times a second or so.
  void show(float progress);

 private:
  const std::chrono::steady_clock::time_point start_;
  const bool terminal_;
  int shown_ = -1;  // percent
};
