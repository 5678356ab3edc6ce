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
using synthetic::expectContinuous;
using synthetic::Picture;
using synthetic::planned;

/// A picture as somebody sees it.
struct Seen {
  std::uint32_t index = 0;  ///< in the source's decode order
  double time = 0;          ///< seconds
};

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

/// What our player shows of the source.
std::vector<Seen> seenInSource(const Movie& movie) {
  const Track& track = movie.tracks[0];
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

/// Holds what a plan shows against what the source shows in [from, to), and returns that, in the source's times.
std::vector<Seen> expectSameShown(const Movie& movie, const CutPlan& cut, double from, double to) {
  std::vector<Seen> expected;
  for (const Seen& picture : seenInSource(movie)) {
    if (picture.time <= from + 50e-6) expected.clear();
    if (picture.time < to - 50e-6 || expected.empty()) expected.push_back(picture);
  }
  const TrackPlan& track = cut.tracks[0];
  const std::vector<Seen> shown = seenIn(track.runs, track.timescale, track.edits, cut.timescale);
  EXPECT_EQ(shown.size(), expected.size());
  if (expected.front().time <= from) {
    EXPECT_EQ(shown.front().time, 0);
  }
  for (std::size_t i = 0; i < std::min(shown.size(), expected.size()); ++i) {
    EXPECT_EQ(shown[i].index, expected[i].index) << "picture " << i;
    EXPECT_NEAR(shown[i].time, std::max(0.0, expected[i].time - from), tolerance) << "picture " << i;
    if (testing::Test::HasFailure()) break;
  }
  expectContinuous(track);
  return expected;
}

/// Holds a plan against what the source shows in [from, to), and against what every player needs.
void expectExact(const Movie& movie, double from, double to) {
  SCOPED_TRACE("range " + std::to_string(from) + " to " + std::to_string(to));
  NSErrorPtr error;
  const auto cut = planned(movie, from, to, &error);
  if (seenInSource(movie).front().time >= to) {  // before the first picture
    EXPECT_FALSE(cut);
    return;
  }
  ASSERT_TRUE(cut) << error->localizedDescription();
  const Track& source = movie.tracks[0];
  const TrackPlan& track = cut->tracks[0];
  const std::vector<Seen> shown = expectSameShown(movie, *cut, from, to);
  if (testing::Test::HasFailure()) return;
  EXPECT_EQ(track.firstShown, shown.front().index);
  EXPECT_EQ(track.lastShown, shown.back().index);
  const double length = double(track.duration) / cut->timescale;
  EXPECT_NEAR(length, std::min(to, playerDuration(movie)) - from, tolerance);
  EXPECT_LT(shown.back().time - from, length);

  // Decodable, and no more than that takes.
  std::uint32_t needed = UINT32_MAX, lastNeeded = 0;
  for (const Seen& picture : shown) {
    needed = std::min(needed, keyFor(source, picture.index));
    lastNeeded = std::max(lastNeeded, picture.index);
  }
  EXPECT_EQ(track.runs.front().index, needed);
  EXPECT_EQ(track.runs.back().index, lastNeeded);
  for (std::size_t i = 0; i < track.runs.size(); ++i) {
    ASSERT_EQ(track.runs[i].index, needed + i);
    ASSERT_GT(track.runs[i].duration, 0U);
  }
  const EditSegment& edit = track.edits.back();
  const std::int64_t in = edit.mediaTime,
                     out = in + std::llround(double(edit.duration) * track.timescale / cut->timescale);
  EXPECT_GE(track.mediaDuration, out);

  // Without the edit list: half a picture of hidden ones, a gap, and a burst behind the end.
  std::vector<double> lengths;
  for (const SampleRun& run : source.runs) lengths.push_back(run.duration);
  const double shortest = *std::min_element(lengths.begin(), lengths.end()) / source.timescale;
  const double longest = *std::max_element(lengths.begin(), lengths.end()) / source.timescale;
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
    const std::vector<Seen> source = seenInSource(movie);
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
      expectExact(movie, from, to);
      if (HasFatalFailure()) return;
    }
  }
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
      if (from >= playerDuration(movie)) continue;
      expectSameShown(movie, *planned(movie, from, to), from, to);
      if (HasFailure()) return;
    }
  }
}

