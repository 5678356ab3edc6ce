// Small files that claim a lot, and large ones that mean it.
#include "HandMadeMovie.h"
#include "SyntheticMovie.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/IndexWriter.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/SampleTableWriter.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using namespace isobmff;
using synthetic::Builder;

constexpr CMTimeRange kAll{{0, 1}, {1'000'000'000, 1}};

std::unique_ptr<Movie> read(const FileDescriptor& file, NSErrorPtr* error = nullptr) {
  return readMovie(file.get(), "claims.mp4", error);
}

/// What planning the whole movie says; empty when it can be planned.
std::string refusal(const Movie& movie, const CutBudget::Limits& limits = {}) {
  NSErrorPtr error;
  const auto plan = planCut(movie, -1, kAll, "claims.mp4", &error, nullptr, limits);
  EXPECT_EQ(plan == nullptr, error != nullptr);
  return error ? error->localizedDescription() : "";
}

const std::string kTooMuch = "“claims.mp4” has more pictures or sound than can be trimmed.";

std::size_t indexBytes(const Movie& movie, const CutPlan& plan) {
  Bytes bytes;
  IndexWriter(movie, plan, MediaLayout(plan), false).write(bytes);
  return bytes.size();
}

/// A fragmented movie of `tracks` tracks with `pictures` pictures of a byte each, in a file of holes.
FileDescriptor manyPictures(std::uint32_t tracks, std::uint32_t pictures) {
  using namespace box_builder;
  std::string defaults, fragments, more;
  for (std::uint32_t i = 1; i <= tracks; ++i) {
    std::string trak = HandMadeMovie::fragmented().track();
    trak.replace(trak.find("tkhd") + 16, 4, u32(i));
    more += trak;
    defaults += fullBox("trex", 0, 0, u32s({i, 1, 100, 1, 0x01010000}));
    fragments +=
        box("traf", fullBox("tfhd", 0, 0x20000, u32(i)) + fullBox("trun", 0, 5, u32s({pictures, 100, 0x02000000})));
  }
  const std::string header = fullBox("mvhd", 0, 0, zeros(8) + u32s({1000, 0}) + zeros(80));
  const std::string front = box("ftyp", "isom" + u32(0x200) + "isomiso2") +
                            box("moov", header + more + box("mvex", defaults)) + box("moof", fragments);
  return file(front + u32(pictures + 4096) + "mdat", front.size() + 8 + pictures + 4088);
}

TEST(CutBudget, PicturesOfAllTracksCount) {
  // Three quarters of what a cut may have, then three of them.
  const FileDescriptor one = manyPictures(1, 6'000'000), three = manyPictures(3, 6'000'000);
  const auto single = read(one), several = read(three);
  ASSERT_TRUE(single && several);
  ASSERT_EQ(several->tracks.size(), 3U);
  EXPECT_EQ(several->tracks[2].sampleCount, 6'000'000U);
  EXPECT_EQ(refusal(*several), kTooMuch);
  EXPECT_EQ(refusal(*single, {600'000, 1 << 20, 400'000'000}), kTooMuch);
  // So do the tables, and the work.
  EXPECT_EQ(refusal(*single, {7'000'000, 100, 400'000'000}), kTooMuch);
  EXPECT_EQ(refusal(*single, {7'000'000, 256 << 20, 10'000'000}), kTooMuch);
}

TEST(CutBudget, ACancelledPlanEndsSoon) {
  const auto movie = read(manyPictures(1, 6'000'000));
  ASSERT_TRUE(movie);
  int asked = 0;
  NSErrorPtr error;
  EXPECT_FALSE(planCut(*movie, -1, kAll, "claims.mp4", &error, [&] { return ++asked == 2; }));
  EXPECT_EQ(asked, 2);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error->code(), ECANCELED);
}

TEST(CutBudget, TablesBySampleGrowNoLargerThanTheyWere) {
  using namespace box_builder;
  // Four thousand million frames of sound that all lie in the same four megabytes; and tables that speak of none.
  for (const char* table : {"stdp", "padb", "sdtp"}) {
    SCOPED_TRACE(table);
    HandMadeMovie movie = HandMadeMovie::constantRateSound();
    movie.description = HandMadeMovie::sound("sowt", 0, 1, 16);
    constexpr std::uint32_t kChunk = 1 << 20, kChunks = 3900;
    std::string offsets;
    for (std::uint32_t i = 0; i < kChunks; ++i) offsets += u32(0x100000);
    movie.stts = fullBox("stts", 0, 0, u32s({1, kChunk * kChunks, 1}));
    movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, kChunk, 1}));
    movie.stsz = fullBox("stsz", 0, 0, u32s({2, kChunk * kChunks}));
    movie.stco = fullBox("stco", 0, 0, u32(kChunks) + offsets);
    movie.moreTables = fullBox(table, 0, 0, std::string(table) == "padb" ? u32(0) : "\x20");
    const auto claims = read(file(movie.build(), 8 << 20));
    ASSERT_TRUE(claims);
    ASSERT_EQ(claims->tracks[0].sampleCount, std::uint64_t(kChunk) * kChunks);
    NSErrorPtr error;
    const auto plan = planCut(*claims, -1, kAll, "claims.mp4", &error);
    if (std::string(table) == "sdtp") {
      // Other programs do write it for each sample.
      EXPECT_FALSE(plan);
      continue;
    }
    ASSERT_TRUE(plan) << error->localizedDescription();
    EXPECT_LT(indexBytes(*claims, *plan), std::size_t(200'000));
  }
}

TEST(CutBudget, ClaimsOfTheIndexAreShared) {
  using namespace box_builder;
  NSErrorPtr error;
  // Edit lists of many tracks.
  HandMadeMovie movie;
  movie.edts = box("edts", fullBox("elst", 0, 0, u32(100'000) + zeros(1'200'000)));
  movie.moreTracks = movie.track() + movie.track();
  EXPECT_FALSE(read(file(movie.build()), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->localizedDescription(), "“claims.mp4” has a damaged index (elst).");
  // A compact sample group that unfolds.
  movie = {};
  movie.moreTables =
      fullBox("csgp", 0, 0x08, "rap " + u32(1) + u8(0x20) + u16(0xFFFF) + u8(0xFF) + u8(0xF0) + u8(0x10)) +
      fullBox("csgp", 0, 0x2A, "roll" + u32(0x7FFFFFFF) + zeros(100));
  EXPECT_TRUE(read(file(movie.build())));
  // Boxes that are kept as they are.
  movie = {};
  movie.mvex = box("udta", zeros(40 << 20)) + box("free", zeros(30 << 20));
  EXPECT_FALSE(read(file(movie.build()), &error));
  EXPECT_EQ(error->localizedDescription(), "“claims.mp4” has a damaged index (too large).");
}

TEST(CutBudget, RecordingsKeepFarBelowIt) {
  // An hour takes less than an eighth of what is allowed.
  constexpr CutBudget::Limits kEighth{1'000'000, 32 << 20, 50'000'000};
  const auto expectPlanned = [&](const Movie& movie, double tablesPerSample) {
    EXPECT_EQ(refusal(movie, kEighth), "");
    const auto plan = planCut(movie, -1, kAll, "hour.mp4", nullptr);
    ASSERT_TRUE(plan);
    std::uint64_t tables = 0, samples = 0;
    for (std::size_t i = 0; i < plan->tracks.size(); ++i) {
      tables += sampleTableBytes(movie.tracks[i], plan->tracks[i]);
      samples += plan->tracks[i].runs.size();
    }
    // Told before it is written: not less than it is, and not much more.
    EXPECT_LE(indexBytes(movie, *plan), tables + (2 << 10));
    EXPECT_LE(double(tables), double(samples) * tablesPerSample + 2000);
  };
  {
    Builder builder;
    builder.addPictures(15360, synthetic::steadyPictures(3600 * 60, 256, 300, 2));
    for (int i = 0; i < 3; ++i) builder.addSound(48000, 48000, fourCC("mp4a"), 168'750, 1024);
    expectPlanned(builder.finish(4096, 1), 40);
  }
  {
    Builder builder;
    builder.addPictures(15360, synthetic::steadyPictures(3600 * 60, 256, 300));
    builder.addSound(48000, 48000, fourCC("sowt"), 3600 * 48000, 1, 1024, 4);  // each frame a sample
    Movie movie = builder.finish();
    // Pictures that lend from each other, as sdtp tells it.
    movie.tracks[0].dependencies.resize(movie.tracks[0].sampleCount, 0x18);
    expectPlanned(movie, 40);
  }
}

}  // namespace
