#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

/// Damages movies, as accidents do and as somebody would who means harm: cut off, flipped bits, sizes, counts and times
/// that lie, tracks exchanged and multiplied, boxes within boxes. The same seed does the same.
class MovieMutator {
 public:
  explicit MovieMutator(unsigned seed) : random_(seed) {}

  /// A damaged copy of a movie's bytes; what was done to it is in `done`.
  std::string damaged(const std::string& movie, std::string* done);

 private:
  /// A box of an ISO base media file.
  struct Box {
    std::size_t at, size, header;  ///< in bytes; the size is that of header and content
    std::string type;
    std::vector<std::size_t> parents;  ///< where the boxes around it begin, from the outside
  };
  static std::vector<Box> boxesOf(const std::string& movie);
  static void find(const std::string& movie, std::size_t from, std::size_t to, const std::vector<std::size_t>& parents,
                   std::vector<Box>& found);

  std::size_t below(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }
  std::uint64_t hostileNumber();
  const Box* pick(const std::vector<Box>& boxes, std::initializer_list<const char*> types);
  /// Puts bytes in and lets the boxes around them know.
  static void insert(std::string& movie, const Box& behind, const std::string& bytes);

  void cutOff(std::string& movie);
  void flipBits(std::string& movie);
  void overwriteRange(std::string& movie);
  bool lieAboutSize(std::string& movie);
  bool lieInTable(std::string& movie);
  bool changeDimensions(std::string& movie);
  bool changeCodedSize(std::string& movie);
  bool changeDurations(std::string& movie);
  bool exchangeBoxes(std::string& movie);
  bool multiplyTrack(std::string& movie);
  bool nestBoxes(std::string& movie);
  bool changeFloat(std::string& movie);

  std::mt19937 random_;
};
