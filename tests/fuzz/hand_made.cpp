/// fuzz_hand_made FOLDER: writes movies with the rarer kinds of tables, as first inputs for the fuzz targets.

#include "tests/isobmff/HandMadeMovie.h"

#include <cstdio>
#include <fstream>
#include <utility>
#include <vector>

using namespace box_builder;

namespace {

std::string folder;

void save(const std::string& name, const std::string& content) {
  std::ofstream(folder + "/hand_" + name + ".mp4", std::ios::binary) << content;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2) {
    std::fputs("Usage: fuzz_hand_made FOLDER\n", stderr);
    return 2;
  }
  folder = argv[1];
  HandMadeMovie movie;
  save("plain", movie.build());
  movie.moreTables = fullBox("ctts", 1, 0, u32s({2, 3, 1024, 5, std::uint32_t(-256)})) +
                     fullBox("sgpd", 1, 0, std::string("rap ") + u32s({1, 1}) + u8(0x80)) +
                     fullBox("sbgp", 0, 0, std::string("rap ") + u32s({3, 4, 0, 1, 1, 3, 0})) +
                     fullBox("sgpd", 1, 0, std::string("roll") + u32s({2, 1}) + u16(0xFFFF)) +
                     fullBox("sbgp", 1, 0, std::string("roll") + u32s({0, 1, 8, 1})) +
                     fullBox("stps", 0, 0, u32s({1, 7})) + fullBox("sdtp", 0, 0, std::string(8, '\x20')) +
                     fullBox("cslg", 0, 0, zeros(20));
  movie.edts = box("edts", fullBox("elst", 1, 0,
                                   u32(3) + u64(50) + u64(~0ULL) + u32(0x10000) + u64(100) + u64(512) + u32(0x10000) +
                                       u64(80) + u64(2048) + u32(0x10000)));
  movie.end = box("uuid", "0123456789abcdefcustom") + fullBox("meta", 0, 0, box("xml ", "<a/>"));
  save("groups", movie.build());

  movie.moreTables = fullBox("csgp", 0, 0, std::string("rap ") + u32(2) + u8(0x23) + u8(0x15) + u8(0x01) + u8(0x20)) +
                     fullBox("stdp", 0, 0, std::string(16, '\2')) + fullBox("padb", 0, 0, u32(8) + "abcd") +
                     fullBox("subs", 0, 0, u32s({2, 3}) + u16(1) + u64(7) + u32(2) + u16(0));
  movie.mvex = box("udta", fullBox("chpl", 1, 0, u32(0) + u8(2) + u64(0) + u8(1) + "A" + u64(900'000) + u8(1) + "B"));
  save("numbered", movie.build());

  movie = {};
  movie.stsz = fullBox("stz2", 0, 0, u32(8) + u32(8) + "abcdefgh");
  movie.stco = fullBox("co64", 0, 0, u32(2) + u64(1000) + u64(2000));
  movie.stsd = fullBox("stsd", 0, 0, u32(2) + HandMadeMovie::picture("avc1", 1) + HandMadeMovie::picture("hvc1", 1));
  movie.stsc = fullBox("stsc", 0, 0, u32s({2, 1, 4, 1, 2, 4, 2}));
  save("compact", movie.build());

  // Several stretches of the media: rising and apart, so that each is cut by itself; and falling, with an empty edit.
  const auto edits = [](const std::vector<std::pair<std::uint32_t, std::uint32_t>>& list) {
    std::string entries = u32(list.size());
    for (const auto& [length, from] : list) entries += u32s({length, from, 0x10000});
    return box("edts", fullBox("elst", 0, 0, entries));
  };
  movie = {};
  movie.stss = fullBox("stss", 0, 0, u32s({3, 1, 4, 7}));
  HandMadeMovie sound;
  sound.handler = "soun";
  sound.timescale = 48000;
  sound.stss = "";
  sound.stts = fullBox("stts", 0, 0, u32s({1, 8, 1024}));
  sound.description = HandMadeMovie::sound("mp4a", 0, 1, 16);
  movie.edts = edits({{30, ~0U}, {50, 256}, {50, 2048}, {33, 3072}});
  sound.edts = edits({{30, 512}, {60, 4096}});
  movie.moreTracks = sound.track();
  save("stretches", movie.build());
  movie.edts = edits({{66, 2048}, {40, ~0U}, {66, 0}, {400, 3584}});
  sound.edts = edits({{50, 4096}, {500, ~0U}, {20, 100}, {20, 5120}});
  movie.moreTracks = sound.track();
  movie.moreTables = fullBox("ctts", 0, 0, u32s({4, 1, 512, 1, 1536, 2, 0, 4, 512}));
  save("stretches_falling", movie.build());

  movie = HandMadeMovie::constantRateSound();
  movie.description = HandMadeMovie::sound("twos", 0, 1, 16);
  save("frames", movie.build());
  movie.description = HandMadeMovie::sound("ima4", 1, 2, 16, u32s({64, 34, 68, 2}));
  save("packets", movie.build());
  movie.handler = "tmcd";
  movie.description = HandMadeMovie::picture("tmcd");
  movie.moreTracks = HandMadeMovie().track();
  save("timecode", movie.build());

  movie = {};
  movie.mvex = box("mvex", fullBox("trex", 0, 0, u32s({1, 1, 500, 50, 0x01010000})));
  const std::string samples = u32s({2, 0x20, 0x02000000, 512, 70, 512, 30});
  const std::string groups = fullBox("sgpd", 1, 0, std::string("roll") + u32s({2, 1}) + u16(0xFFFE)) +
                             fullBox("sbgp", 0, 0, std::string("roll") + u32s({1, 2, 0x10001}));
  for (const int gap : {0, 300}) {
    movie.end += box("moof", fullBox("mfhd", 0, 0, u32(1)) +
                                 box("traf", fullBox("tfhd", 0, 1, u32(1) + u64(64)) +
                                                 fullBox("tfdt", 1, 0, u64(std::uint64_t(4096 + gap * 9))) +
                                                 fullBox("trun", 0, 0x305, samples) + groups) +
                                 box("traf", fullBox("tfhd", 0, 0x20000, u32(1)) +
                                                 fullBox("trun", 1, 0x801, u32s({1, std::uint32_t(-400), 99}))));
  }
  save("fragments", movie.build());

  // What claims a lot, in the hole behind the file (its last byte is odd): pictures of a byte each, and frames of sound
  // with tables that speak of some.
  movie.end = "";
  for (const int sync : {1, 0}) {
    movie.end +=
        box("moof", box("traf", fullBox("tfhd", 0, 0x20038, u32s({1, 100, 1, 0x1010000})) +
                                    fullBox("trun", 0, 5, u32s({80'000, 100, sync ? 0x02000000U : 0x1010000U}))));
  }
  save("many_pictures", movie.build() + box("free", "\1"));
  movie = HandMadeMovie::constantRateSound();
  movie.description = HandMadeMovie::sound("sowt", 0, 1, 16);
  movie.stts = fullBox("stts", 0, 0, u32s({1, 64 << 20, 1}));
  movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 16 << 20, 1}));
  movie.stsz = fullBox("stsz", 0, 0, u32s({2, 64 << 20}));
  movie.stco = fullBox("stco", 0, 0, u32s({4, 0x100000, 0x100000, 0x100000, 0x100000}));
  for (const char* table : {"stdp", "padb", "sdtp"}) {
    movie.moreTables = fullBox(table, 0, 0, std::string(table) == "padb" ? u32(2) + "a" : "abcd");
    save(std::string("many_frames_") + table, movie.build() + box("free", "\1"));
  }
  return 0;
}
