#include "platform/backends/posix/PlainFileSystem.h"

#include <linux/magic.h>
#include <sys/vfs.h>

namespace {

constexpr std::uint64_t kLong = 256 << 20;

}  // namespace

bool isFasterThroughMemory(int target, std::uint64_t bytes) {
  struct statfs status {};
  if (bytes >= kLong || fstatfs(target, &status) != 0) return false;
  switch (status.f_type) {
    case EXT4_SUPER_MAGIC:  // and its two predecessors
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case F2FS_SUPER_MAGIC:
    case MSDOS_SUPER_MAGIC:
    case EXFAT_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case RAMFS_MAGIC:
      return true;
    default:
      return false;
  }
}
