#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <cstdint>
#include <filesystem>
#include <string>

/// A disk in memory at a folder, which only the thread that makes the first one and what it starts see. Takes root's
/// rights.
class SmallDisk {
 public:
  /// Of `size` bytes; 0 for none.
  SmallDisk(std::filesystem::path folder, std::uint64_t size) : folder_(std::move(folder)) {
    if (size == 0) return;
    std::filesystem::create_directories(folder_);
    static thread_local const bool own =
        unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    mounted_ = own && mount("none", folder_.c_str(), "tmpfs", 0, options(size).c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool isMounted() const { return mounted_; }
  /// Makes it writable again, too.
  bool resize(std::uint64_t size) { return remount(0, options(size)); }
  bool makeReadOnly() { return remount(MS_RDONLY, ""); }
  std::uint64_t freeBytes() const {
    struct statvfs status {};
    return statvfs(folder_.c_str(), &status) == 0 ? std::uint64_t(status.f_bavail) * status.f_frsize : 0;
  }

 private:
  static std::string options(std::uint64_t size) { return "mode=700,size=" + std::to_string(size); }
  bool remount(unsigned long flags, const std::string& options) {
    return mount("none", folder_.c_str(), nullptr, MS_REMOUNT | flags, options.c_str()) == 0;
  }

  std::filesystem::path folder_;
  bool mounted_ = false;
};
