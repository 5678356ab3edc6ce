#pragma once

#include <functional>

/// The way from the layer tree to the window. Main queue only.
class CATransaction {
 public:
  /// Says that something in a layer tree changed; the handler is called once for any number of changes, until `commit`.
  static void setNeedsCommit();
  /// Marks the changes so far as taken over; the back end calls it before it mirrors the tree.
  static void commit();
  /// The window's back end: `handler` schedules a commit. Null removes it.
  static void setCommitHandler(std::function<void()> handler);
};
