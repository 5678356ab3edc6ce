#pragma once

#include "tests/isobmff/BoxBuilder.h"

/// A small movie of one track, whose boxes a test replaces before it builds the file: eight pictures of 100, 101, ...
/// 107 bytes in two chunks of four, each 512 ticks of 1/15360 s, the first a key picture.
struct HandMadeMovie {
  std::string handler = "vide";
  std::uint32_t timescale = 15360;
  std::string description = picture("avc1");
  std::string stsd = {};  ///< in place of the one with `description`
  std::string dref = box_builder::fullBox("dref", 0, 0, box_builder::u32(1) + box_builder::fullBox("url ", 0, 1, ""));
  std::string edts = {};
  std::string stts = box_builder::fullBox("stts", 0, 0, box_builder::u32s({1, 8, 512}));
  std::string stss = box_builder::fullBox("stss", 0, 0, box_builder::u32s({1, 1}));
  std::string stsc = box_builder::fullBox("stsc", 0, 0, box_builder::u32s({1, 1, 4, 1}));
  std::string stsz =
      box_builder::fullBox("stsz", 0, 0, box_builder::u32s({0, 8, 100, 101, 102, 103, 104, 105, 106, 107}));
  std::string stco = box_builder::fullBox("stco", 0, 0, box_builder::u32s({2, 1000, 2000}));
  std::string moreTables = {};  ///< ctts, stps, sdtp, ...
  std::string mvex = {};
  std::string moreTracks = {};
  std::string end = {};  ///< boxes behind the media
  std::uint64_t mediaSize = 4000;

  /// A sample description with as much of its fields as readers look at.
  static std::string picture(const std::string& format, std::uint16_t reference = 1) {
    using namespace box_builder;
    return box(format, zeros(6) + u16(reference) + zeros(16) + u16(640) + u16(360) + zeros(50));
  }
  static std::string sound(const std::string& format, int version, std::uint16_t channels, std::uint16_t bits,
                           const std::string& more = "", std::uint64_t rate = 48000) {
    using namespace box_builder;
    return box(format, zeros(6) + u16(1) + u16(std::uint64_t(version)) + zeros(6) + u16(channels) + u16(bits) +
                           zeros(4) + u32(rate << 16) + more);
  }

  /// 1280 frames of sound whose tables count each as a byte, as old QuickTime files do; `description` is to be set.
  static HandMadeMovie constantRateSound() {
    using namespace box_builder;
    HandMadeMovie movie;
    movie.handler = "soun";
    movie.timescale = 48000;
    movie.stss = "";
    movie.stts = fullBox("stts", 0, 0, u32s({1, 1280, 1}));
    movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 640, 1}));
    movie.stsz = fullBox("stsz", 0, 0, u32s({1, 1280}));
    movie.mediaSize = 5000;
    return movie;
  }

  /// An index without samples: they are in fragments, of 50 bytes and 500 ticks each where those say nothing else.
  static HandMadeMovie fragmented() {
    using namespace box_builder;
    HandMadeMovie movie;
    for (std::string* table : {&movie.stts, &movie.stsc, &movie.stco})
      *table = fullBox(table->substr(4, 4), 0, 0, u32(0));
    movie.stsz = fullBox("stsz", 0, 0, u32s({0, 0}));
    movie.stss = "";
    movie.mvex = box("mvex", fullBox("trex", 0, 0, u32s({1, 1, 500, 50, 0x01010000})));
    return movie;
  }

  std::string track() const {
    using namespace box_builder;
    const std::string descriptions = stsd.empty() ? fullBox("stsd", 0, 0, u32(1) + description) : stsd;
    const std::string stbl = box("stbl", descriptions + stts + stss + stsc + stsz + stco + moreTables);
    const std::string header = handler == "vide" ? fullBox("vmhd", 0, 1, zeros(8)) : fullBox("smhd", 0, 0, zeros(4));
    const std::string minf = box("minf", header + box("dinf", dref) + stbl);
    const std::string mdhd = fullBox("mdhd", 0, 0, zeros(8) + u32(timescale) + u32(4096) + u16(0x55C4) + u16(0));
    const std::string hdlr = fullBox("hdlr", 0, 0, zeros(4) + handler + zeros(13));
    const std::string tkhd = fullBox("tkhd", 0, 3, zeros(8) + u32(1) + zeros(4) + u32(267) + zeros(60));
    return box("trak", tkhd + edts + box("mdia", mdhd + hdlr + minf));
  }
  std::string moov() const {
    using namespace box_builder;
    const std::string mvhd = fullBox("mvhd", 0, 0, zeros(8) + u32(1000) + u32(267) + zeros(76) + u32(2));
    return box("moov", mvhd + track() + moreTracks + mvex);
  }
  /// The media begin at byte 32; the index follows them.
  std::string build() const {
    using namespace box_builder;
    std::string media(mediaSize, '\0');
    for (std::size_t i = 0; i < media.size(); ++i) media[i] = char(i * 7 + i / 256);
    return box("ftyp", "isom" + u32(0x200) + "isomiso2") + box("mdat", media) + moov() + end;
  }
};
