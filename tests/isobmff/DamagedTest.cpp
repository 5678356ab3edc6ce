#include "platform/backends/isobmff/MovieReader.h"
#include "tests/isobmff/HandMadeMovie.h"

#include <gtest/gtest.h>

using namespace box_builder;

namespace {

/// What is said about a file; empty when it can be read.
std::string problem(const std::string& content) {
  const FileDescriptor descriptor = file(content);
  NSErrorPtr error;
  const auto movie = isobmff::readMovie(descriptor.get(), "bad.mp4", &error);
  EXPECT_EQ(movie == nullptr, error != nullptr);
  return error ? error->localizedDescription() : "";
}

/// The movie with one of its boxes replaced.
std::string problem(std::string HandMadeMovie::*member, const std::string& replacement) {
  HandMadeMovie movie;
  movie.*member = replacement;
  return problem(movie.build());
}

std::string damaged(const std::string& what) {
  return "“bad.mp4” has a damaged index (" + what + ").";
}

}  // namespace

TEST(DamagedMovie, TablesThatClaimMoreThanTheyHoldOrContradictThemselves) {
  const std::string lie = u32(0xFFFFFFFF);
  const struct {
    std::string HandMadeMovie::*member;
    const char* type;
    std::string content;
    const char* word;
  } cases[] = {{&HandMadeMovie::stts, "stts", lie + u32s({8, 512}), "stts"},
               {&HandMadeMovie::stsc, "stsc", lie + u32s({1, 4, 1}), "stsc"},
               {&HandMadeMovie::stss, "stss", lie + u32(1), "stss"},
               {&HandMadeMovie::stsz, "stsz", u32(0) + lie + zeros(8), "stsz"},
               {&HandMadeMovie::stsz, "stz2", u32(4) + lie + zeros(8), "stz2"},
               {&HandMadeMovie::stsz, "stz2", u32s({5, 1}) + zeros(8), "stz2"},
               {&HandMadeMovie::stco, "stco", lie + u32(1000), "chunk offsets"},
               {&HandMadeMovie::stco, "co64", lie + u64(1000), "chunk offsets"},
               {&HandMadeMovie::moreTables, "ctts", lie + u64(0), "ctts"},
               {&HandMadeMovie::moreTables, "sbgp", "roll" + lie, "sbgp"},
               {&HandMadeMovie::stts, "stts", u32(0), "stts"},
               {&HandMadeMovie::stsc, "stsc", u32(0), "stsc"},
               {&HandMadeMovie::stsc, "stsc", u32s({1, 2, 4, 1}), "stsc"},
               {&HandMadeMovie::stsc, "stsc", u32s({2, 1, 4, 1, 1, 4, 1}), "stsc"}};
  for (const auto& each : cases)
    EXPECT_EQ(problem(each.member, fullBox(each.type, 0, 0, each.content)), damaged(each.word)) << each.type;
  EXPECT_EQ(problem(&HandMadeMovie::stts, box("stts", "")), damaged("stts"));
  // The last: more edits than anybody makes would take up memory many times over.
  for (const std::string& edits :
       {fullBox("elst", 0, 0, lie + zeros(12)), fullBox("elst", 1, 0, u32(1) + u64(~0ULL) + u64(0) + u32(0)),
        fullBox("elst", 0, 0, u32(1100000) + zeros(12 * 1100000))})
    EXPECT_EQ(problem(&HandMadeMovie::edts, box("edts", edits)), damaged("elst"));

  // Empty tables are a track without samples, which is fine.
  EXPECT_EQ(problem(&HandMadeMovie::stsz, fullBox("stsz", 0, 0, u32s({0, 0}))), "");
  // A duration that was meant to be negative is passed over; chunks without samples are, too.
  EXPECT_EQ(problem(&HandMadeMovie::stts, fullBox("stts", 0, 0, u32s({1, 8, 0xFFFFFFFF}))), "");
  EXPECT_EQ(problem(&HandMadeMovie::stsc, fullBox("stsc", 0, 0, u32s({1, 1, 0, 1}))), "");
}

