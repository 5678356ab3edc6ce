#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/SampleDescription.h"
#include "tests/isobmff/HandMadeMovie.h"

#include <gtest/gtest.h>
#include <array>
#include <stdexcept>

using namespace box_builder;
using isobmff::descendant;
using isobmff::fourCC;
using isobmff::Movie;
using isobmff::SampleGroup;
using isobmff::SampleRun;
using isobmff::Track;

namespace {

std::unique_ptr<Movie> readFile(const std::string& content, std::uint64_t size = 0) {
  const FileDescriptor descriptor = file(content, size);
  NSErrorPtr error;
  auto movie = isobmff::readMovie(descriptor.get(), "hand.mp4", &error);
  if (!movie) throw std::runtime_error(error->localizedDescription());
  return movie;
}
std::unique_ptr<Movie> readFile(const HandMadeMovie& movie) {
  return readFile(movie.build());
}

/// Of each run: place in the file, count, size, decode time and duration of its samples.
using Runs = std::vector<std::array<std::uint64_t, 5>>;
Runs runs(const Track& track) {
  Runs result;
  for (const SampleRun& run : track.runs)
    result.push_back({run.offset, run.count, run.size, std::uint64_t(run.decodeTime), run.duration});
  return result;
}
std::vector<bool> flags(const Track& track, bool SampleRun::*flag) {
  std::vector<bool> result;
  for (const SampleRun& run : track.runs) result.insert(result.end(), run.count, run.*flag);
  return result;
}
std::string text(const isobmff::Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// Fragments.

std::string traf(const std::string& tfhd, const std::string& rest) {
  return box("traf", tfhd + rest);
}
std::string tfdt(std::uint64_t time) {
  return fullBox("tfdt", 1, 0, u64(time));
}
/// Samples of these sizes and durations, the first a key picture; `dataOffset` counts from the base.
std::string trun(std::initializer_list<std::pair<int, int>> samples, std::int32_t dataOffset) {
  std::string content = u32(samples.size()) + u32(std::uint32_t(dataOffset)) + u32(0x02000000);
  for (const auto& [size, duration] : samples) content += u32s({std::uint64_t(duration), std::uint64_t(size)});
  return fullBox("trun", 0, 0x305, content);
}

}  // namespace

TEST(HandMadeMovie, SizesAndOffsetsInEveryForm) {
  HandMadeMovie movie;
  movie.stss = "";
  for (const std::string& sizes :
       {fullBox("stsz", 0, 0, u32s({0, 7, 1, 15, 3, 4, 5, 6, 7})),
        fullBox("stz2", 0, 0, u32s({4, 7}) + u8(0x1F) + u8(0x34) + u8(0x56) + u8(0x70)),
        fullBox("stz2", 0, 0, u32s({8, 7}) + "\1\17\3\4\5\6\7"),
        fullBox("stz2", 0, 0, u32s({16, 7, 1 << 16 | 15, 3 << 16 | 4, 5 << 16 | 6}) + u16(7))}) {
    movie.stsz = sizes;
    EXPECT_EQ(runs(readFile(movie)->tracks[0]), (Runs{{1000, 1, 1, 0, 512},
                                                      {1001, 1, 15, 512, 512},
                                                      {1016, 1, 3, 1024, 512},
                                                      {1019, 1, 4, 1536, 512},
                                                      {2000, 1, 5, 2048, 512},
                                                      {2005, 1, 6, 2560, 512},
                                                      {2011, 1, 7, 3072, 512}}));
  }
  movie = {};
  movie.stco = fullBox("co64", 0, 0, u32(2) + u64(1000) + u64(3'000'000'000'0));
  const auto far = readFile(movie.build(), 40'000'000'000);
  ASSERT_EQ(far->tracks[0].runs.size(), 8U);
  EXPECT_EQ(far->tracks[0].runs[3].offset, 1303U);
  EXPECT_EQ(far->tracks[0].runs[4].offset, 30'000'000'000U);
  EXPECT_EQ(far->tracks[0].mediaDuration, 8 * 512);
  EXPECT_EQ(readFile(movie)->tracks[0].sampleCount, 4U) << "cut off";
}

TEST(HandMadeMovie, TablesThatEndEarlyOrAreOutOfOrder) {
  HandMadeMovie movie;
  movie.stts = fullBox("stts", 0, 0, u32s({3, 2, 500, 0, 7, 1, 600}));
  movie.moreTables = fullBox("ctts", 1, 0, u32s({2, 3, 1024, 1, std::uint32_t(-256)}));
  movie.stss = fullBox("stss", 0, 0, u32s({4, 7, 1, 3, 3}));
  const auto read = ::readFile(movie);
  const Track& track = read->tracks[0];
  EXPECT_EQ(track.runs[3].decodeTime, 500 + 500 + 600);
  EXPECT_EQ(track.mediaDuration, 500 * 2 + 600 * 6);
  EXPECT_EQ(track.runs[2].compositionOffset, 1024);
  EXPECT_EQ(track.runs[3].compositionOffset, -256);
  EXPECT_EQ(track.runs[3].presentationTime(), 1600 - 256);
  EXPECT_EQ(track.runs[4].compositionOffset, 0);
  using Flags = std::vector<bool>;
  EXPECT_EQ(flags(track, &SampleRun::sync), (Flags{1, 0, 1, 0, 0, 0, 1, 0}));
  const auto syncWith = [&](const std::string& stss) {
    movie.stss = stss;
    return flags(::readFile(movie)->tracks[0], &SampleRun::sync);
  };
  EXPECT_EQ(syncWith(fullBox("stss", 0, 0, u32s({2, 0, 4}))), (Flags{1, 0, 0, 0, 1, 0, 0, 0})) << "counted from 0";
  EXPECT_EQ(syncWith(fullBox("stss", 0, 0, u32(0))), (Flags{1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(syncWith(""), Flags(8, true));
  movie.handler = "soun";
  movie.description = HandMadeMovie::sound("mp4a", 0, 2, 16);
  EXPECT_EQ(syncWith(fullBox("stss", 0, 0, u32(0))), Flags(8, true));
}

TEST(HandMadeMovie, GroupsAndDependencies) {
  HandMadeMovie movie;
  const std::string sgpd = fullBox("sgpd", 1, 0, std::string("rap ") + u32s({1, 1}) + u8(0x80));
  movie.moreTables = sgpd + fullBox("sbgp", 0, 0, std::string("rap ") + u32s({3, 4, 0, 1, 1, 9, 0})) +
                     fullBox("sbgp", 1, 0, std::string("tele") + u32s({0x61626364, 1, 2, 1})) +
                     fullBox("stps", 0, 0, u32s({1, 7})) +
                     fullBox("sdtp", 0, 0, std::string("\x20\x14\x10\x10 4@\x10"));
  const auto read = ::readFile(movie);
  const Track& track = read->tracks[0];
  EXPECT_EQ(flags(track, &SampleRun::sync), (std::vector<bool>{1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(flags(track, &SampleRun::partialSync), (std::vector<bool>{0, 0, 0, 0, 1, 0, 1, 0}));
  EXPECT_EQ(text(track.dependencies), std::string("\x20\x14\x10\x10 4@\x10"));
  ASSERT_EQ(track.groups.size(), 2U);
  EXPECT_EQ(track.groups[0].grouping, fourCC("rap "));
  ASSERT_EQ(track.groups[0].runs.size(), 3U);
  EXPECT_EQ(track.groups[0].runs[1].description, 1U);
  EXPECT_EQ(track.groups[0].runs[2].count, 3U);  // it claims nine
  EXPECT_EQ(track.groups[1].parameter, 0x61626364U);
  const isobmff::Box* stbl = descendant(read->moov, {fourCC("trak"), fourCC("mdia"), fourCC("minf"), fourCC("stbl")});
  ASSERT_TRUE(stbl);
  EXPECT_EQ(box("sgpd", text(descendant(*stbl, {fourCC("sgpd")})->payload)), sgpd);
  EXPECT_TRUE(descendant(*stbl, {fourCC("sbgp")})->payload.empty());
}

TEST(HandMadeMovie, CompactGroups) {
  const auto groupOf = [](std::uint32_t flags, const std::string& content) {
    HandMadeMovie movie;
    movie.moreTables = fullBox("csgp", 0, flags, std::string("rap ") + content);
    const auto read = ::readFile(movie);
    std::vector<std::uint32_t> descriptions;
    for (const SampleGroup& group : read->tracks[0].groups) {
      for (const SampleGroup::Run& run : group.runs)
        descriptions.insert(descriptions.end(), run.count, run.description);
    }
    return descriptions;
  };
  using Descriptions = std::vector<std::uint32_t>;
  // Two patterns of 4-bit numbers: 0 1 over three samples, then 2 over four.
  EXPECT_EQ(groupOf(0, u32(2) + u8(0x23) + u8(0x14) + u8(0x01) + u8(0x20)), (Descriptions{0, 1, 0, 2, 2, 2, 2}));
  // Lengths in 8 bits, counts in 16, descriptions in 32, with a parameter; more than there are samples.
  EXPECT_EQ(groupOf(0x40 | 0x10 | 0x08 | 0x03, u32(77) + u32(1) + u8(3) + u16(900) + u32s({1, 1, 0})),
            (Descriptions{1, 1, 0, 1, 1, 0, 1, 1}));
  // Too short, or a pattern of nothing: no groups.
  EXPECT_TRUE(groupOf(0, u32(2) + u8(0x23) + u8(0x14) + u8(0x01)).empty());
  EXPECT_TRUE(groupOf(0, u32(1) + u8(0x04) + u8(0x01)).empty());
  EXPECT_TRUE(groupOf(0, u32(0xFFFFFFFF) + u8(0x04)).empty());
}

TEST(HandMadeMovie, SeveralDescriptionsAndReferences) {
  HandMadeMovie movie;
  movie.stsd = fullBox("stsd", 0, 0, u32(2) + HandMadeMovie::picture("avc1", 1) + HandMadeMovie::picture("hvc1", 2));
  movie.dref = fullBox("dref", 0, 0,
                       u32(2) + fullBox("url ", 0, 1, "") + fullBox("url ", 0, 0, std::string("other.mp4") + zeros(1)));
  EXPECT_TRUE(readFile(movie)->tracks[0].selfContained);  // nothing uses the second one
  movie.stsc = fullBox("stsc", 0, 0, u32s({2, 1, 4, 1, 2, 4, 2}));
  const auto external = readFile(movie);
  EXPECT_FALSE(external->tracks[0].selfContained);
  EXPECT_EQ(external->tracks[0].formats, (std::vector<isobmff::FourCC>{fourCC("avc1"), fourCC("hvc1")}));
  EXPECT_EQ(external->tracks[0].runs[3].description, 1);
  EXPECT_EQ(external->tracks[0].runs[4].description, 2);
  movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 4, 3}));  // there is no third one
  EXPECT_EQ(readFile(movie)->tracks[0].runs[0].description, 1);
}

TEST(HandMadeMovie, EditLists) {
  HandMadeMovie movie;
  movie.edts =
      box("edts", fullBox("elst", 1, 0,
                          u32(2) + u64(500) + u64(~0ULL) + u32(0x10000) + u64(1ULL << 33) + u64(1024) + u32(0x10000)));
  auto edits = readFile(movie)->tracks[0].edits;
  ASSERT_EQ(edits.size(), 2U);
  EXPECT_EQ(edits[0].duration, 500U);
  EXPECT_EQ(edits[0].mediaTime, -1);
  EXPECT_EQ(edits[1].duration, 1ULL << 33);
  EXPECT_EQ(edits[1].mediaTime, 1024);
  movie.edts = box("edts", fullBox("elst", 0, 0, u32s({1, 500, 0xFFFFFFFF, 0x10000})));
  EXPECT_EQ(readFile(movie)->tracks[0].edits.at(0).mediaTime, -1);
}

TEST(HandMadeMovie, SoundOfConstantRate) {
  HandMadeMovie movie = HandMadeMovie::constantRateSound();
  // Frames that the tables count as a byte each.
  movie.description = HandMadeMovie::sound("twos", 0, 1, 16);
  EXPECT_EQ(runs(readFile(movie)->tracks[0]), (Runs{{1000, 640, 2, 0, 1}, {2000, 640, 2, 640, 1}}));
  // Packets of 64 frames in 34 bytes, for each of two channels.
  movie.description = HandMadeMovie::sound("ima4", 1, 2, 16, u32s({64, 34, 68, 2}));
  const Runs packets{{1000, 10, 68, 0, 64}, {2000, 10, 68, 640, 64}};
  EXPECT_EQ(runs(readFile(movie)->tracks[0]), packets);
  // The same said at greater length: a writer may shorten it.
  movie.stts = fullBox("stts", 0, 0, u32s({3, 1000, 1, 0, 9, 280, 0x80000001}));
  std::string ones;
  for (int i = 0; i < 1280; ++i) ones += u32(1);
  movie.stsz = fullBox("stsz", 0, 0, u32s({0, 1280}) + ones);
  EXPECT_EQ(runs(readFile(movie)->tracks[0]), packets);
  // A description that tells its packets itself: eight channels of 32 bits.
  movie = HandMadeMovie::constantRateSound();
  movie.description =
      HandMadeMovie::sound("lpcm", 2, 3, 16, u32(72) + u64(0x40E7700000000000) + u32s({8, 0x7F000000, 32, 9, 32, 1}));
  movie.mediaSize = 50000;
  movie.stco = fullBox("stco", 0, 0, u32s({2, 40, 40 + 640 * 32}));  // one chunk follows the other
  EXPECT_EQ(runs(readFile(movie)->tracks[0]), (Runs{{40, 1280, 32, 0, 1}}));
}

TEST(HandMadeMovie, ABillionSamplesAlikeCostNothing) {
  HandMadeMovie movie;
  movie.handler = "soun";
  movie.description = HandMadeMovie::sound("ulaw", 0, 1, 8);
  movie.stss = "";
  movie.stts = fullBox("stts", 0, 0, u32s({1, 4'000'000'000, 1}));
  movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 4'000'000'000, 1}));
  movie.stsz = fullBox("stsz", 0, 0, u32s({1, 4'000'000'000}));
  movie.stco = fullBox("stco", 0, 0, u32s({1, 1000}));
  EXPECT_EQ(runs(readFile(movie.build(), 4'100'000'000)->tracks[0]), (Runs{{1000, 4'000'000'000, 1, 0, 1}}));
  EXPECT_EQ(runs(readFile(movie.build(), 3'000'001'000)->tracks[0]), (Runs{{1000, 3'000'000'000, 1, 0, 1}}));
}

TEST(HandMadeMovie, WhatStandsBesidesTheIndex) {
  HandMadeMovie movie;
  const std::string user = box("uuid", "0123456789abcdef" + std::string("custom"));
  const std::string harmless = fullBox("meta", 0, 0, fullBox("hdlr", 0, 0, zeros(20)) + box("xml ", "<a/>"));
  const std::string pointing = fullBox("meta", 0, 0, fullBox("hdlr", 0, 0, zeros(20)) + box("iloc", zeros(8)));
  movie.end = user + harmless + pointing + u32(0) + "free" + zeros(100);  // the last one: to the file's end
  const auto read = ::readFile(movie);
  ASSERT_EQ(read->other.size(), 2U);
  EXPECT_EQ(box("uuid", text(read->other[0].payload)), user);
  EXPECT_EQ(box("meta", text(read->other[1].payload)), harmless);
}

TEST(HandMadeMovie, ATrackThatNobodyCanUseIsLeftOut) {
  HandMadeMovie broken;
  broken.timescale = 0;
  HandMadeMovie movie;
  movie.moreTracks = broken.track();
  const auto read = ::readFile(movie);
  EXPECT_EQ(read->tracks.size(), 1U);
  EXPECT_EQ(read->moov.children.size(), 2U);
  broken.moreTracks = movie.track();
  EXPECT_EQ(::readFile(broken)->tracks.size(), 1U);
}

TEST(HandMadeFragments, BasesDefaultsAndGaps) {
  HandMadeMovie movie = HandMadeMovie::fragmented();
  const std::string start = movie.build();
  // The first run without any base: counts from the moof. A second one without an offset follows it. The second traf
  // begins where the first one's data end.
  const std::string first = traf(fullBox("tfhd", 0, 0, u32(1)),
                                 tfdt(0) + trun({{10, 100}, {20, 100}}, -1000) + fullBox("trun", 0, 0, u32(3))) +
                            traf(fullBox("tfhd", 0, 0, u32(1)), fullBox("trun", 0, 0x200, u32s({1, 70})));
  // A later time makes the last sample longer, one that lies within it makes it shorter.
  const std::string second =
      traf(fullBox("tfhd", 0, 1, u32(1) + u64(2000)), tfdt(3000) + trun({{5, 300}, {6, 300}}, 0));
  const std::string third = traf(fullBox("tfhd", 0, 0x20000, u32(1)), tfdt(3500) + trun({{7, 9}}, -500));
  const std::string moofs = box("moof", first) + box("moof", second) + box("moof", third);
  const auto read = ::readFile(start + moofs);
  EXPECT_TRUE(read->fragmented);
  const std::uint64_t base = start.size() - 1000,
                      last = start.size() + box("moof", first).size() + box("moof", second).size() - 500;
  EXPECT_EQ(runs(read->tracks[0]), (Runs{{base, 1, 10, 0, 100},
                                         {base + 10, 1, 20, 100, 100},
                                         {base + 30, 3, 50, 200, 500},
                                         {base + 180, 1, 70, 1700, 1300},
                                         {2000, 1, 5, 3000, 300},
                                         {2005, 1, 6, 3300, 200},
                                         {last, 1, 7, 3500, 9}}));
  EXPECT_EQ(read->tracks[0].runs[6].index, 8U);
  EXPECT_TRUE(read->tracks[0].runs[0].sync);
  EXPECT_FALSE(read->tracks[0].runs[1].sync);
  EXPECT_EQ(read->tracks[0].mediaDuration, 3509);
}

TEST(HandMadeFragments, BeginNearZeroWhereverTheyCountFrom) {
  HandMadeMovie movie = HandMadeMovie::fragmented();
  const std::uint64_t seconds = 1'700'000'000;
  const auto read =
      ::readFile(movie.build() + box("moof", traf(fullBox("tfhd", 0, 0, u32(1)),
                                                  tfdt(seconds * 15360 + 77) + trun({{10, 100}}, -1000))));
  EXPECT_EQ(read->tracks[0].runs.at(0).decodeTime, 77);
  EXPECT_EQ(read->origin, 1'700'000'000);
  EXPECT_NEAR(isobmff::playerDuration(*read), 1.7e9 + 177.0 / 15360, 1e-6);
  EXPECT_EQ(read->tracks[0].mediaDuration, 100);
}

TEST(HandMadeFragments, GroupsOfTheirOwnJoinThoseOfTheTrack) {
  HandMadeMovie movie = HandMadeMovie::fragmented();
  movie.moreTables = fullBox("sgpd", 1, 0, std::string("roll") + u32s({2, 1}) + u16(0xFFFF));
  const auto moof = [&](std::initializer_list<std::uint64_t> descriptions, const std::string& group) {
    std::string entries;
    for (const std::uint64_t description : descriptions) entries += u16(description);
    return box("moof",
               traf(fullBox("tfhd", 0, 0, u32(1)),
                    fullBox("sgpd", 1, 0, std::string("roll") + u32s({2, descriptions.size()}) + entries) +
                        fullBox("sbgp", 0, 0, std::string("roll") + group) + trun({{10, 100}, {10, 100}}, -1000)));
  };
  const auto read = ::readFile(movie.build() + moof({0xFFFE}, u32s({1, 1, 0x10001})) +
                               moof({0xFFFF, 0xFFFE}, u32s({2, 1, 0x10001, 1, 0x10002})));
  ASSERT_EQ(read->tracks[0].groups.size(), 1U);
  std::vector<std::pair<std::uint32_t, std::uint32_t>> runs;
  for (const auto& run : read->tracks[0].groups[0].runs) runs.emplace_back(run.count, run.description);
  EXPECT_EQ(runs, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{1, 2}, {1, 0}, {1, 1}, {1, 2}}));
  const isobmff::Box* sgpd =
      descendant(read->moov, {fourCC("trak"), fourCC("mdia"), fourCC("minf"), fourCC("stbl"), fourCC("sgpd")});
  ASSERT_TRUE(sgpd);
  EXPECT_EQ(text(sgpd->payload), u32(0x01000000) + "roll" + u32s({2, 2}) + u16(0xFFFF) + u16(0xFFFE));
}
