#pragma once

#include "tests/common/Files.h"

#include <sys/stat.h>
#include <filesystem>
#include <string>

/// What must not change of a person's file: which one it is, when it was written, who may do what with it, its bytes.
struct FileIdentity {
  ino_t inode;
  timespec modified;
  mode_t mode;
  std::string bytes;

  explicit FileIdentity(const std::filesystem::path& file) : bytes(contentOf(file)) {
    struct stat status {};
    stat(file.c_str(), &status);
    inode = status.st_ino;
    modified = status.st_mtim;
    mode = status.st_mode;
  }
  bool operator==(const FileIdentity& other) const {
    return inode == other.inode && modified.tv_sec == other.modified.tv_sec &&
           modified.tv_nsec == other.modified.tv_nsec && mode == other.mode && bytes == other.bytes;
  }
};
