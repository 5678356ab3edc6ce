// From which pictures decoding can start, by their own bytes.
#include "HandMadeMovie.h"
#include "SyntheticMovie.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/DecodingStart.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using namespace isobmff;
using namespace box_builder;
using synthetic::Builder;

constexpr int kKeyInterval = 20;

constexpr int kNever = -1;

/// Pictures of 3000 bytes, key pictures every 20, each beginning with the units in `key`, the others with those in
/// `other`, in a file of their own.
struct Source {
  Source(FourCC format, FourCC configuration, const Bytes& record, const Bytes& key, const Bytes& other) {
    Builder builder;
    builder.addPictures(600, synthetic::steadyPictures(100, 20, kKeyInterval));
    builder.track(0).formats = {format};
    const std::string description =
        u32s({0, 1}) +
        box(toString(format), HandMadeMovie::picture("none").substr(8) +
                                  box(toString(configuration), std::string(record.begin(), record.end())));
    builder.sampleTable(0).children[0].payload = Bytes(description.begin(), description.end());
    movie = builder.finish();

    file = synthetic::scratchFile();
    for (const SampleRun& run : movie.tracks[0].runs) {
      // The first picture of all can always be decoded from.
      const Bytes& units = run.sync && run.index > 0 ? key : other;
      EXPECT_EQ(pwrite(file.get(), units.data(), units.size(), off_t(run.offset)), ssize_t(units.size()));
    }
    EXPECT_EQ(ftruncate(file.get(), off_t(movie.fileSize)), 0);
  }

  /// How many pictures after the key picture the first one comes that can be shown in a long file.
  int untilWhole() const {
    const Track& track = movie.tracks[0];
    const DecodingStart start(movie, 0, file.get(), budget);
    for (std::uint32_t index = kKeyInterval; index < 100; ++index) {
      const std::int64_t time = track.runs[index].presentationTime();
      if (start.leadsTo(track.runs[kKeyInterval], {index, time, index + 60})) return int(index) - kKeyInterval;
    }
    return kNever;
  }

  Movie movie;
  FileDescriptor file;
  mutable CutBudget budget{{}, nullptr};
};

const Bytes kAVC{1, 0x64, 0, 0x1F, 0xFF, 0xE0, 0};                                       // lengths of four bytes
const Bytes kHEVC{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0};  // of two

// A picture that needs others, and others need.
const Bytes kReference{0, 0, 0, 2, 0x61, 0x9A};

TEST(DecodingStart, ReadsTheRecoveryPointOfEachCoding) {
  const FourCC avc = fourCC("avc1"), hevc = fourCC("hvc1");
  const auto h264 = [&](Bytes key) { return Source(avc, fourCC("avcC"), kAVC, key, kReference).untilWhole(); };
  const auto h265 = [&](Bytes key) { return Source(hevc, fourCC("hvcC"), kHEVC, key, {0, 2, 2, 1}).untilWhole(); };
  EXPECT_EQ(h264({0, 0, 0, 2, 0x65, 0x88}), 0) << "an instantaneous refresh";
  EXPECT_EQ(h264({0, 0, 0, 2, 0x61, 0x88}), 0) << "a picture that needs no other: the file's word is taken";
  EXPECT_EQ(h264({0, 0, 0, 2, 0x61, 0x9A}), kNever) << "a picture that needs others, whatever the file says";
  EXPECT_EQ(h264({0, 0, 0, 5, 6, 6, 1, 0x80, 0x80, 0, 0, 0, 2, 0x61, 0x88}), 0) << "an open group";
  // Delimiter, then messages: one of another kind, then the recovery point, ue(11) = 0001100. Whole with the next one.
  EXPECT_EQ(h264({0, 0, 0, 2, 9, 0xF0, 0, 0, 0, 8, 6, 5, 1, 0xAA, 6, 1, 0x18, 0x80, 0, 0, 0, 2, 0x61, 0x9A}),
            kKeyInterval + 11);
  // Two zero bytes are followed by a 03 that does not count: 65535.
  EXPECT_EQ(h264({0, 0, 0, 9, 6, 6, 5, 0, 0, 3, 0x80, 0, 0x40, 0, 0, 0, 2, 0x61, 0x9A}), kNever);
  EXPECT_EQ(h265({0, 2, 0x26, 1, 0, 7, 0x4E, 1, 6, 1, 0x30, 0x80, 0}), 0) << "a refresh picture";
  EXPECT_EQ(h265({0, 6, 0x4E, 1, 6, 1, 0x24, 0x80, 0, 2, 2, 1}), 2);
  EXPECT_EQ(h265({0, 6, 0x4E, 1, 6, 1, 0x2C, 0x80, 0, 2, 2, 1}), 0) << "the number has a sign there";
  // ue(11) as above, and the pictures between belong to no later one: nothing counts but the key pictures.
  const Bytes key{0, 0, 0, 5, 6, 6, 1, 0x18, 0x80, 0, 0, 0, 2, 0x61, 0x9A};
  EXPECT_EQ(Source(avc, fourCC("avcC"), kAVC, key, {0, 0, 0, 2, 0x01, 0x9A}).untilWhole(), kNever);
  // Nonsense: lengths beyond the sample, nothing but zeros.
  EXPECT_EQ(h264({0xFF, 0xFF, 0xFF, 0xFF, 9}), 0);
  EXPECT_EQ(h264({}), 0);
}

