#include "platform/backends/isobmff/DecodingStart.h"

#include "platform/backends/isobmff/SampleDescription.h"

#include <algorithm>
#include <array>

#include <unistd.h>

namespace isobmff {

namespace {

constexpr std::uint32_t kMaximumCount = 1 << 16;

/// Reads bits, highest first; zeros behind the end.
class BitReader {
 public:
  explicit BitReader(ByteSpan bytes) : bytes_(bytes) {}

  std::uint32_t bit() {
    const std::size_t at = position_ >> 3;
    const std::uint32_t value = at < bytes_.size() ? bytes_[at] >> (7 - (position_ & 7)) & 1U : 0;
    ++position_;
    return value;
  }

  /// An unsigned Exponential-Golomb number.
  std::uint32_t golomb() {
    int zeros = 0;
    while (zeros < 32 && !bit()) ++zeros;
    if (zeros >= 32) return 0;
    std::uint32_t value = 1;
    for (int i = 0; i < zeros; ++i) value = value << 1 | bit();
    return value - 1;
  }

 private:
  ByteSpan bytes_;
  std::size_t position_ = 0;
};

/// The count in a recovery point message among the messages of a supplemental unit; nothing when it has none.
std::optional<std::uint32_t> recoveryMessage(ByteSpan unit, bool hevc) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < unit.size(); ++i) {
    // Emulation prevention: 00 00 03 stands for 00 00.
    if (i >= 2 && unit[i] == 3 && unit[i - 1] == 0 && unit[i - 2] == 0) continue;
    bytes.push_back(unit[i]);
  }
  std::size_t at = 0;
  while (at + 2 <= bytes.size()) {
    std::uint32_t type = 0, size = 0;
    for (std::uint32_t* value : {&type, &size}) {
      while (at < bytes.size() && bytes[at] == 0xFF) *value += 255, ++at;
      if (at >= bytes.size()) return std::nullopt;
      *value += bytes[at++];
    }
    if (size > bytes.size() - at) return std::nullopt;
    if (type == 6) {
      BitReader bits(ByteSpan(bytes).subspan(at, size));
      const std::uint32_t code = bits.golomb();
      if (!hevc) return code;
      return code % 2 ? code / 2 + 1 : 0;  // signed there: odd codes are positive
    }
    at += size;
  }
  return std::nullopt;
}

}  // namespace

DecodingStart::DecodingStart(const Movie& movie, std::size_t track, int descriptor) : descriptor_(descriptor) {
  for (std::size_t i = 0; i < std::min<std::size_t>(movie.tracks[track].formats.size(), 64); ++i) {
    Description description;
    if (const auto entry = SampleDescription::find(movie, track, i + 1)) {
      if (const auto avc = entry->child(fourCC("avcC"), false); avc && avc->size() > 4) {
        description = {Coding::H264, ((*avc)[4] & 3U) + 1};
      } else if (const auto hevc = entry->child(fourCC("hvcC"), false); hevc && hevc->size() > 21) {
        description = {Coding::HEVC, ((*hevc)[21] & 3U) + 1};
      }
    }
    descriptions_.push_back(description);
  }
}

std::uint32_t DecodingStart::samplesUntilWhole(const SampleRun& sample) const {
  if (descriptor_ < 0 || sample.description == 0 || sample.description > descriptions_.size()) return 0;
  const Description& description = descriptions_[sample.description - 1U];
  return description.coding == Coding::Other ? 0 : std::min(recoveryCount(sample, description), kMaximumCount);
}

std::uint32_t DecodingStart::recoveryCount(const SampleRun& sample, const Description& description) const {
  const bool hevc = description.coding == Coding::HEVC;
  std::array<std::uint8_t, 512> bytes;
  std::uint64_t at = 0;
  for (int unit = 0; unit < 64 && at + description.lengthSize < sample.size; ++unit) {
    const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), sample.size - at);
    const ssize_t got = pread(descriptor_, bytes.data(), wanted, off_t(sample.offset + at));
    const std::size_t header = description.lengthSize + (hevc ? 2 : 1);
    if (got < ssize_t(header)) return 0;
    std::uint64_t length = 0;
    for (std::uint32_t i = 0; i < description.lengthSize; ++i) length = length << 8 | bytes[i];
    const std::uint8_t first = bytes[description.lengthSize];
    const int type = hevc ? first >> 1 & 0x3F : first & 0x1F;
    if (hevc ? type < 32 : type >= 1 && type <= 5) return 0;  // the picture itself
    if (type == (hevc ? 39 : 6)) {
      const std::size_t end = std::size_t(std::min<std::uint64_t>(std::uint64_t(got), description.lengthSize + length));
      if (end > header) {
        const auto count = recoveryMessage(ByteSpan(bytes).subspan(header, end - header), hevc);
        if (count) return *count;
      }
    }
    at += description.lengthSize + length;
  }
  return 0;
}

}  // namespace isobmff
