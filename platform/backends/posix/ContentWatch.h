#pragma once

#include "platform/backends/posix/FileNotes.h"

#include <cstdint>
#include <mutex>
#include <vector>

#include <sys/stat.h>

/// Notices that somebody writes into a file that is open here, wherever in it and by whatever name, without reading all
/// of it.
///
/// What is appended is no change, nor is anything that leaves the content alone: other times (`touch`, a backup), other
/// rights, names that come and go. Three things are looked at. The length and what stands at some places tell another
/// recording from this one. The time of modification moves with whatever is written, also from another machine and to
/// mapped memory, but a person can set it. The kernel's notes tell the two apart.
///
/// Not noticed, unless it is at one of the places: what is written to mapped memory that was written to some seconds
/// before the watch began, or just before or after somebody sets the file's attributes, or on a file system in memory;
/// and what is written to the old part of a file that grows as well. An alarm about nothing: somebody sets the time of
/// modification but not that of access (`touch -m`), of which the kernel takes the same note as of a write.
///
/// Safe from any thread.
class ContentWatch {
 public:
  /// From now on. `file` stays open for longer than this lives. Reads its first 4096 bytes.
  explicit ContentWatch(int file);
  ~ContentWatch();
  ContentWatch(const ContentWatch&) = delete;
  ContentWatch& operator=(const ContentWatch&) = delete;

  /// Keeps what stands at places all over the file, too: some dozens of small reads, the first time.
  void rememberPlaces();
  /// Whether what was there has been shortened or written to; from then on it always is. Some reads, and none but one
  /// as long as nobody touches the file.
  bool hasChanged();

 private:
  struct Place {
    std::int64_t offset;
    std::vector<char> content;
  };
  enum class Look { Same, Changed, Unclear };

  Place placeAt(std::int64_t offset) const;
  bool isAsItWas(const Place& place) const;
  bool arePlacesAsTheyWere() const;
  Look look();

  const int file_;
  const int notes_;
  FileNotes::Counts noted_;  ///< up to the latest look
  std::mutex mutex_;
  struct stat known_ {};  ///< as of the beginning, but with the time of the latest look
  std::vector<Place> places_;
  bool changed_ = false;
};
