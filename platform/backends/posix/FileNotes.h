#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "platform/backends/posix/FileDescriptor.h"

/// What the kernel notes (inotify) about files: the calls on this machine that write to them or set their attributes,
/// but not what is written to mapped memory or from another machine.
///
/// One queue of notes for the whole process, as a user has few of them, and closing one takes the kernel long. Safe
/// from any thread.
class FileNotes {
 public:
  static FileNotes& shared();

  /// How often something has been noted.
  struct Counts {
    std::uint64_t writes = 0, attributes = 0;
  };

  /// Begins to take notes of the file that is open as `descriptor`. A key for the others; negative where the kernel
  /// takes none.
  int begin(int descriptor);
  /// What has been noted since some time before the first `begin` of that file.
  Counts counts(int key);
  /// Once for each `begin`.
  void end(int key);

 private:
  FileNotes();
  void read();

  struct File {
    int users = 0;
    Counts counts;
  };

  std::mutex mutex_;
  FileDescriptor queue_;
  std::map<int, File> files_;
};
