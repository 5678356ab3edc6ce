// The same sources and ranges as in the other half of the matrix, looked at by the players that other people use. Each
// is asked where it is installed; which ones were left out is said at the end.
#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/Exporter.h"
#include "tests/matrix/Judge.h"
#include "tests/matrix/Sources.h"
#include "tests/matrix/Table.h"
#include "tests/matrix/players/BrowserPlayer.h"
#include "tests/matrix/players/GStreamerReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace {

using namespace matrix;

/// How a browser is judged.
struct Habits {
  int pictures = 0;       ///< how many pictures it may be off
  double duration = 0.0;  ///< seconds that its length may be off, besides rounding
};

struct Browser {
  std::unique_ptr<BrowserPlayer> player;
  Habits habits;
};

std::vector<Browser>& browsers() {
  static std::vector<Browser> all = [] {
    std::vector<Browser> list;
    list.push_back({std::make_unique<BrowserPlayer>(BrowserPlayer::Kind::Chromium), {0, 0.001}});
    // It ignores where an edit list begins.
    list.push_back({std::make_unique<BrowserPlayer>(BrowserPlayer::Kind::Firefox), {2, 0.001}});
    return list;
  }();
  return all;
}

/// Where a browser is asked to look: into the first picture, one in the middle, and the last one.
std::vector<double> moments(const Truth& truth, const Range& range) {
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

std::string described(const Truth& truth, const Range& range, const Picture& seen) {
  const auto& shown = truth.reading().pictures;
  return "at " + std::to_string(seen.time) + ": expected picture " +
         std::to_string(shown[truth.pictureAt(range.start + seen.time)].number) + ", seen " +
         std::to_string(seen.number);
}

/// The pictures that are not as near as they should be.
std::vector<Picture> wrongPictures(const Truth& truth, const Range& range, const Reading& reading,
                                   const Habits& habits) {
  std::vector<Picture> wrong;
  const auto& shown = truth.reading().pictures;
  for (const Picture& seen : reading.pictures) {
    if (seen.time < habits.pictures * truth.pictureLength()) continue;
    const auto due = std::ptrdiff_t(truth.pictureAt(range.start + seen.time));
    const auto found =
        std::find_if(shown.begin(), shown.end(), [&](const Picture& p) { return p.number == seen.number; });
    const bool near = found != shown.end() && std::abs(found - shown.begin() - due) <= habits.pictures;
    if (!near) wrong.push_back(seen);
  }
  return wrong;
}

bool showsNothing(const Reading& reading) {
  return !reading.error.empty() || std::all_of(reading.pictures.begin(), reading.pictures.end(),
                                               [](const Picture& picture) { return picture.number < 0; });
}

class Players : public testing::TestWithParam<std::string> {};

TEST_P(Players, ShowTheRange) {
  const std::string source = GetParam();
  const std::string path = sourcePath(source);
  const Truth truth(path);
  const ScratchFolder scratch;
  Table& table = Table::shared();
  const bool gstreamer = whyNoGStreamer().empty();
  for (const Range& range : truth.ranges()) {
    const std::string copy = scratch / (range.name + ".m4v");
    const std::string failure = exportRange(path, copy, range);
    if (!failure.empty()) {
      table.add(source, range.name, "export", {failure});
      continue;
    }
    if (gstreamer) {
      const Reading reading = readWithGStreamer(copy);
      // It ends each track early by as much as its edit list hides at the beginning: sound lacks its lead-in's length
      // at the end, and of a range that is hardly longer than what is hidden nothing is left.
      Exactness exactness;
      exactness.soundStart = 0.002;
      exactness.soundLag = 48;
      exactness.soundMissing = 0.11;
      if (!reading.error.empty() && !readWithGStreamer(path).error.empty()) {
        table.addNotApplicable(source, "gstreamer", reading.error);
      } else if (range.length() > 2 * truth.pictureLength() || !reading.error.empty()) {
        table.add(source, range.name, "gstreamer",
                  losesPictureLengths(source) ? judgeTolerant(truth, range, reading)
                                              : judgeExact(truth, range, reading, exactness));
      }
    }
    for (Browser& browser : browsers()) {
      if (!browser.player->isInstalled()) continue;
      BrowserPlayer& player = *browser.player;
      const Reading reading = player.play(copy, moments(truth, range));
      std::vector<Picture> wrong = wrongPictures(truth, range, reading, browser.habits);
      // What it makes of the source itself at the same moments is its own affair: a codec that it doesn't know, or a
      // seek that lands on another picture.
      if (!reading.error.empty() || !wrong.empty()) {
        std::vector<double> places;
        for (double moment : moments(truth, range)) places.push_back(range.start + moment);
        const Reading own = player.play(path, places);
        if (showsNothing(own)) {
          table.addNotApplicable(source, player.name(),
                                 own.error.empty() ? "shows no picture of the source" : own.error);
          continue;
        }
        if (!reading.error.empty() && !own.error.empty()) {
          table.addNotApplicable(source, player.name(), "the source, too: " + own.error);
          continue;
        }
        std::erase_if(wrong, [&](const Picture& seen) {
          return std::any_of(own.pictures.begin(), own.pictures.end(), [&](const Picture& other) {
            return std::abs(other.time - range.start - seen.time) < 1e-5 && other.number == seen.number;
          });
        });
      }
      std::vector<std::string> complaints;
      if (!reading.error.empty()) complaints.push_back("can't be played: " + reading.error);
      for (const Picture& picture : wrong) complaints.push_back(described(truth, range, picture));
      if (reading.error.empty() && std::abs(reading.duration - range.length()) > browser.habits.duration) {
        complaints.push_back("length: expected " + std::to_string(range.length()) + ", seen " +
                             std::to_string(reading.duration));
      }
      table.add(source, range.name, player.name(), complaints);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, Players, testing::ValuesIn(sourceNames()), [](const auto& info) {
  std::string name = info.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
});

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::vector<std::string> missing;
  if (const std::string why = whyNoGStreamer(); !why.empty()) missing.push_back("gstreamer (" + why + ")");
  for (const Browser& browser : browsers()) {
    if (!browser.player->isInstalled()) missing.push_back(browser.player->name() + " (not installed)");
  }
  const bool none = missing.size() == browsers().size() + 1;
  constexpr int kSkipped = 77;  // as CTest knows it
  const int result = none ? kSkipped : RUN_ALL_TESTS();
  browsers().clear();
  Table::shared().print();
  for (const std::string& player : missing) std::printf("left out: %s\n", player.c_str());
  return result;
}
