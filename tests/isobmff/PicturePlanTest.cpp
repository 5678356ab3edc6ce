// Which pictures a cut shows, for how long, and what it does with those that are only decoded.
#include "SyntheticMovie.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/backends/isobmff/CutPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace isobmff;
using synthetic::Builder;
using synthetic::Picture;

/// A picture as somebody sees it.
struct Seen {
  std::uint32_t index = 0;  ///< in the source's decode order
  double time = 0;          ///< seconds
};

std::unique_ptr<CutPlan> plan(const Movie& movie, double from, double to, NSErrorPtr* error = nullptr) {
  const CMTime start = CMTimeMakeWithSeconds(from, 1'000'000'000);
  return planCut(movie, -1, {start, CMTimeMakeWithSeconds(to - from, 1'000'000'000)}, "Movie", error);
}

/// What libavformat shows of a track with edits: only what is presented inside an edit, and its times count from the
/// one of those that is decoded first. What comes out of the decoder behind later pictures is seen by nobody.
std::vector<Seen> seenIn(const std::vector<SampleRun>& runs, std::uint32_t timescale,
                         const std::vector<EditSegment>& edits, std::uint32_t movieTimescale) {
  std::vector<Seen> all;
  std::int64_t at = 0, empty = 0;
  double earliest = 1e9;
  for (const EditSegment& edit : edits) {
    const std::int64_t length = std::llround(double(edit.duration) * timescale / movieTimescale);
    if (edit.mediaTime >= 0) {
      std::vector<Seen> part;
      const SampleRun* first = nullptr;
      for (const SampleRun& run : runs) {
        const std::int64_t time = run.presentationTime();
        if (time < edit.mediaTime || time >= edit.mediaTime + length) continue;
        if (!first) first = &run;
        part.push_back({run.index, double(at + time - first->decodeTime) / timescale});
      }
      std::sort(part.begin(), part.end(), [](const Seen& a, const Seen& b) { return a.time < b.time; });
      if (!part.empty()) earliest = std::min(earliest, part.front().time);
      all.insert(all.end(), part.begin(), part.end());
    } else if (at == empty) {
      empty += length;
    }
    at += length;
  }
  std::vector<Seen> result;
  for (Seen picture : all) {
    picture.time -= std::max(earliest - double(empty) / timescale, 0.0);
    if (result.empty() || picture.time > result.back().time + 1e-9) result.push_back(picture);
  }
  return result;
}

/// What our player shows of a track of the new file.
std::vector<Seen> seen(const CutPlan& plan, std::size_t index) {
  const TrackPlan& track = plan.tracks[index];
  return seenIn(track.runs, track.timescale, track.edits, plan.timescale);
}

/// What it shows of a source track.
std::vector<Seen> seenInSource(const Movie& movie, std::size_t index) {
  const Track& track = movie.tracks[index];
  if (!track.edits.empty()) return seenIn(track.runs, track.timescale, track.edits, movie.timescale);
  std::vector<Seen> result;
  for (const SampleRun& run : track.runs) {
    result.push_back({run.index, double(run.presentationTime()) / track.timescale});
  }
  std::sort(result.begin(), result.end(), [](const Seen& a, const Seen& b) { return a.time < b.time; });
  return result;
}

/// The key picture from which a picture can be decoded: what is presented before the last one needs the one before it.
std::uint32_t keyFor(const Track& track, std::uint32_t index) {
  bool leading = false;
  for (std::uint32_t i = index;; --i) {
    if (!track.runs[i].sync) continue;
    if (leading || track.runs[index].presentationTime() >= track.runs[i].presentationTime() || i == 0) return i;
    leading = true;
  }
}

constexpr double tolerance = 60e-6;  // half a tick of the coarsest scale, and the rounding of the range

/// Holds what a plan shows against what the source shows in [from, to), and returns that.
std::vector<Seen> expectSameShown(const Movie& movie, const CutPlan& cut, double from, double to,
                                  std::size_t index = 0) {
  std::vector<Seen> expected;
  for (const Seen& picture : seenInSource(movie, index)) {
    if (picture.time <= from + 50e-6) expected.clear();
    if (picture.time < to - 50e-6 || expected.empty()) expected.push_back(picture);
  }
  const std::vector<Seen> shown = seen(cut, index);
  EXPECT_EQ(shown.size(), expected.size());
  if (expected.front().time <= from) {
    EXPECT_EQ(shown.front().time, 0);
  }
  for (std::size_t i = 0; i < std::min(shown.size(), expected.size()); ++i) {
    EXPECT_EQ(shown[i].index, expected[i].index) << "picture " << i;
    EXPECT_NEAR(shown[i].time, std::max(0.0, expected[i].time - from), tolerance) << "picture " << i;
    if (testing::Test::HasFailure()) break;
  }
  return expected;
}

/// Holds a plan against what the source shows in [from, to), and against what every player needs.
void expectExact(const Movie& movie, std::size_t index, double from, double to) {
  SCOPED_TRACE("range " + std::to_string(from) + " to " + std::to_string(to));
  NSErrorPtr error;
  const auto cut = plan(movie, from, to, &error);
  const std::vector<Seen> source = seenInSource(movie, index);
  if (source.front().time >= to) {  // before the first picture
    EXPECT_FALSE(cut);
    return;
  }
  ASSERT_TRUE(cut) << error->localizedDescription();
  const TrackPlan& track = cut->tracks[index];
  const std::vector<Seen> shown = seen(*cut, index), expected = expectSameShown(movie, *cut, from, to, index);
  if (testing::Test::HasFailure()) return;
  EXPECT_EQ(track.firstShown, expected.front().index);
  EXPECT_EQ(track.lastShown, expected.back().index);
  const double length = double(track.duration) / cut->timescale;
  EXPECT_NEAR(length, std::min(to, playerDuration(movie)) - from, tolerance);
  EXPECT_LT(shown.back().time, length);

  // Decodable, and no more than that takes; each decoded after the one before and no later than it is presented.
  ASSERT_FALSE(track.runs.empty());
  std::uint32_t needed = UINT32_MAX, lastNeeded = 0;
  for (const Seen& picture : shown) {
    needed = std::min(needed, keyFor(movie.tracks[index], picture.index));
    lastNeeded = std::max(lastNeeded, picture.index);
  }
  EXPECT_EQ(track.runs.front().index, needed);
  EXPECT_EQ(track.runs.back().index, lastNeeded);
  std::int64_t time = 0;
  for (std::size_t i = 0; i < track.runs.size(); ++i) {
    const SampleRun& run = track.runs[i];
    ASSERT_EQ(run.index, track.runs.front().index + i);
    ASSERT_EQ(run.decodeTime, time);
    ASSERT_GT(run.duration, 0U);
    ASSERT_GE(run.compositionOffset, 0);
    time += run.duration;
  }
  EXPECT_EQ(time, track.mediaDuration);
  const EditSegment& edit = track.edits.back();
  const std::int64_t in = edit.mediaTime,
                     out = in + std::llround(double(edit.duration) * track.timescale / cut->timescale);
  EXPECT_GE(track.mediaDuration, out);

  // Without the edit list: half a picture of hidden ones, a gap, and a burst behind the end.
  std::vector<double> lengths;
  for (const SampleRun& run : movie.tracks[index].runs) lengths.push_back(run.duration);
  const double shortest = *std::min_element(lengths.begin(), lengths.end()) / movie.tracks[index].timescale;
  const double longest = *std::max_element(lengths.begin(), lengths.end()) / movie.tracks[index].timescale;
  std::int64_t lastHidden = -1;
  std::vector<std::int64_t> hidden;
  for (const SampleRun& run : track.runs) {
    if (run.presentationTime() < in) lastHidden = std::max(lastHidden, run.presentationTime());
    if (run.presentationTime() >= out) hidden.push_back(run.presentationTime() - out);
  }
  if (lastHidden >= 0) {
    EXPECT_GE(double(in - lastHidden) / track.timescale, shortest * 0.99);
  }
  EXPECT_LE(double(in) / track.timescale, longest * 1.5 + tolerance);
  std::sort(hidden.begin(), hidden.end());
  for (std::size_t i = 0; i < hidden.size(); ++i) EXPECT_EQ(hidden[i], std::int64_t(i));
}

TEST(PicturePlan, ShowsExactlyTheRangeWhateverTheSource) {
  std::mt19937 random(20240305);
  const auto upTo = [&random](int limit) { return int(random() % std::uint32_t(limit)); };
  const std::uint32_t scales[] = {30, 600, 1000, 15360, 90000, 24000, 1'000'000, 1'000'000'000};
  for (int round = 0; round < 120; ++round) {
    SCOPED_TRACE("movie " + std::to_string(round));
    const std::uint32_t scale = scales[upTo(8)];
    const int steady = scale == 24000 ? 1001 : std::max(1, int(scale / (scale == 30 ? 30 : 60)));
    const bool variable = upTo(3) == 0;
    const int count = 40 + upTo(200), interval = 1 + upTo(70), reordered = upTo(4);
    std::vector<std::int64_t> times{0};
    for (int i = 0; i < count; ++i)
      times.push_back(times.back() + steady * (variable && upTo(4) == 0 ? 1 + upTo(30) : 1));
    const std::uint32_t movieScale = upTo(2) ? 1000 : 48000;
    Builder builder(movieScale);
    std::vector<Picture> pictures = synthetic::picturesAt(times, interval, reordered, upTo(2) == 0);
    const bool early = reordered > 0 && upTo(3) == 0;  // presented before it is decoded: offsets below zero
    if (early) {
      for (Picture& picture : pictures) picture.presentationTime -= times[1];
    }
    const std::int64_t firstTime = reordered > 0 && !early ? times[1] : 0;
    builder.addPictures(scale, pictures);
    const double total = double(times[std::size_t(count)]) / scale;
    const auto movieTicks = [&](double seconds) { return std::uint64_t(seconds * movieScale); };
    switch (upTo(4)) {
      case 0:  // as most encoders write it: from the first picture on
        builder.track(0).edits = {{movieTicks(total), firstTime}};
        break;
      case 1:  // late, and cut at the end
        builder.track(0).edits = {{movieTicks(0.5), -1}, {movieTicks(total * 0.6), firstTime}};
        break;
      case 2:  // from the middle of a picture on
        builder.track(0).edits = {{movieTicks(total * 0.5), times[std::size_t(count) / 4] + steady / 3}};
        break;
      default:
        break;
    }
    Movie movie = builder.finish();
    const double duration = playerDuration(movie);
    const std::vector<Seen> source = seenInSource(movie, 0);
    for (int range = 0; range < 8; ++range) {
      double from = duration * upTo(1000) / 1000.0, to = from + duration * upTo(1000) / 1000.0;
      const double onPicture = source[std::size_t(upTo(int(source.size())))].time;
      if (range == 1) from = 0;
      if (range == 2) from = onPicture;
      if (range == 3) from = onPicture, to = from + double(steady) / scale;  // one picture
      if (range == 4) to = duration + 1;                                     // over the end
      if (range == 5) from = source.back().time, to = duration;              // the last picture
      if (range == 6) to = onPicture;
      if (to - from < double(steady) / scale / 2 || from >= duration) continue;
      expectExact(movie, 0, from, to);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(PicturePlan, HidesAnHourInHalfAPicture) {
  // One key picture at the start, as some recorders leave it.
  Builder builder;
  builder.addPictures(15360, synthetic::steadyPictures(216'000, 256, 1'000'000, 2));
  const Movie movie = builder.finish();
  expectExact(movie, 0, 3599.51, 3599.9);
  const auto cut = plan(movie, 3599.51, 3599.9);
  ASSERT_TRUE(cut);
  EXPECT_LE(double(cut->tracks[0].edits.front().mediaTime) / cut->tracks[0].timescale, 1.51 / 60);
}

TEST(PicturePlan, ASourceOfSeveralStretches) {
  // 4 s to 6 s, a second of nothing, then 1 s to 2 s.
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(300, 20, 30, 2));
  builder.track(0).edits = {{2000, 4 * 600 + 20}, {1000, -1}, {1000, 600 + 20}};
  const Movie movie = builder.finish();
  EXPECT_NEAR(playerDuration(movie), 4, 1e-9);
  const auto cut = plan(movie, 1.5, 3.5);
  ASSERT_TRUE(cut);
  const std::vector<Seen> shown = seen(*cut, 0);
  ASSERT_EQ(shown.size(), 30U);
  const auto sourceTime = [&](std::size_t i) {
    return double(movie.tracks[0].runs[shown[i].index].presentationTime() - 20) / 600;
  };
  EXPECT_NEAR(sourceTime(0), 5.5, 1e-9);
  EXPECT_NEAR(sourceTime(14), 5.5 + 14 / 30.0, 1e-9);
  EXPECT_NEAR(sourceTime(15), 1, 1e-9);
  EXPECT_NEAR(shown[15].time, 1.5, 1e-4);
  EXPECT_NEAR(double(cut->duration) / cut->timescale, 2, 1e-4);
}

TEST(PicturePlan, WhatLiesBetweenTwoStretchesIsLeftOut) {
  // 1 s to 2 s, then 5.5 s to 7 s: the last in the middle between two key pictures.
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(300, 20, 30, 2));
  builder.track(0).edits = {{1000, 600 + 20}, {1500, 3300 + 20}};
  const Movie movie = builder.finish();
  const auto cut = plan(movie, 0.5, 1.5);
  ASSERT_TRUE(cut);
  const TrackPlan& track = cut->tracks[0];
  for (const SampleRun& run : track.runs) {
    EXPECT_TRUE((run.index >= 30 && run.index < 63) || (run.index >= 150 && run.index < 183)) << run.index;
  }
  expectSameShown(movie, *cut, 0.5, 1.5);
  ASSERT_EQ(track.edits.size(), 2U);
  // The second begins two pictures late, as it does in the source. Players without edit lists need less than two more
  // for what is only decoded.
  EXPECT_LE(double(track.edits[1].mediaTime - track.edits[0].mediaTime) / track.timescale, 0.5 + 3.5 / 30);
}

TEST(PicturePlan, EveryStretchBeginsWhereOurPlayerBeginsIt) {
  std::mt19937 random(7);
  const auto number = [&](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    Builder builder;
    const int reordered = number(0, 3), scale = number(0, 1) ? 600 : 90000, length = scale / 30;
    builder.addPictures(std::uint32_t(scale), synthetic::steadyPictures(300, length, 25, reordered, number(0, 1) == 1));
    // In any order, over each other, with times between pictures.
    double total = 0;
    for (int i = number(2, 4); i > 0; --i) {
      const int milliseconds = number(80, 1500);
      total += milliseconds / 1000.0;
      builder.track(0).edits.push_back({std::uint64_t(milliseconds), number(0, 8 * scale)});
    }
    const Movie movie = builder.finish();
    for (int i = 0; i < 5; ++i) {
      const double from = number(0, 900) / 1000.0 * total,
                   to = from + 0.002 + number(0, 1000) / 1000.0 * (total - from);
      NSErrorPtr error;
      const auto cut = plan(movie, from, to, &error);
      if (from >= playerDuration(movie)) continue;
      ASSERT_TRUE(cut) << error->localizedDescription();
      expectSameShown(movie, *cut, from, to);
      std::int64_t time = 0;
      for (const SampleRun& run : cut->tracks[0].runs) {
        ASSERT_EQ(run.decodeTime, time);
        ASSERT_GE(run.compositionOffset, 0);
        time += run.duration;
      }
      ASSERT_EQ(time, cut->tracks[0].mediaDuration);
      if (HasFailure()) return;
    }
  }
}

TEST(PicturePlan, EndsWithTheEditListWhateverIsAskedFor) {
  // Ten seconds of media. An edit of no length shows nothing, as in libavformat.
  const std::pair<std::vector<EditSegment>, double> lists[] = {
      {{{1000, 620}, {1500, 3320}}, 2.5}, {{{1000, 3320}, {0, 620}}, 1}, {{{0, 620}, {1000, 3320}}, 1}};
  for (const auto& [edits, length] : lists) {
    SCOPED_TRACE(length);
    Builder builder;
    builder.addPictures(600, synthetic::steadyPictures(300, 20, 30, 2));
    builder.track(0).edits = edits;
    const Movie movie = builder.finish();
    EXPECT_NEAR(playerDuration(movie), length, 0.1);  // seams lie between pictures

    for (const double to : {length - 0.3, length, length + 0.001, length + 100}) {
      const double end = std::min(to, playerDuration(movie));
      const auto cut = plan(movie, 0.5, to);
      ASSERT_TRUE(cut);
      expectSameShown(movie, *cut, 0.5, end);
      EXPECT_NEAR(CMTimeGetSeconds(cut->sourceEnd), end, 1e-6);
      EXPECT_NEAR(double(cut->duration) / cut->timescale, end - 0.5, 1e-3);
    }
  }
}

TEST(PicturePlan, TheLastPictureOfAStretchFillsTheGapBehindIt) {
  // 1 s to 2 s, a second of nothing, then 5.5 s to 6.5 s. More pictures lie behind each.
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(300, 20, 30, 2));
  builder.track(0).edits = {{1000, 600 + 20}, {1000, -1}, {1000, 3300 + 20}};
  const Movie movie = builder.finish();
  for (const double from : {0.5, 1.25}) {  // before the gap, and in it
    SCOPED_TRACE(from);
    const auto cut = plan(movie, from, 2.5);
    ASSERT_TRUE(cut);
    expectSameShown(movie, *cut, from, 2.5);
    // No empty edit: players differ in what they make of one between others.
    for (const EditSegment& edit : cut->tracks[0].edits) EXPECT_GE(edit.mediaTime, 0);
  }
}

TEST(PicturePlan, TheLastPictureShownStaysWhereTheMediaGoOn) {
  // Pictures from 1 s to 2 s, though there are more of them, and sound for two seconds longer.
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(300, 20, 30, 2));
  builder.track(0).edits = {{1000, 600 + 20}};
  builder.addSound(48000, 48000, fourCC("mp4a"), 141, 1024);
  const Movie movie = builder.finish();
  const auto cut = plan(movie, 1.25, 2.75);
  ASSERT_TRUE(cut);
  const std::vector<Seen> shown = seen(*cut, 0);
  ASSERT_EQ(shown.size(), 1U);
  const SampleRun& picture = movie.tracks[0].runs[shown[0].index];
  EXPECT_EQ(picture.presentationTime(), 1200);
  EXPECT_EQ(cut->tracks[0].firstShown, picture.index);
  EXPECT_EQ(cut->tracks[0].lastShown, picture.index);
  EXPECT_EQ(cut->tracks[0].duration, cut->timescale * 3 / 2);
}

TEST(PicturePlan, AnEmptyStretchAtTheStartStays) {
  // Sound from 0 on, pictures two seconds later.
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(90, 20, 30));
  builder.track(0).edits = {{2000, -1}, {3000, 0}};
  builder.addSound(48000, 48000, fourCC("mp4a"), 235, 1024);
  const Movie movie = builder.finish();
  const auto cut = plan(movie, 1, 4);
  ASSERT_TRUE(cut);
  ASSERT_EQ(cut->tracks[0].edits.size(), 2U);
  EXPECT_EQ(cut->tracks[0].edits[0].mediaTime, -1);
  EXPECT_EQ(cut->tracks[0].edits[0].duration, cut->timescale);
  EXPECT_EQ(cut->tracks[0].edits[1].duration, 2 * cut->timescale);
  EXPECT_EQ(seen(*cut, 0).size(), 60U);
  // Some players take the one scale for the other.
  EXPECT_EQ(cut->tracks[0].timescale, cut->timescale);

  // Nothing of the pictures: the track stays, empty.
  const auto sound = plan(movie, 0.2, 1.9);
  ASSERT_TRUE(sound);
  EXPECT_TRUE(sound->tracks[0].runs.empty());
  ASSERT_EQ(sound->tracks[0].edits.size(), 1U);
  EXPECT_EQ(sound->tracks[0].edits[0].mediaTime, -1);
  EXPECT_FALSE(sound->tracks[0].firstShown);
}

TEST(PicturePlan, TheLastPictureStaysWhereSoundGoesOn) {
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(60, 20, 30, 1));
  builder.addSound(48000, 48000, fourCC("mp4a"), 469, 1024);
  const Movie movie = builder.finish();
  const auto cut = plan(movie, 5, 8);
  ASSERT_TRUE(cut);
  const std::vector<Seen> shown = seen(*cut, 0);
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(movie.tracks[0].runs[shown[0].index].presentationTime(), 60 * 20);
  EXPECT_EQ(cut->tracks[0].duration, 3 * cut->timescale);
}

TEST(PicturePlan, RefusesWhatItCannotCut) {
  const auto movie = [](auto change) {
    Builder builder;
    builder.addPictures(600, synthetic::steadyPictures(60, 20, 30));
    change(builder);
    return builder.finish();
  };
  const auto codeOf = [](const Movie& movie, double from, double to) {
    NSErrorPtr error;
    EXPECT_FALSE(plan(movie, from, to, &error));
    EXPECT_NE(error, nullptr);
    return error && !error->localizedDescription().empty() ? error->code() : 0;
  };
  const Movie plain = movie([](Builder&) {});
  EXPECT_EQ(codeOf(plain, 2, 3), AVErrorInvalidTimeRange);
  EXPECT_EQ(codeOf(plain, 1, 1), AVErrorInvalidTimeRange);
  EXPECT_EQ(codeOf(plain, 1.9995, 3), AVErrorInvalidTimeRange) << "less than a millisecond up to the end";
  EXPECT_EQ(codeOf(plain, -1, 1), AVErrorInvalidTimeRange);
  EXPECT_EQ(codeOf(movie([](Builder& b) { b.track(0).runs.clear(); }), 0, 1), AVErrorInvalidTimeRange);
  EXPECT_EQ(codeOf(movie([](Builder& b) { b.track(0).formats = {fourCC("encv")}; }), 0, 1), AVErrorExportFailed);
  EXPECT_EQ(codeOf(movie([](Builder& b) { b.track(0).selfContained = false; }), 0, 1), AVErrorExportFailed);
}

}  // namespace
