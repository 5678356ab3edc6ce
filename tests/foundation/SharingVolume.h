#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

/// A file system that can share blocks between files (btrfs), in an image inside a folder. Only the calling thread and
/// what it starts see it, so that nothing is left even by a crash but the image.
class SharingVolume {
 public:
  /// Null, and why in `reason`, where it can't be had: it takes root's rights, loop devices and mkfs.btrfs. `size` in
  /// bytes, of which only what is used takes room.
  static std::unique_ptr<SharingVolume> create(const std::string& folder, std::uint64_t size, std::string& reason) {
    const std::string image = folder + "/volume.img", place = folder + "/volume";
    if (geteuid() != 0) {
      reason = "only root can mount a file system";
    } else if (!run("command -v mkfs.btrfs")) {
      reason = "there is no mkfs.btrfs (package btrfs-progs)";
    } else if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      reason = std::string("no mounts of our own: ") + std::strerror(errno);
    } else {
      std::ofstream(image).close();
      std::filesystem::resize_file(image, size);
      std::filesystem::create_directory(place);
      if (run("mkfs.btrfs -q '" + image + "' && mount -o loop '" + image + "' '" + place + "'"))
        return std::unique_ptr<SharingVolume>(new SharingVolume(image, place));
      reason = "this system can't mount an image with btrfs";
      std::filesystem::remove(image);
    }
    return nullptr;
  }
  ~SharingVolume() {
    umount2(path_.c_str(), MNT_DETACH);
    std::error_code error;
    std::filesystem::remove(image_, error);
  }
  SharingVolume(const SharingVolume&) = delete;
  SharingVolume& operator=(const SharingVolume&) = delete;

  /// Where it is mounted.
  const std::string& path() const { return path_; }

 private:
  SharingVolume(std::string image, std::string path) : image_(std::move(image)), path_(std::move(path)) {}
  static bool run(const std::string& command) {
    return std::system(("PATH=\"$PATH:/usr/sbin:/sbin\"; { " + command + "; } >/dev/null 2>&1").c_str()) == 0;
  }

  std::string image_, path_;
};
