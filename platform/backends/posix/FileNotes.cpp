#include "platform/backends/posix/FileNotes.h"

#include <array>
#include <cstring>
#include <string>

#include <sys/inotify.h>

FileNotes::FileNotes() : queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

FileNotes& FileNotes::shared() {
  static FileNotes& shared = *new FileNotes;  // files may still be open when static objects are destroyed
  return shared;
}

int FileNotes::begin(int descriptor) {
  const std::lock_guard lock(mutex_);
  if (!queue_) return -1;
  // By way of the descriptor: the file's name may be another file's by now.
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  const int key = inotify_add_watch(queue_.get(), path.c_str(), IN_MODIFY | IN_ATTRIB);
  if (key >= 0) ++files_[key].users;  // a file that is known already has the same key
  return key;
}

FileNotes::Counts FileNotes::counts(int key) {
  const std::lock_guard lock(mutex_);
  read();
  const auto file = files_.find(key);
  return file == files_.end() ? Counts() : file->second.counts;
}

void FileNotes::end(int key) {
  const std::lock_guard lock(mutex_);
  const auto file = files_.find(key);
  if (file == files_.end() || --file->second.users > 0) return;
  inotify_rm_watch(queue_.get(), key);
  files_.erase(file);
}

void FileNotes::read() {
  std::array<char, 4096> buffer{};
  for (ssize_t length; (length = ::read(queue_.get(), buffer.data(), buffer.size())) > 0;) {
    inotify_event event{};
    for (ssize_t at = 0; at < length; at += ssize_t(sizeof event + event.len)) {
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const auto file = files_.find(event.wd);
      if (file == files_.end()) continue;  // a late note
      if (event.mask & IN_MODIFY) ++file->second.counts.writes;
      if (event.mask & IN_ATTRIB) ++file->second.counts.attributes;
    }
  }
}
