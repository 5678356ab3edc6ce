#pragma once

#include <functional>
#include <vector>

/// Turns signals that ask a program to end into work items of the main queue.
class SignalWatcher {
 public:
  /// From now on each of `signals` calls `handler` with its number on the main queue instead of ending the program; a
  /// second one of the same number ends it at once. Programs started later are not affected. Once per process.
  static void watch(const std::vector<int>& signals, std::function<void(int)> handler);
};