TEST(DamagedMovie, BoxesThatDoNotFit) {
  const std::string whole = HandMadeMovie().build();
  EXPECT_EQ(problem(whole.substr(0, whole.size() - 1)), "“bad.mp4” was cut off in the middle of its index.");
  EXPECT_EQ(problem(&HandMadeMovie::moreTables, u32(1000) + "ctts"), damaged("a box is larger than the one around it"));
  EXPECT_EQ(problem(&HandMadeMovie::moreTables, u32(7) + "ctts"), damaged("a box is larger than the one around it"));
  EXPECT_EQ(problem(&HandMadeMovie::moreTables, u32(1) + "ctts" + u64(~0ULL)),
            damaged("a box is larger than the one around it"));
  EXPECT_EQ(problem(&HandMadeMovie::moreTables, u32(1) + "ctts"), damaged("a box ends in its header"));
  EXPECT_EQ(problem(&HandMadeMovie::end, u32(1) + "mdat" + u64(~0ULL)), "");  // reaches behind the end: cut off
  EXPECT_EQ(problem(&HandMadeMovie::end, u32(3) + "mdat"), "");
  EXPECT_EQ(problem(box("ftyp", "qt  ") + box("moov", box("cmov", ""))),
            "“bad.mp4” has a compressed index (cmov), which can't be read.");
  HandMadeMovie one;
  one.timescale = 0;
  EXPECT_EQ(problem(one.build()), "“bad.mp4” has neither pictures nor sound that can be read.");
  EXPECT_EQ(problem(&HandMadeMovie::stsd, fullBox("stsd", 0, 0, u32(1))),
            "“bad.mp4” has neither pictures nor sound that can be read.");

  std::string deep;
  for (int i = 0; i < 10000; ++i) deep = box(i % 2 ? "trak" : "moov", deep);
  EXPECT_EQ(problem(&HandMadeMovie::moreTracks, deep), "");
  std::string many;
  for (int i = 0; i < 150'000; ++i) many += u32(8) + "free";
  EXPECT_EQ(problem(&HandMadeMovie::moreTables, many), damaged("too many boxes"));
}

TEST(DamagedMovie, NumbersTooLargeForAnySum) {
  HandMadeMovie sums;
  sums.stss = "";
  sums.stsz = fullBox("stsz", 0, 0, u32s({1, 0xFFFFFFFF}));
  sums.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 0xFFFFFFFF, 1}));
  sums.stts = fullBox("stts", 0, 0, u32s({1, 0xFFFFFFFF, 0x7FFFFFFF}));
  NSErrorPtr error;
  EXPECT_FALSE(isobmff::readMovie(file(sums.build(), 0x200000000).get(), "sums.mp4", &error));

  HandMadeMovie movie;
  movie.mvex = box("mvex", "");
  const auto fragment = [&](const std::string& tfhd, const std::string& rest) {
    return problem(movie.build() + box("moof", box("traf", tfhd + rest)));
  };
  const std::string tfhd = fullBox("tfhd", 0, 0, u32(1));
  EXPECT_EQ(fragment(tfhd, fullBox("tfdt", 1, 0, u64(~0ULL))), damaged("times"));
  EXPECT_EQ(fragment(tfhd, fullBox("tfdt", 1, 0, u64(1ULL << 50))), damaged("a gap in the times"));
  EXPECT_EQ(fragment(tfhd, fullBox("trun", 0, 1, u32(1) + u32(0x80000000))), damaged("offsets of a fragment"));
  EXPECT_EQ(fragment(fullBox("tfhd", 0, 1, u32(1) + u64(~0ULL)), fullBox("trun", 0, 1, u32(1) + u32(5))),
            damaged("offsets of a fragment"));
  EXPECT_EQ(fragment(tfhd, fullBox("trun", 0, 0x200, u32(0xFFFFFFFF))), damaged("trun"));
  EXPECT_EQ(fragment(tfhd, fullBox("trun", 0, 0, u32(0xFFFFFFFF))), damaged("number of samples"));
  EXPECT_EQ(fragment(tfhd, fullBox("trun", 0, 0, u32(5'000'000))), damaged("number of samples"));
  EXPECT_EQ(fragment("", fullBox("trun", 0, 0, u32(1))), damaged("traf"));
}
