// Sound is cut to the sample; text and timecode follow their own rules.
#include "SyntheticMovie.h"
#include "platform/backends/isobmff/ByteWriter.h"
#include "platform/backends/isobmff/CutPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace isobmff;
using synthetic::Builder;
using synthetic::expectContinuous;
using synthetic::planned;

/// The times of a track's samples are whole, and the packet that sounds at the in-point is where the edit list says.
/// `from` is in the source media's ticks.
void expectSound(const Movie& movie, const CutPlan& cut, std::size_t index, double from, double length) {
  const Track& source = movie.tracks[index];
  const TrackPlan& track = cut.tracks[index];
  expectContinuous(track);
  const std::int64_t multiplier = track.timescale / source.timescale;
  EXPECT_EQ(track.timescale % source.timescale, 0U);
  std::uint32_t next = track.runs.front().index;
  for (const SampleRun& run : track.runs) {
    ASSERT_EQ(run.index, next);
    next += run.count;
  }
  const EditSegment& edit = track.edits.back();
  const std::int64_t shift = std::int64_t(track.runs.front().index) * source.runs.front().duration * multiplier;
  EXPECT_EQ(edit.mediaTime + shift, std::llround(from * double(multiplier)));
  EXPECT_NEAR(double(edit.duration) / cut.timescale, length, 0.6 / track.timescale);
  EXPECT_EQ(track.mediaDuration,
            edit.mediaTime + std::llround(double(edit.duration) * track.timescale / cut.timescale));
}

TEST(SoundPlan, BeginsAtTheSampleWithThePacketsThatTheDecoderNeeds) {
  struct Case {
    FourCC format;
    std::uint32_t rate, length;
    std::uint32_t before;  // packets
    std::uint32_t size = 0;
  };
  // Of layer 3 the packet before, for the overlap, and before it 511 bytes behind headers and side information (255 at
  // low rates).
  const Case cases[] = {{fourCC("ac-3"), 48000, 1536, 1},          {fourCC("fLaC"), 48000, 4096, 0},
                        {fourCC("alac"), 48000, 4096, 0},          {fourCC("Opus"), 48000, 960, 4},
                        {fourCC("mp4a"), 48000, 1024, 2},          {fourCC(".mp3"), 48000, 1152, 1 + 9, 96},
                        {fourCC(".mp3"), 44100, 1152, 1 + 2, 417}, {fourCC(".mp3"), 48000, 1152, 1 + 1, 960},
                        {fourCC(".mp3"), 22050, 576, 1 + 4, 104},  {fourCC(".mp3"), 24000, 576, 1 + 64, 20}};
  for (const Case& c : cases) {
    SCOPED_TRACE(toString(c.format) + " of " + std::to_string(c.size));
    Builder builder;
    builder.addSound(c.rate, c.rate, c.format, int(c.rate) * 10 / int(c.length), c.length, 1, c.size);
    builder.track(0).edits = {{9000, 312}};
    const Movie movie = builder.finish();
    const auto cut = planned(movie, 3.2, 4.7), early = planned(movie, 0.05, 1);
    const double from = 3.2 * c.rate + 312;
    expectSound(movie, *cut, 0, from, 1.5);
    const auto packet = std::uint32_t(from) / c.length;
    EXPECT_EQ(cut->tracks[0].firstShown, packet);
    EXPECT_EQ(cut->tracks[0].runs.front().index, packet - c.before);
    EXPECT_EQ(cut->tracks[0].lastShown, std::uint32_t(4.7 * c.rate + 312 - 1) / c.length);
    EXPECT_EQ(cut->duration, std::uint64_t(std::llround(1.5 * cut->timescale)));
    const auto first = std::uint32_t(0.05 * c.rate + 312) / c.length;
    EXPECT_EQ(early->tracks[0].runs.front().index, first - std::min(first, c.before));
  }
}

