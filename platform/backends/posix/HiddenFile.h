#pragma once

#include "platform/backends/posix/FileDescriptor.h"

#include <optional>
#include <string>

/// A new file in a folder that nobody sees until it is published under its name. Where the file system can, it has no
/// name at all before that, so that even a crash leaves nothing; elsewhere its name starts with a dot.
class HiddenFile {
 public:
  /// Nothing and `errno` when the folder takes no new files. Mode 0666 less the umask.
  static std::optional<HiddenFile> create(const std::string& folder);
  HiddenFile(HiddenFile&& other) noexcept;
  HiddenFile& operator=(HiddenFile&&) = delete;
  ~HiddenFile();  ///< removes the file unless it was published

  int descriptor() const { return file_.get(); }
  /// A path under which this process can open the file.
  std::string path() const;

  /// Makes the content durable, then gives the file the name `name` in its folder, and makes that durable. Returns 0,
  /// or an errno value: EEXIST when the name is taken. Nothing is ever replaced.
  int publish(const std::string& name);
  /// The same, but replaces what has the name.
  int publishReplacing(const std::string& name);

 private:
  HiddenFile() = default;
  int link(const std::string& name);
  int syncFolder() const;

  FileDescriptor folder_, file_;
  std::string hiddenName_;  // empty while the file has no name
};
