#include "MovieReader.h"
#include "Session.h"
#include "tests/common/FileIdentity.h"

#include <gtest/gtest.h>
#include <cmath>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSaveType = "UIActivityTypeSaveToCameraRoll\n";

/// Numbers from `first` on, one by one.
void expectRun(const std::vector<std::optional<int>>& numbers, int first, int count) {
  ASSERT_EQ(numbers.size(), static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    ASSERT_EQ(numbers[static_cast<std::size_t>(i)], std::optional<int>(first + i)) << "picture " << i;
  }
}

}  // namespace

TEST(Saving, AnUntrimmedSaveIsTheRecordingItselfAndEndsTheEditor) {
  Session session;
  const fs::path movie = session.copyOf("basic.mp4", "My recording.mp4");
  const FileIdentity before(movie);
  EXPECT_EQ(session.run(movie, "wait ready\ntap Save\nwait saved\n"), 0) << session.errors();
  EXPECT_EQ(session.output(), kSaveType);
  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_EQ(contentOf(session.saved()[0]), before.bytes);
  EXPECT_EQ(session.saved()[0].filename(), "My recording.mp4");
  EXPECT_TRUE(FileIdentity(movie) == before);
  EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];

  // The same once more: nothing in the library is replaced.
  EXPECT_EQ(session.run(movie, "wait ready\nkey Control+S\nwait finished\n"), 0) << session.errors();
  ASSERT_EQ(session.saved().size(), 2U);
  EXPECT_EQ(contentOf(session.saved()[0]), contentOf(session.saved()[1]));
}

TEST(Saving, ATrimmedSaveHoldsTheRangeAndBecomesTheMovieOnScreen) {
  Session session;
  const fs::path movie = session.copyOf("basic.mp4");  // 30 pictures a second, a key frame every 2 s
  const FileIdentity before(movie);
  EXPECT_EQ(session.run(movie,
                        "wait ready\n"
                        "drag start 10\n"
                        "wait editing\n"
                        "drag end 25\n"
                        "state\n"
                        "tap Done\n"
                        "wait saved 60\n"
                        "wait ready\n"
                        "state\n"
                        "time\n"),
            0)
      << session.errors();
  // The timeline starts over with the new movie.
  EXPECT_EQ(session.output().substr(session.output().rfind('}') + 2), std::string("0.000\n") + kSaveType);

  ASSERT_EQ(session.states().size(), 2U);
  const std::string chosen = session.states()[0];
  const double start = number(member(chosen, "range"), "start"), end = number(member(chosen, "range"), "end");
  EXPECT_NEAR(start, 10, 0.05);
  EXPECT_NEAR(end, 25, 0.05);

  const std::string after = session.states()[1];
  EXPECT_NEAR(number(after, "duration"), end - start, 0.1);
  EXPECT_EQ(member(member(after, "flags"), "trimming"), "false");
  EXPECT_EQ(member(member(after, "flags"), "exporting"), "false");
  EXPECT_NE(member(after, "movie").find("/ZVZevanti_Trim"), std::string::npos);
  EXPECT_EQ(member(after, "topToolBar"), R"(["Done", "flexible space", "basic", "flexible space", "Save"])");

  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_NEAR(movieDuration(session.saved()[0]), end - start, 0.1);
  const auto pictures = frameNumbers(session.saved()[0]);
  ASSERT_FALSE(pictures.empty());
  // The pass-through export may begin up to one key frame interval early, but not late, and runs without a gap.
  ASSERT_TRUE(pictures[0].has_value());
  const int first = *pictures[0];
  EXPECT_LE(first, static_cast<int>(std::lround(start * 30)));
  EXPECT_GE(first, static_cast<int>(std::lround(start * 30)) - 60);
  expectRun(pictures, first, static_cast<int>(pictures.size()));
  EXPECT_NEAR(first + static_cast<int>(pictures.size()), end * 30, 3);

  EXPECT_TRUE(FileIdentity(movie) == before);
  EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
}

TEST(Saving, ASecondTrimIsMadeOfTheFirst) {
  Session session;
  const fs::path movie = session.copyOf("basic.mp4");
  EXPECT_EQ(session.run(movie,
                        "wait ready\ndrag end 40\nwait editing\ndrag start 20\ntap Done\nwait saved 60\nwait ready\n"
                        "drag end 12\nwait editing\ndrag start 4\ntap Done\nwait saved 60\nwait ready\n"
                        "state\ntap Done\nwait finished\n"),
            0)
      << session.errors();
  ASSERT_EQ(session.states().size(), 1U);
  EXPECT_NEAR(number(session.states()[0], "duration"), 8, 0.1);
  EXPECT_EQ(session.output().substr(session.output().rfind('}') + 2), std::string(kSaveType) + kSaveType);
  ASSERT_EQ(session.saved().size(), 2U);
  // Names are given in no certain order: the lengths tell which is which.
  std::vector<double> lengths = {movieDuration(session.saved()[0]), movieDuration(session.saved()[1])};
  if (lengths[0] > lengths[1]) std::swap(lengths[0], lengths[1]);
  EXPECT_NEAR(lengths[0], 8, 0.1);
  EXPECT_NEAR(lengths[1], 20, 0.1);
  EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
}

TEST(Saving, OtherKindsOfRecordingsAreTrimmedToo) {
  struct Case {
    const char* recording;
    double start, end, length;
  };
  for (const Case& each : {Case{"vfr.mp4", 4, 12, 8}, Case{"video_only.mp4", 3, 7, 4}, Case{"audio_only.mp4", 2, 6, 4},
                           Case{"turned.mp4", 2, 8, 6}, Case{"two_audio.mp4", 5, 15, 10}}) {
    SCOPED_TRACE(each.recording);
    Session session;
    const fs::path movie = session.copyOf(each.recording);
    const std::string script = "wait ready\ndrag end " + std::to_string(each.end) + "\nwait editing\ndrag start " +
                               std::to_string(each.start) + "\ntap Done\nwait saved 60\nwait ready\n";
    EXPECT_EQ(session.run(movie, script), 0) << session.errors();
    ASSERT_EQ(session.saved().size(), 1U);
    EXPECT_NEAR(movieDuration(session.saved()[0]), each.length, 0.25);
    EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
  }
}

TEST(Saving, WhatAnMP4FileCannotHoldIsNotTrimmed) {
  Session session;
  const fs::path movie = session.copyOf("lossless.mkv");
  const FileIdentity before(movie);
  EXPECT_EQ(session.run(movie, "wait ready\ndrag start 0.3\nwait editing\ntap Done\nwait failed 60\n"), 1);
  EXPECT_NE(session.errors().find("can't hold the pictures of"), std::string::npos) << session.errors();
  EXPECT_TRUE(session.saved().empty());
  EXPECT_TRUE(FileIdentity(movie) == before);
  EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
}
