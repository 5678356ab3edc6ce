#include "platform/backends/isobmff/SoundDescription.h"

#include <bit>

namespace isobmff {

namespace {

/// Bytes of one sample of one channel where the format alone says it; 0 for sampleSize's bits; -1 for anything else.
int bytesOfFormat(FourCC format) {
  switch (format) {
    case fourCC("raw "):
    case fourCC("NONE"):
    case fourCC("twos"):
    case fourCC("sowt"):
      return 0;
    case fourCC("ulaw"):
    case fourCC("alaw"):
      return 1;
    case fourCC("in24"):
      return 3;
    case fourCC("in32"):
    case fourCC("fl32"):
      return 4;
    case fourCC("fl64"):
      return 8;
    default:
      return -1;
  }
}

}  // namespace

std::optional<SoundDescription> SoundDescription::read(const BoxView& entry, bool quickTime) {
  if (entry.payload.size() < 28) return std::nullopt;
  ByteReader reader(entry.payload, "stsd");
  SoundDescription sound;
  sound.format = entry.type;
  reader.skip(8);  // reserved, data reference
  sound.version = quickTime ? reader.u16() : int(reader.u16() & 0);
  reader.skip(6);
  sound.channels = reader.u16();
  const std::uint32_t sampleBits = reader.u16();
  reader.skip(4);
  sound.sampleRate = reader.u32() / 65536.0;

  if (sound.version == 2 && reader.remaining() >= 36) {
    reader.skip(4);
    sound.sampleRate = std::bit_cast<double>(reader.u64());
    sound.channels = reader.u32();
    reader.skip(12);  // always 7F000000; bits of a channel; flags
    sound.packetBytes = reader.u32();
    sound.packetFrames = reader.u32();
    sound.uncompressed = sound.format == fourCC("lpcm");
    return sound;
  }
  const int bytes = bytesOfFormat(sound.format);
  if (bytes >= 0) {
    sound.uncompressed = true;
    sound.packetFrames = 1;
    sound.packetBytes = sound.channels * (bytes > 0 ? std::uint32_t(bytes) : (sampleBits + 7) / 8);
  } else if (sound.version == 1 && reader.remaining() >= 16) {
    sound.packetFrames = reader.u32();
    reader.skip(4);
    sound.packetBytes = reader.u32();  // of a frame: of all channels
  } else if (sound.format == fourCC("ima4")) {
    sound.packetFrames = 64;
    sound.packetBytes = 34 * sound.channels;
  } else if (sound.format == fourCC("MAC3") || sound.format == fourCC("MAC6")) {
    sound.packetFrames = 6;
    sound.packetBytes = (sound.format == fourCC("MAC3") ? 2 : 1) * sound.channels;
  }
  return sound;
}

}  // namespace isobmff
