#pragma once

/// Work whose loss a person would notice, such as a file that is being written for them: while one of these exists, the
/// process does not end by itself, however long that takes. All other work gets a few seconds at the end. Any thread.
class EssentialWork {
 public:
  EssentialWork();
  ~EssentialWork();
  EssentialWork(const EssentialWork&) = delete;
  EssentialWork& operator=(const EssentialWork&) = delete;

  static bool isUnderWay();
};
