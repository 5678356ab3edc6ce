#include "platform/backends/isobmff/SoundFormat.h"

#include "platform/backends/isobmff/SampleDescription.h"

#include <algorithm>

namespace isobmff {

namespace {

/// What an elementary stream descriptor says: the kind of coding, and for AAC which one.
struct ElementaryStream {
  int objectType = 0;       ///< 0x40 for MPEG-4 audio
  int audioObjectType = 0;  ///< first of the decoder specific information: 2 for AAC LC, 5 for HE
};

/// The length of a descriptor: seven bits a byte.
std::uint32_t descriptorLength(ByteReader& reader) {
  std::uint32_t length = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t byte = reader.u8();
    length = length << 7 | (byte & 0x7F);
    if (!(byte & 0x80)) break;
  }
  return length;
}

ElementaryStream elementaryStream(ByteSpan esds) try {
  constexpr std::uint8_t kStream = 3, kDecoder = 4, kSpecific = 5;
  ElementaryStream stream;
  ByteReader reader(esds, "esds");
  reader.skip(4);
  if (reader.u8() == kStream) {
    descriptorLength(reader);
    reader.skip(2);
    const std::uint8_t flags = reader.u8();
    if (flags & 0x80) reader.skip(2);
    if (flags & 0x40) reader.skip(reader.u8());
    if (flags & 0x20) reader.skip(2);
    if (reader.u8() != kDecoder) return stream;
  }
  descriptorLength(reader);
  stream.objectType = reader.u8();
  reader.skip(12);
  if (reader.remaining() < 2 || reader.u8() != kSpecific) return stream;
  if (descriptorLength(reader) < 2) return stream;
  const int first = reader.u8(), second = reader.u8();
  stream.audioObjectType = first >> 3;
  if (stream.audioObjectType == 31) stream.audioObjectType = 32 + ((first & 7) << 3 | second >> 5);
  return stream;
} catch (const ReadFailure&) {
  return {};
}

/// The kind of coding that an elementary stream descriptor names; 0 without one.
int objectType(const SampleDescription& description) {
  const bool mayHave = description.format() == fourCC("mp4a");
  const auto esds = mayHave ? description.child(fourCC("esds"), true) : std::nullopt;
  return esds ? elementaryStream(*esds).objectType : 0;
}

/// Whether the sound may be MPEG-1 or MPEG-2 layer 3. Its other layers come under the same names.
bool isLayer3(const SampleDescription& description) {
  const FourCC format = description.format();
  if (format == fourCC(".mp3") || format == 0x6D730055) return true;  // "ms" and the number that stands for MP3
  const int type = objectType(description);
  return type == 0x69 || type == 0x6B;
}

std::uint32_t packetsOf(const SampleDescription& description) {
  switch (description.format()) {
    case fourCC("mp4a"): {
      const auto esds = description.child(fourCC("esds"), true);
      if (!esds) return 2;
      const ElementaryStream stream = elementaryStream(*esds);
      if (stream.objectType == 0x40 || (stream.objectType >= 0x66 && stream.objectType <= 0x68)) {
        // Spectral band replication looks back further, and low rates may have it without saying so.
        return stream.audioObjectType == 2 && description.soundRate() > 24'000 ? 1 : 2;
      }
      return 1;
    }
    case fourCC("fLaC"):
    case fourCC("alac"):
    case fourCC("raw "):
    case fourCC("twos"):
    case fourCC("sowt"):
    case fourCC("in24"):
    case fourCC("in32"):
    case fourCC("fl32"):
    case fourCC("fl64"):
    case fourCC("lpcm"):
    case fourCC("ipcm"):
    case fourCC("fpcm"):
    case fourCC("NONE"):
    case fourCC("ulaw"):
    case fourCC("alaw"):
      return 0;
    default:
      return 1;
  }
}

/// The longest way back that sample groups of kinds "roll" and "prol" name, in packets.
std::uint32_t rollDistance(const Movie& movie, std::size_t track) {
  std::uint32_t distance = 0;
  const Box* table = sampleTableBox(movie, track);
  if (!table) return 0;
  for (const Box& box : table->children) {
    if (box.type != fourCC("sgpd")) continue;
    try {
      ByteReader reader(box.payload, "sgpd");
      const int version = reader.version();
      const FourCC grouping = reader.u32();
      if (grouping != fourCC("roll") && grouping != fourCC("prol")) continue;
      const std::uint32_t length = version >= 1 ? reader.u32() : 2;
      if (version >= 2) reader.skip(4);
      const std::uint32_t count = std::min<std::uint32_t>(reader.u32(), 256);
      for (std::uint32_t i = 0; i < count && length == 2; ++i) {
        const int value = std::int16_t(reader.u16());
        if (value < 0) distance = std::max(distance, std::uint32_t(-value));
      }
    } catch (const ReadFailure&) {
    }
  }
  return std::min<std::uint32_t>(distance, 64);
}

}  // namespace

SoundFormat soundFormat(const Movie& movie, std::size_t track) {
  SoundFormat format;
  format.prerollPackets = rollDistance(movie, track);
  for (std::size_t i = 1; i <= std::min<std::size_t>(movie.tracks[track].formats.size(), 16); ++i) {
    const auto description = SampleDescription::find(movie, track, i);
    if (!description) continue;
    format.rate = std::max(format.rate, description->soundRate());
    if (description->format() == fourCC("Opus")) {
      format.rate = 48'000;
      format.prerollSeconds = 0.08;
    } else {
      format.prerollPackets = std::max(format.prerollPackets, packetsOf(*description));
    }
    constexpr int kVorbis = 0xDD;
    format.wholePackets = format.wholePackets || objectType(*description) == kVorbis;
    if (isLayer3(*description)) {
      // The pointer back has nine bits, and eight at the lower rates, where header and side information are smaller.
      const bool low = description->soundRate() > 0 && description->soundRate() < 32'000;
      format.lentBytes = std::max(format.lentBytes, low ? 255U : 511U);
      format.packetOverhead = std::max(format.packetOverhead, low ? 21U : 36U);
    }
  }
  return format;
}

}  // namespace isobmff