TEST(SoundPlan, VorbisBeginsWithAWholePacket) {
  // Of a packet in which an edit begins nothing would be heard, and all that follows too early.
  Builder builder = synthetic::withPictures(300);
  builder.addSound(48000, 48000, fourCC("mp4a"), 400, 1000);
  Bytes& descriptions = builder.sampleTable(1).children[0].payload;
  ByteWriter out(descriptions);
  const std::size_t esds = out.begin(fourCC("esds"), 0);
  for (const int byte : {3, 18, 0, 1, 0, 4, 13, 0xDD}) out.append(Bytes{std::uint8_t(byte)});
  out.append(Bytes(12));
  out.end(esds);
  out.setU32(8, std::uint32_t(descriptions.size() - 8));
  const Movie movie = builder.finish();

  const auto cut = planned(movie, 3.0105, 5);  // 504 samples into packet 144
  const TrackPlan& track = cut->tracks[1];
  EXPECT_EQ(track.firstShown, 145U);
  EXPECT_EQ(track.runs.front().index, 144U);
  ASSERT_EQ(track.edits.size(), 2U);
  EXPECT_EQ(track.edits[0].mediaTime, -1);
  EXPECT_NEAR(double(track.edits[0].duration) / cut->timescale, 496 / 48000.0, 1e-5);
  EXPECT_EQ(track.runs.front().duration, 1U);
  EXPECT_EQ(track.edits[1].mediaTime, 1);
  EXPECT_NEAR(double(track.duration) / cut->timescale, 1.9895, 1e-4);

  const auto onPacket = planned(movie, 3, 5);
  EXPECT_EQ(onPacket->tracks[1].firstShown, 144U);
  EXPECT_EQ(onPacket->tracks[1].edits.size(), 1U);
  // No packet begins in the range, or behind its beginning.
  for (const double from : {3.0105, 8.32}) {
    const auto none = planned(movie, from, from + 0.005);
    EXPECT_FALSE(none->tracks[1].firstShown);
    EXPECT_EQ(none->tracks[1].edits.back().mediaTime, -1);
  }
}

TEST(SoundPlan, PrerollOfASampleGroupCounts) {
  Builder builder;
  builder.addSound(48000, 48000, fourCC("mp4a"), 400, 1024);
  // Version 1, "roll", entries of two bytes, one of them: five packets back.
  builder.sampleTable(0).children.push_back(
      {fourCC("sgpd"), {1, 0, 0, 0, 'r', 'o', 'l', 'l', 0, 0, 0, 2, 0, 0, 0, 1, 0xFF, 0xFB}, {}});
  const Movie movie = builder.finish();
  const auto cut = planned(movie, 2, 3);
  EXPECT_EQ(cut->tracks[0].runs.front().index, 96000U / 1024 - 5);
}

TEST(SoundPlan, ACoarseScaleIsRefinedToTheSample) {
  Builder builder = synthetic::withPictures(300);
  builder.addSound(1000, 44100, fourCC("alac"), 100, 93);
  const Movie movie = builder.finish();
  const auto cut = planned(movie, 1.2345678, 4.321);
  EXPECT_GE(cut->tracks[1].timescale, 44100U);
  expectSound(movie, *cut, 1, 1234.5678, 4.321 - 1.2345678);
}

TEST(SoundPlan, SilentAllThroughItHasAPacketNobodyHears) {
  Builder builder = synthetic::withPictures(300);
  builder.addSound(48000, 48000, fourCC("fLaC"), 141, 1024);  // 3.008 s
  const auto silent = planned(builder.finish(), 5, 6);
  const TrackPlan& none = silent->tracks[1];  // for players that wait for one
  EXPECT_FALSE(none.firstShown);
  EXPECT_EQ(none.mediaDuration, 1);
  ASSERT_EQ(none.runs.size(), 1U);
  EXPECT_EQ(none.runs[0].index, 140U);
  ASSERT_EQ(none.edits.size(), 1U);
  EXPECT_EQ(none.edits[0].mediaTime, -1);
  EXPECT_EQ(none.edits[0].duration, silent->timescale);
}

