#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Finds where the pictures themselves say how large they are, which no container has to agree with, and lies there.
class CodedSize {
 public:
  /// Looks through all of a movie's bytes, for H.264, VP8 and VP9.
  explicit CodedSize(const std::string& movie);

  std::size_t count() const { return places_.size(); }
  /// Writes a size in pixels over one of them; in H.264 rounded up to blocks of 16 x 16, and with it goes all that
  /// follows the size in the same header. False when there is no room for it.
  bool write(std::string& movie, std::size_t place, std::uint32_t width, std::uint32_t height) const;
  /// Over all of them; how many took it.
  std::size_t writeAll(std::string& movie, std::uint32_t width, std::uint32_t height) const;

 private:
  enum class Kind { H264, VP8, VP9 };
  struct Place {
    Kind kind;
    std::size_t at;  ///< of the parameter set, or behind the start code of a key picture
  };
  static bool writeH264(std::string& movie, std::size_t at, std::uint32_t width, std::uint32_t height);

  std::vector<Place> places_;
};
