#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

/// A file of known size that one thread writes, not necessarily from front to back, while others read it: reading waits
/// for what is still to come. Any thread.
class GrowingFile {
 public:
  /// `descriptor` stays the caller's and is open for reading. Nothing of the file's `size` bytes is there yet.
  GrowingFile(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}
  /// A file that is there as a whole.
  explicit GrowingFile(int descriptor);

  std::uint64_t size() const { return size_; }

  /// These bytes are there now.
  void add(std::uint64_t offset, std::uint64_t length);
  /// Nothing more is coming. The file is whole, or whoever waits for bytes that are not there gets an error.
  void end(bool whole);

  /// Reads up to `size` bytes, at least one, as soon as the first one is there. The number read, 0 at the file's end,
  /// or a negative errno value.
  std::int64_t read(std::uint64_t offset, std::uint8_t* to, std::size_t size);
  /// Reads exactly `size` bytes; false when they are not to be had.
  bool readAll(std::uint64_t offset, std::uint8_t* to, std::size_t size);

 private:
  std::uint64_t available(std::uint64_t offset) const;

  const int descriptor_;
  std::uint64_t size_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::uint64_t, std::uint64_t> parts_;  // begin and end of what is there, never touching each other
  bool ended_ = false;
};