TEST(DecodingStart, LeavesRoomBehindAPictureThatDecodersDoNotTrustAtOnce) {
  const Bytes open{0, 0, 0, 5, 6, 6, 1, 0x80, 0x80, 0, 0, 0, 2, 0x61, 0x88};
  for (const Bytes& key : {open, Bytes{0, 0, 0, 2, 0x65, 0x88}}) {
    const Source source(fourCC("avc1"), fourCC("avcC"), kAVC, key, kReference);
    const DecodingStart start(source.movie, 0, source.file.get(), source.budget);
    const std::int64_t time = source.movie.tracks[0].runs[22].presentationTime();
    EXPECT_EQ(start.leadsTo(source.movie.tracks[0].runs[20], {22, time, 25}), key != open);
    EXPECT_TRUE(start.leadsTo(source.movie.tracks[0].runs[20], {22, time, 70}));
  }
}

TEST(DecodingStart, ReadsEachPictureOnceAndBooksIt) {
  // A refresh that is never over: from each key picture on all that follow are looked at. Four units come with one
  // read.
  const Bytes key{0, 0, 0, 5, 6, 6, 1, 0x18, 0x80, 0, 0, 0, 2, 9, 0xF0, 0, 0, 0, 2, 9, 0xF0, 0, 0, 0, 2, 0x61, 0x9A};
  const Source source(fourCC("avc1"), fourCC("avcC"), kAVC, key, {0, 0, 0, 2, 9, 0xF0, 0, 0, 0, 2, 0x01, 0x9A});
  const std::vector<SampleRun>& runs = source.movie.tracks[0].runs;
  const auto tryAll = [&](std::uint64_t steps) {
    CutBudget budget({0, 0, steps}, nullptr);
    const DecodingStart start(source.movie, 0, source.file.get(), budget);
    for (std::uint32_t at = 80; at > 0; at -= kKeyInterval) EXPECT_FALSE(start.leadsTo(runs[at], {99, 0, 99}));
  };
  constexpr std::uint64_t reads = 8000, pictures = 20 + 40 + 60 + 80;
  EXPECT_NO_THROW(tryAll(reads + pictures));
  EXPECT_THROW(tryAll(reads), CutRefused);
}

TEST(DecodingStart, PicturesThatAreAllCalledKeyPicturesAreLookedAt) {
  const Bytes refresh{0, 0, 0, 2, 0x65, 0x88}, intra{0, 0, 0, 2, 0x61, 0x88};
  struct Case {
    Bytes other;
    int begin;
    bool marks;  // are right
  };
  for (const Case& each : {Case{kReference, 40, false}, Case{intra, 57, true}, Case{refresh, 57, true}}) {
    Source source(fourCC("avc1"), fourCC("avcC"), kAVC, refresh, each.other);
    for (SampleRun& run : source.movie.tracks[0].runs) run.sync = true;
    const auto plan = planCut(source.movie, source.file.get(), {{57 * 20, 600}, {400, 600}}, "Movie", nullptr);
    ASSERT_NE(plan, nullptr);
    EXPECT_EQ(plan->tracks[0].runs.front().index, std::uint32_t(each.begin));
    for (const SampleRun& run : plan->tracks[0].runs) {
      if (run.index <= 57) continue;
      EXPECT_EQ(run.sync, each.marks || run.index % kKeyInterval == 0) << run.index;
    }
  }
}

TEST(DecodingStart, GradualRefreshGoesBackToWhereThePictureIsWhole) {
  // Whole 10 pictures behind the next key picture, ue(10) = 0001011.
  const Bytes key{0, 0, 0, 5, 6, 6, 1, 0x16, 0x80, 0, 0, 0, 2, 0x61, 0x9A};
  const Source source(fourCC("avc1"), fourCC("avcC"), kAVC, key, kReference);
  ASSERT_EQ(source.untilWhole(), kKeyInterval + 10);
  const auto startFor = [&](int picture) {
    const CMTime from = {picture * 20, 600};
    const CMTime length = {(100 - picture) * 20, 600};
    const auto plan = planCut(source.movie, source.file.get(), {from, length}, "Movie", nullptr);
    EXPECT_EQ(plan->tracks[0].firstShown, std::uint32_t(picture));
    // What would show a broken picture must not look like a place to begin.
    for (const SampleRun& run : plan->tracks[0].runs) {
      EXPECT_TRUE(!run.sync || run.index == plan->tracks[0].runs.front().index || run.index > std::uint32_t(picture));
    }
    return plan->tracks[0].runs.front().index;
  };
  EXPECT_EQ(startFor(75), 40U);
  EXPECT_EQ(startFor(70), 40U);
  EXPECT_EQ(startFor(69), 20U);
  EXPECT_EQ(startFor(49), 0U);
}

}  // namespace
