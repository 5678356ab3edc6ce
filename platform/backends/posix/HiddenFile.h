#pragma once

#include "platform/backends/posix/FileDescriptor.h"

#include <optional>
#include <string>

#include <sys/types.h>

/// A new file in a folder that nobody sees until it is published under its name. Where the file system can, it has no
/// name at all before that, so that even a crash leaves nothing; elsewhere its name starts with a dot, and what a crash
/// has left goes when the next one is made there: a lock tells which files still have a program that writes them.
class HiddenFile {
 public:
  /// Nothing and `errno` when the folder takes no new files. Who may read and write the file is taken from `mode`, less
  /// the umask; its owner may always read it, and nobody may start it.
  static std::optional<HiddenFile> create(const std::string& folder, mode_t mode);
  /// The same in a folder that has been opened.
  static std::optional<HiddenFile> create(FileDescriptor folder, mode_t mode);
  HiddenFile(HiddenFile&& other) noexcept;
  HiddenFile& operator=(HiddenFile&&) = delete;
  ~HiddenFile();  ///< removes the file unless it was published

  int descriptor() const { return file_.get(); }

  /// Makes the content durable, then gives the file the name `name` in its folder, and makes that durable. Returns 0,
  /// or an errno value: EEXIST when the name is taken. Nothing is ever replaced. After a failure the name is free.
  int publish(const std::string& name);
  /// The same, but replaces what has the name. The disk holds one of the two as a whole at any moment; where the folder
  /// can't be synced it is the disk's choice for how long it stays the old one.
  int publishReplacing(const std::string& name);

 private:
  HiddenFile() = default;
  bool createNamed(mode_t mode);
  void removeAbandoned() const;
  int link(const std::string& name);
  int syncFolder() const;
  std::string descriptorPath() const;

  FileDescriptor folder_, file_;
  std::string hiddenName_;  // empty while the file has no name
};
