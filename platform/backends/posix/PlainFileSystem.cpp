#include "platform/backends/posix/PlainFileSystem.h"

#include <linux/magic.h>
#include <sys/vfs.h>

bool isOnPlainFileSystem(int descriptor) {
  struct statfs status {};
  if (fstatfs(descriptor, &status) != 0) return false;
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