TEST(SoundPlan, APartOfOnePacketIsFollowedByAnother) {
  // Readers drop a last packet that would end before the in-point if it were as long as the cut.
  Builder builder;
  builder.addSound(48000, 48000, fourCC("mp4a"), 100, 1024);
  const Movie movie = builder.finish();
  const auto sample = [](std::int64_t number) { return double(number) / 48000; };
  const auto middle = planned(movie, sample(50 * 1024 + 900), sample(50 * 1024 + 1000));
  EXPECT_EQ(middle->tracks[0].lastShown, 50U);
  EXPECT_EQ(middle->tracks[0].runs.back().index, 51U);
  EXPECT_EQ(middle->tracks[0].runs.back().duration, 1U);

  // In the track's last packet: the same bytes again.
  const auto end = planned(movie, sample(99 * 1024 + 900), sample(100 * 1024));
  const TrackPlan& track = end->tracks[0];
  EXPECT_EQ(track.firstShown, 99U);
  EXPECT_EQ(track.lastShown, 99U);
  ASSERT_GE(track.runs.size(), 2U);
  const SampleRun &last = track.runs[track.runs.size() - 2], &again = track.runs.back();
  EXPECT_EQ(last.index, 99U);
  EXPECT_EQ(again.offset, last.offset);
  EXPECT_EQ(again.size, last.size);
  EXPECT_EQ(again.decodeTime, track.edits.front().mediaTime + 124);
  EXPECT_EQ(track.mediaDuration, again.decodeTime + 1);
}

TEST(SoundPlan, ALastPacketWithoutALengthIsTaken) {
  Builder builder;
  builder.addSound(48000, 48000, fourCC("mp4a"), 100, 1024);
  SampleRun last;
  last.count = 1, last.size = 50;
  builder.append(0, last);
  const Movie movie = builder.finish();
  const auto cut = planned(movie, 1, 100 * 1024 / 48000.0);
  EXPECT_GE(cut->tracks[0].mediaDuration, cut->tracks[0].runs.back().decodeTime);
}

TEST(StandAlonePlan, TextOnScreenAtTheStartBeginsThere) {
  Builder builder = synthetic::withPictures(300);
  const std::size_t text = builder.addSamples(fourCC("text"), 1000, fourCC("tx3g"), 20, {2000, 3000, 500, 500, 4000});
  const Movie movie = builder.finish();
  const auto cut = planned(movie, 3.5, 7.25);
  const TrackPlan& track = cut->tracks[text];
  ASSERT_EQ(track.runs.size(), 4U);
  std::vector<std::uint32_t> indices, durations;
  for (const SampleRun& run : track.runs) indices.push_back(run.index), durations.push_back(run.duration);
  EXPECT_EQ(indices, (std::vector<std::uint32_t>{1, 2, 3, 4}));
  EXPECT_EQ(durations, (std::vector<std::uint32_t>{1500, 500, 500, 1250}));
  EXPECT_EQ(track.edits.back().mediaTime, 0);
}

TEST(StandAlonePlan, TimecodeKeepsItsSampleAndCountsOn) {
  Builder builder = synthetic::withPictures(300);
  const std::size_t code = builder.addSamples(fourCC("tmcd"), 30, fourCC("tmcd"), 4, {300});
  const Movie movie = builder.finish();
  const auto cut = planned(movie, 2, 5);
  const TrackPlan& track = cut->tracks[code];
  ASSERT_EQ(track.runs.size(), 1U);
  EXPECT_EQ(track.runs[0].duration, 300U);
  EXPECT_EQ(track.edits.back().mediaTime, 60);
  EXPECT_EQ(track.duration, 3ULL * cut->timescale);
}

}  // namespace
