// From which pictures decoding can start, by their own bytes.
#include "SyntheticMovie.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/DecodingStart.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <stdlib.h>
#include <unistd.h>

namespace {

using namespace isobmff;
using synthetic::Builder;

constexpr int kKeyInterval = 20;

/// Pictures of 3000 bytes, key pictures every 20, each beginning with the units in `key`, in a file of their own.
struct Source {
  Source(FourCC format, FourCC configuration, const Bytes& record, const Bytes& key) {
    Builder builder;
    builder.addPictures(600, synthetic::steadyPictures(100, 20, kKeyInterval));
    builder.track(0).formats = {format};
    Bytes& descriptions = builder.sampleTable(0).children[0].payload;
    descriptions.resize(16);  // up to the entry, which is made anew
    std::copy_n(reinterpret_cast<const std::uint8_t*>(toString(format).data()), 4, descriptions.begin() + 12);
    descriptions.resize(8 + 86);
    descriptions[11] = std::uint8_t(86 + 8 + record.size());
    const std::string type = toString(configuration);
    descriptions.insert(descriptions.end(), {0, 0, 0, std::uint8_t(8 + record.size())});
    descriptions.insert(descriptions.end(), type.begin(), type.end());
    descriptions.insert(descriptions.end(), record.begin(), record.end());
    movie = builder.finish();

    char path[] = "/var/tmp/zevanti-start-XXXXXX";
    file = FileDescriptor(mkstemp(path));
    unlink(path);
    for (const SampleRun& run : movie.tracks[0].runs) {
      // The first picture of all can always be decoded from.
      if (!run.sync || run.index == 0) continue;
      EXPECT_EQ(pwrite(file.get(), key.data(), key.size(), off_t(run.offset)), ssize_t(key.size()));
    }
    EXPECT_EQ(ftruncate(file.get(), off_t(movie.fileSize)), 0);
  }

  std::uint32_t untilWhole() const {
    return DecodingStart(movie, 0, file.get()).samplesUntilWhole(movie.tracks[0].runs[kKeyInterval]);
  }

  Movie movie;
  FileDescriptor file;
};

const Bytes kAVC{1, 0x64, 0, 0x1F, 0xFF, 0xE0, 0};                                       // lengths of four bytes
const Bytes kHEVC{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0};  // of two

TEST(DecodingStart, ReadsTheRecoveryPointOfEachCoding) {
  const FourCC avc = fourCC("avc1"), hevc = fourCC("hvc1");
  const auto h264 = [&](Bytes key) { return Source(avc, fourCC("avcC"), kAVC, key).untilWhole(); };
  const auto h265 = [&](Bytes key) { return Source(hevc, fourCC("hvcC"), kHEVC, key).untilWhole(); };
  EXPECT_EQ(h264({0, 0, 0, 2, 0x65, 0x88}), 0U) << "an instantaneous refresh";
  EXPECT_EQ(h264({0, 0, 0, 2, 0x61, 0x88}), 0U) << "the file's word is taken";
  // Delimiter, then messages: one of another kind, then the recovery point, ue(11) = 0001100.
  EXPECT_EQ(h264({0, 0, 0, 2, 9, 0xF0, 0, 0, 0, 8, 6, 5, 1, 0xAA, 6, 1, 0x18, 0x80, 0, 0, 0, 2, 0x61, 0x88}), 11U);
  EXPECT_EQ(h264({0, 0, 0, 5, 6, 6, 1, 0x80, 0x80, 0, 0, 0, 2, 0x61, 0x88}), 0U) << "an open group";
  // Two zero bytes are followed by a 03 that does not count.
  EXPECT_EQ(h264({0, 0, 0, 9, 6, 6, 5, 0, 0, 3, 0x80, 0, 0x40}), 65535U);
  EXPECT_EQ(h265({0, 2, 0x26, 1, 0, 7, 0x4E, 1, 6, 1, 0x30, 0x80, 0}), 0U) << "a refresh picture";
  EXPECT_EQ(h265({0, 6, 0x4E, 1, 6, 1, 0x24, 0x80, 0, 2, 2, 1}), 2U);
  EXPECT_EQ(h265({0, 6, 0x4E, 1, 6, 1, 0x2C, 0x80, 0, 2, 2, 1}), 0U) << "the number has a sign there";
  // Nonsense: lengths beyond the sample, nothing but zeros.
  EXPECT_EQ(h264({0xFF, 0xFF, 0xFF, 0xFF, 9}), 0U);
  EXPECT_EQ(h264({}), 0U);
}

TEST(DecodingStart, GradualRefreshGoesBackToWhereThePictureIsWhole) {
  // Whole 30 pictures later: that is 1.5 key pictures.
  const Bytes key{0, 0, 0, 6, 6, 6, 2, 0x0F, 0x80, 0x80, 0, 0, 0, 2, 0x61, 0x88};
  const Source source(fourCC("avc1"), fourCC("avcC"), kAVC, key);
  ASSERT_EQ(source.untilWhole(), 30U);
  const auto startFor = [&](int picture) {
    const CMTime from = {picture * 20, 600};
    const auto plan = planCut(source.movie, source.file.get(), {from, {40, 600}}, "Movie", nullptr);
    EXPECT_EQ(plan->tracks[0].firstShown, std::uint32_t(picture));
    // What would show a broken picture must not look like a place to begin.
    for (const SampleRun& run : plan->tracks[0].runs) {
      EXPECT_TRUE(!run.sync || run.index == plan->tracks[0].runs.front().index || run.index > std::uint32_t(picture));
    }
    return plan->tracks[0].runs.front().index;
  };
  EXPECT_EQ(startFor(95), 60U);
  EXPECT_EQ(startFor(90), 60U);
  EXPECT_EQ(startFor(89), 40U);
  EXPECT_EQ(startFor(49), 0U);
}

}  // namespace
