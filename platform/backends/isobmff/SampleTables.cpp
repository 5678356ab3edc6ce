#include "platform/backends/isobmff/SampleTables.h"

#include "platform/backends/isobmff/BoxParser.h"

namespace isobmff {

namespace {

TableView readTable(ByteSpan payload, std::size_t entrySize, const char* what) {
  ByteReader reader(payload, what);
  reader.skip(4);
  TableView table;
  table.count = reader.u32();
  table.data = reader.take(std::uint64_t(table.count) * entrySize).data();
  return table;
}

}  // namespace

SampleTables::SampleTables(ByteSpan stbl) {
  bool haveSizes = false, haveOffsets = false;
  BoxParser parser(stbl);
  while (const auto box = parser.next()) {
    switch (box->type) {
      case fourCC("stts"):
        if (!timeToSample.data) timeToSample = readTable(box->payload, 8, "stts");
        break;
      case fourCC("ctts"):
        if (!compositionOffset.data) compositionOffset = readTable(box->payload, 8, "ctts");
        break;
      case fourCC("stsc"):
        if (!sampleToChunk.data) sampleToChunk = readTable(box->payload, 12, "stsc");
        break;
      case fourCC("stss"):
        if (!syncSamples) syncSamples = readTable(box->payload, 4, "stss");
        break;
      case fourCC("stps"):
        if (!partialSyncSamples.data) partialSyncSamples = readTable(box->payload, 4, "stps");
        break;
      case fourCC("stsz"):
      case fourCC("stz2"):
        if (haveSizes) break;
        haveSizes = true;
        if (box->type == fourCC("stsz"))
          readSizes(box->payload);
        else
          readCompactSizes(box->payload);
        break;
      case fourCC("stco"):
      case fourCC("co64"):
        if (haveOffsets) break;
        haveOffsets = true;
        longOffsets = box->type == fourCC("co64");
        chunkOffsets = readTable(box->payload, longOffsets ? 8 : 4, "chunk offsets");
        break;
      case fourCC("sdtp"):
        if (dependencies.empty() && box->payload.size() > 4) dependencies = box->payload.subspan(4);
        break;
      default:
        break;
    }
  }
  findUniformSize();
}

bool SampleTables::isDurationOne() const {
  bool any = false;
  for (std::uint32_t i = 0; i < timeToSample.count; ++i) {
    const std::uint8_t* entry = timeToSample.data + std::size_t(i) * 8;
    if (loadU32(entry) == 0) continue;
    if (duration(loadU32(entry + 4)) != 1) return false;
    any = true;
  }
  return any;
}

void SampleTables::findUniformSize() {
  if (uniformSize != 0 || sampleCount == 0) return;
  const std::uint32_t first = size(0);
  for (std::uint32_t sample = 1; sample < sampleCount; ++sample) {
    if (size(sample) != first) return;
  }
  uniformSize = first;
}

void SampleTables::readSizes(ByteSpan payload) {
  ByteReader reader(payload, "stsz");
  reader.skip(4);
  uniformSize = reader.u32();
  sampleCount = reader.u32();
  if (uniformSize != 0) return;
  sizes.count = sampleCount;
  sizes.data = reader.take(std::uint64_t(sampleCount) * 4).data();
}

void SampleTables::readCompactSizes(ByteSpan payload) {
  ByteReader reader(payload, "stz2");
  reader.skip(7);
  sizeBits = reader.u8();
  if (sizeBits != 4 && sizeBits != 8 && sizeBits != 16) failDamaged("stz2");
  sampleCount = reader.u32();
  sizes.count = sampleCount;
  sizes.data = reader.take((std::uint64_t(sampleCount) * unsigned(sizeBits) + 7) / 8).data();
}

}  // namespace isobmff