TEST(PicturePlan, HidesAnHourInHalfAPicture) {
  // One key picture at the start, as some recorders leave it.
  Builder builder;
  builder.addPictures(15360, synthetic::steadyPictures(216'000, 256, 1'000'000, 2));
  expectExact(builder.finish(), 3599.51, 3599.9);
}

/// Ten seconds of pictures, of which the edit list shows what it says.
Movie withEdits(const std::vector<EditSegment>& edits, int soundPackets = 0) {
  Builder builder = synthetic::withPictures(300, 2);
  builder.track(0).edits = edits;
  if (soundPackets > 0) builder.addSound(48000, 48000, fourCC("mp4a"), soundPackets, 1024);
  return builder.finish();
}

TEST(PicturePlan, FollowsTheEditList) {
  const auto at = [](std::int64_t tenths) { return 60 * tenths + 20; };  // of a second
  constexpr std::int64_t nothing = -1;
  struct Case {
    const char* name;
    std::vector<EditSegment> edits;
    double from, to;
    double length;  // of the movie, though seams lie between pictures
    int soundPackets = 0;
  };
  const Case cases[] = {{"backwards, with a gap", {{2000, at(40)}, {1000, nothing}, {1000, at(10)}}, 1.5, 3.5, 4},
                        // Its last picture fills it. More pictures lie behind each stretch.
                        {"before a gap", {{1000, at(10)}, {1000, nothing}, {1000, at(55)}}, 0.5, 2.5, 3},
                        {"in a gap", {{1000, at(10)}, {1000, nothing}, {1000, at(55)}}, 1.25, 2.5, 3},
                        // An edit of no length shows nothing, as in libavformat.
                        {"of no length at the end", {{1000, at(55)}, {0, at(10)}}, 0.5, 0.7, 1},
                        {"of no length, to the end", {{1000, at(55)}, {0, at(10)}}, 0.5, 100, 1},
                        {"of no length at the beginning", {{0, at(10)}, {1000, at(55)}}, 0.5, 1.001, 1},
                        {"two, to before the end", {{1000, at(10)}, {1500, at(55)}}, 0.5, 2.2, 2.5},
                        {"two, to the end", {{1000, at(10)}, {1500, at(55)}}, 0.5, 2.501, 2.5},
                        {"two, to behind the end", {{1000, at(10)}, {1500, at(55)}}, 0.5, 102.5, 2.5},
                        {"nothing at first", {{2000, nothing}, {3000, at(0)}}, 1, 4, 5, 235},
                        // Though there are more pictures.
                        {"none behind it, but sound", {{1000, at(10)}}, 1.25, 2.75, 3, 141},
                        {"none, and more sound than pictures", {}, 10.5, 12, 12.5, 586}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Movie movie = withEdits(c.edits, c.soundPackets);
    EXPECT_NEAR(playerDuration(movie), c.length, 0.1);
    const auto cut = planned(movie, c.from, c.to);
    const double end = std::min(c.to, playerDuration(movie));
    expectSameShown(movie, *cut, c.from, end);
    EXPECT_NEAR(CMTimeGetSeconds(cut->sourceEnd), end, 1e-6);
    EXPECT_NEAR(double(cut->duration) / cut->timescale, end - c.from, 1e-3);
    EXPECT_NEAR(double(cut->tracks[0].duration) / cut->timescale, end - c.from, 1e-3);
    // No empty edit but at the start: players differ in what they make of one between others, and some take the one
    // scale for the other there.
    const TrackPlan& track = cut->tracks[0];
    const bool late = track.edits.at(0).mediaTime < 0;
    EXPECT_EQ(late, std::string(c.name) == "nothing at first");
    if (late) {
      EXPECT_EQ(track.edits[0].duration, cut->timescale);
      EXPECT_EQ(track.timescale, cut->timescale);
    }
    for (std::size_t i = late; i < track.edits.size(); ++i) EXPECT_GE(track.edits[i].mediaTime, 0);
  }
}

TEST(PicturePlan, WhatLiesBetweenTwoStretchesIsLeftOut) {
  // 1 s to 2 s, then 5.5 s to 7 s: the last in the middle between two key pictures.
  const Movie movie = withEdits({{1000, 600 + 20}, {1500, 3300 + 20}});
  const auto cut = planned(movie, 0.5, 1.5);
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

TEST(PicturePlan, RefusesWhatItCannotCut) {
  const auto movie = [](auto change) {
    Builder builder = synthetic::withPictures(60);
    change(builder);
    return builder.finish();
  };
  const auto codeOf = [](const Movie& movie, double from, double to) {
    NSErrorPtr error;
    EXPECT_FALSE(planned(movie, from, to, &error));
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
