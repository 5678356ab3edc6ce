// The same sources and ranges as in the other half of the matrix, looked at by a player that other people use:
// --player=NAME. Where it is not installed it is left out; with ZEVANTI_REQUIRE_PLAYERS set that is a failure.
#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/Differences.h"
#include "tests/matrix/Sources.h"
#include "tests/matrix/Table.h"
#include "tests/matrix/players/BrowserPlayer.h"
#include "tests/matrix/players/GStreamerReader.h"
#include "tests/media/CutMovie.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>

namespace {

using namespace matrix;

/// The browser that is asked; null when it is GStreamer.
std::unique_ptr<BrowserPlayer> browser;

bool isNear(const Truth& truth, const Range& range, const Picture& seen, int pictures) {
  // The lead-in may be what the source itself hides.
  if (seen.time < pictures * truth.pictureLength()) return seen.number >= 0;
  const auto& shown = truth.reading().pictures;
  const auto found =
      std::find_if(shown.begin(), shown.end(), [&](const Picture& p) { return p.number == seen.number; });
  if (found == shown.end()) return false;
  const auto due = std::ptrdiff_t(truth.pictureAt(range.start + seen.time));
  return std::abs(found - shown.begin() - due) <= pictures;
}

/// Where a browser is asked to look, in seconds: into the first picture, one in the middle, and the last one.
std::vector<double> browserMoments(const Truth& truth, const Range& range) {
  const Expected expected = truth.expected(range);
  if (expected.pictures.empty()) return {};
  const auto inside = [&](std::size_t index) {
    const double start = expected.pictures[index].time;
    const double end = index + 1 < expected.pictures.size() ? expected.pictures[index + 1].time : range.length();
    return start + std::min(end - start, truth.pictureLength()) / 2;
  };
  std::vector<double> places = {inside(0), inside(expected.pictures.size() / 2), inside(expected.pictures.size() - 1)};
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

/// What it showed before any seek and at each of those moments must be there and be right, and so must the length. With
/// `source`, what it showed of the source at the same moments, a picture may be that one as well.
Verdict judgeBrowser(const Truth& truth, const Range& range, const std::vector<double>& moments, const Reading& reading,
                     const Exactness& exactness, const Reading* source = nullptr) {
  if (!reading.error.empty()) return {{"can't be played: " + reading.error}, {}};
  Verdict verdict;
  if (reading.pictures.size() != moments.size() + 1) {
    verdict.complaints.push_back("expected " + std::to_string(moments.size() + 1) + " pictures, seen " +
                                 std::to_string(reading.pictures.size()));
  }
  const auto& shown = truth.reading().pictures;
  for (const Picture& seen : reading.pictures) {
    if (isNear(truth, range, seen, exactness.pictures)) continue;
    if (source && std::any_of(source->pictures.begin(), source->pictures.end(), [&](const Picture& other) {
          return other.number == seen.number && std::abs(other.time - range.start - seen.time) < 1e-5;
        })) {
      continue;
    }
    verdict.complaints.push_back("at " + std::to_string(seen.time) + ": expected picture " +
                                 std::to_string(shown[truth.pictureAt(range.start + seen.time)].number) + ", seen " +
                                 std::to_string(seen.number));
  }
  if (std::abs(reading.duration - range.length()) > exactness.duration) {
    verdict.complaints.push_back("length: expected " + std::to_string(range.length()) + ", seen " +
                                 std::to_string(reading.duration));
  }
  return verdict;
}

/// Why a browser can't play a file: its own words, or that it shows no picture; empty when it can.
std::string whyRefused(const Reading& reading) {
  if (!reading.error.empty()) return reading.error;
  const bool nothing = std::all_of(reading.pictures.begin(), reading.pictures.end(),
                                   [](const Picture& picture) { return picture.number < 0; });
  return nothing ? "shows no picture" : "";
}

/// One export and what it was made from.
struct Place {
  const std::string& source;
  const Truth& truth;
  const Range& range;
  const std::string& copy;
};

/// Whether the player is known not to show what comes after a seam in the range, or to count otherwise where a range
/// begins with nothing; the table says so then.
bool isBeyond(const Exactness& exactness, const Place& place, const std::string& player) {
  if (exactness.fromFirst && place.range.start < place.truth.begin()) {
    Table::shared().addNotApplicable(place.source, place.range.name, player, "begins before all pictures and sound");
    return true;
  }
  if (exactness.lastSeam <= place.range.start || exactness.lastSeam >= place.range.end) return false;
  Table::shared().addNotApplicable(place.source, place.range.name, player,
                                   "reaches across two stretches of the source's edit list");
  return true;
}

void askGStreamer(const Place& place) {
  const std::string player = "gstreamer";
  Table& table = Table::shared();
  const Exactness exactness = exactnessOf(player, place.source);
  if (isBeyond(exactness, place, player)) return;
  const Reading reading = readWithGStreamer(place.copy);
  const Verdict verdict = judge(place.truth, place.range, reading, exactness);
  const bool shortRange = place.range.length() <= exactness.shortest * place.truth.pictureLength();
  const Expected expected = place.truth.expected(place.range);
  const bool onlyExpected = std::all_of(reading.pictures.begin(), reading.pictures.end(), [&](const Picture& seen) {
    return std::any_of(expected.pictures.begin(), expected.pictures.end(),
                       [&](const Picture& picture) { return picture.number == seen.number; });
  });
  if (shortRange && !verdict.complaints.empty() && reading.error.empty() && onlyExpected) {
    table.addNotApplicable(place.source, place.range.name, player, "of so short a range picture or sound is not left");
  } else {
    table.add(place.source, place.range.name, player, verdict);
  }
}

void askBrowser(const Place& place, BrowserPlayer& player) {
  Table& table = Table::shared();
  const Exactness exactness = exactnessOf(player.name(), place.source);
  if (isBeyond(exactness, place, player.name())) return;
  const std::vector<double> moments = browserMoments(place.truth, place.range);
  const Reading reading = player.play(place.copy, moments);
  const Verdict verdict = judgeBrowser(place.truth, place.range, moments, reading, exactness);
  if ((exactness.mayRefuse || exactness.asSource) && !verdict.complaints.empty()) {
    std::vector<double> places;
    for (const double moment : moments) places.push_back(place.range.start + moment);
    const Reading own = player.play(sourcePath(place.source), places);
    std::string reason = exactness.mayRefuse ? whyRefused(own) : "";
    if (exactness.asSource &&
        judgeBrowser(place.truth, place.range, moments, reading, exactness, &own).complaints.empty()) {
      reason = "shows the same picture";
    }
    if (!reason.empty())
      reason = "the source, too: " + reason;
    else if (exactness.isStrict)
      reason = whyRefused(reading);
    if (!reason.empty()) {
      table.addNotApplicable(place.source, place.range.name, player.name(), reason);
      return;
    }
  }
  table.add(place.source, place.range.name, player.name(), verdict);
}

class OtherPlayers : public testing::TestWithParam<std::string> {};

TEST_P(OtherPlayers, ShowTheRange) {
  const std::string source = GetParam();
  const std::string path = sourcePath(source);
  const Truth truth(path);
  const ScratchFolder scratch;
  for (const Range& range : truth.ranges()) {
    const std::string copy = scratch / (range.name + ".m4v");
    const std::string failure = cutMovie(path, range.start, range.end, copy);
    if (!failure.empty()) {
      Table::shared().add(source, range.name, "export", {{failure}, {}});
      continue;
    }
    const Place place{source, truth, range, copy};
    browser ? askBrowser(place, *browser) : askGStreamer(place);
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, OtherPlayers, testing::ValuesIn(sourceNames()),
                         [](const auto& info) { return testName(info.param); });

/// The judge of browsers: what is right passes, and each way to show too little fails.
TEST(BrowserJudge, SeesEveryFault) {
  const Truth truth(sourcePath("h264.mp4"));
  const Range range{"range", 2, 4};
  const std::vector<double> moments = browserMoments(truth, range);
  ASSERT_EQ(moments.size(), 3U);
  const auto numberAt = [&](double time) { return truth.reading().pictures[truth.pictureAt(2 + time)].number; };
  Reading right;
  right.duration = 2;
  right.pictures.push_back({numberAt(0), 0});
  for (const double moment : moments) right.pictures.push_back({numberAt(moment), moment});
  const auto passes = [&](const std::function<void(Reading&)>& change, int pictures = 0) {
    Reading reading = right;
    if (change) change(reading);
    Exactness exactness;
    exactness.pictures = pictures;
    return judgeBrowser(truth, range, moments, reading, exactness).complaints.empty();
  };
  const auto nextOne = [](Reading& reading) { ++reading.pictures[2].number; };
  EXPECT_TRUE(passes(nullptr));
  EXPECT_TRUE(passes(nextOne, 2));
  EXPECT_FALSE(passes(nextOne));
  EXPECT_FALSE(passes([](Reading& fewer) { fewer.pictures.pop_back(); }));
  EXPECT_FALSE(passes([](Reading& nothing) { nothing = {}; }));
  EXPECT_FALSE(passes([](Reading& black) { black.pictures[0].number = -1; }, 2));
  EXPECT_FALSE(passes([&](Reading& longer) { longer.duration += truth.pictureLength(); }));
  EXPECT_FALSE(passes([](Reading& failed) { failed.error = "media error"; }));
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const std::string argument = argc > 1 ? argv[1] : "";
  std::string missing;
  if (argument == "--player=gstreamer") {
    missing = whyNoGStreamer();
  } else if (argument == "--player=chromium" || argument == "--player=firefox") {
    using Kind = BrowserPlayer::Kind;
    browser = std::make_unique<BrowserPlayer>(argument.ends_with("firefox") ? Kind::Firefox : Kind::Chromium);
    if (!browser->isInstalled()) missing = "not installed";
  } else {
    std::printf("Usage: test_matrix_players --player=gstreamer|chromium|firefox\n");
    return 2;
  }
  if (missing.empty()) {
    const int result = RUN_ALL_TESTS();
    browser.reset();
    Table::shared().print();
    return result;
  }
  std::printf("left out: %s: %s\n", argument.c_str(), missing.c_str());
  constexpr int kSkipped = 77;  // as CTest knows it
  if (!std::getenv("ZEVANTI_REQUIRE_PLAYERS")) return kSkipped;
  std::printf("It must be there. Install it with tools/install-packages players, configure and build.\n");
  return 1;
}
