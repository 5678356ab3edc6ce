// The same sources and ranges as in the other half of the matrix, looked at by the players that other people use. Each
// is asked where it is installed; which ones were left out is said at the end, and with ZEVANTI_REQUIRE_PLAYERS set it
// is a failure. --player=NAME asks that one only.
#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/Differences.h"
#include "tests/matrix/Exporter.h"
#include "tests/matrix/Sources.h"
#include "tests/matrix/Table.h"
#include "tests/matrix/players/BrowserPlayer.h"
#include "tests/matrix/players/BrowserView.h"
#include "tests/matrix/players/GStreamerReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

using namespace matrix;

/// The players that are asked, and why others are not.
struct Players {
  bool gstreamer = false;
  std::vector<std::unique_ptr<BrowserPlayer>> browsers;
  std::vector<std::string> missing;
};

Players& players() {
  static Players all;
  return all;
}

void choosePlayers(const std::string& only) {
  Players& all = players();
  if (only.empty() || only == "gstreamer") {
    const std::string why = whyNoGStreamer();
    all.gstreamer = why.empty();
    if (!why.empty()) all.missing.push_back("gstreamer (" + why + ")");
  }
  for (const auto kind : {BrowserPlayer::Kind::Chromium, BrowserPlayer::Kind::Firefox}) {
    auto browser = std::make_unique<BrowserPlayer>(kind);
    if (!only.empty() && only != browser->name()) continue;
    if (browser->isInstalled()) {
      all.browsers.push_back(std::move(browser));
    } else {
      all.missing.push_back(browser->name() + " (not installed)");
    }
  }
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
    const std::string failure = exportRange(path, copy, range);
    if (!failure.empty()) {
      Table::shared().addFailedExport(source, range.name, failure);
      continue;
    }
    const Place place{source, truth, range, copy};
    if (players().gstreamer) askGStreamer(place);
    for (const auto& browser : players().browsers) askBrowser(place, *browser);
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, OtherPlayers, testing::ValuesIn(sourceNames()), [](const auto& info) {
  std::string name = info.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

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
  const auto passes = [&](const Reading& reading, int pictures = 0) {
    Exactness exactness;
    exactness.pictures = pictures;
    return judgeBrowser(truth, range, moments, reading, exactness).complaints.empty();
  };
  EXPECT_TRUE(passes(right));
  Reading fewer = right, nextOne = right, black = right, longer = right, failed = right;
  fewer.pictures.pop_back();
  EXPECT_FALSE(passes(fewer));
  EXPECT_FALSE(passes({}));
  ++nextOne.pictures[2].number;
  EXPECT_FALSE(passes(nextOne));
  EXPECT_TRUE(passes(nextOne, 2));
  black.pictures[0].number = -1;
  EXPECT_FALSE(passes(black, 2));
  longer.duration += truth.pictureLength();
  EXPECT_FALSE(passes(longer));
  failed.error = "media error";
  EXPECT_FALSE(passes(failed));
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const std::string option = "--player=", argument = argc > 1 ? argv[1] : "";
  const std::string only = argument.starts_with(option) ? argument.substr(option.size()) : "";
  choosePlayers(only);
  const auto& missing = players().missing;
  const bool none = !players().gstreamer && players().browsers.empty();
  if (none && missing.empty()) {
    std::printf("There is no player of the name %s: it is one of gstreamer, chromium and firefox.\n", only.c_str());
    return 2;
  }
  constexpr int kSkipped = 77;  // as CTest knows it
  int result = none ? kSkipped : RUN_ALL_TESTS();
  players().browsers.clear();
  Table::shared().print();
  for (const std::string& player : missing) std::printf("left out: %s\n", player.c_str());
  if (!missing.empty() && std::getenv("ZEVANTI_REQUIRE_PLAYERS")) {
    std::printf("Every player must be there. Install them with tools/install-packages players, configure and build.\n");
    result = 1;
  }
  return result;
}
