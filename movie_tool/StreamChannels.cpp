#include "movie_tool/StreamChannels.h"

#include "platform/backends/isobmff/BitReader.h"

#include <algorithm>
#include <array>

using isobmff::BitReader;
using isobmff::ByteReader;
using isobmff::ByteSpan;

namespace {

/// The content of the descriptor that comes next, when it is of that kind.
std::optional<ByteSpan> descriptor(ByteReader& reader, unsigned kind) {
  if (reader.u8() != kind) return std::nullopt;
  std::uint32_t length = 0;
  for (int i = 0; i < 4; ++i) {
    const unsigned byte = reader.u8();
    length = length << 7 | (byte & 0x7F);
    if ((byte & 0x80) == 0) break;
  }
  return reader.take(std::min<std::size_t>(length, reader.remaining()));
}

}  // namespace

int streamChannels(const isobmff::SampleDescription& description) try {
  const auto esds = description.child(isobmff::fourCC("esds"), true);
  if (!esds) return 0;
  ByteReader box(*esds, "esds");
  box.skip(4);
  const auto stream = descriptor(box, 3);
  if (!stream) return 0;
  ByteReader fields(*stream, "esds");
  fields.skip(2);
  const unsigned flags = fields.u8();
  if ((flags & 0x80) != 0) fields.skip(2);
  if ((flags & 0x40) != 0) fields.skip(fields.u8());
  if ((flags & 0x20) != 0) fields.skip(2);
  const auto decoder = descriptor(fields, 4);
  if (!decoder) return 0;
  ByteReader coding(*decoder, "esds");
  if (coding.u8() != 0x40) return 0;  // AAC
  coding.skip(12);
  const auto header = descriptor(coding, 5);
  if (!header) return 0;
  BitReader bits(*header);
  if (bits.bits(5) == 31) bits.bits(6);
  if (bits.bits(4) == 15) bits.bits(24);
  constexpr std::array<int, 8> channels = {0, 1, 2, 3, 4, 5, 6, 8};
  const unsigned configuration = bits.bits(4);
  return configuration < channels.size() ? channels[configuration] : 0;
} catch (const isobmff::ReadFailure&) {
  return 0;
}
