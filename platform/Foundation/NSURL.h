#pragma once

#include <string>

/// A file address. A default-constructed one is nil.
class NSURL {
 public:
  NSURL() = default;
  /// The file URL of `path`, which is kept to the letter (double slashes included).
  static NSURL fileURLWithPath(std::string path);

  const std::string& path() const { return path_; }
  /// The last path component: "b.mp4" of "/a/b.mp4".
  std::string lastPathComponent() const;
  /// The text form, "file:///a%20b.mp4".
  std::string absoluteString() const;

  explicit operator bool() const { return !path_.empty(); }
  friend bool operator==(const NSURL& a, const NSURL& b) { return a.path_ == b.path_; }

 private:
  std::string path_;
};
