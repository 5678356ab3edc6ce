#include "EditorFixture.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIDevice.h"

#include <QImage>
#include <algorithm>
#include <cstdlib>
#include <map>

namespace fs = std::filesystem;

namespace {

constexpr int notable = 48;          // levels of a channel: more than another smoothing of an edge makes
constexpr int cellSize = 24;         // pixels: about a symbol
constexpr int mostInCell = 40;       // notable pixels; a symbol that is missing or out of place has more
constexpr double mostOverall = 1.5;  // levels, mean of all channels

/// How far a picture is from the one that it should be; empty when that is little.
std::string difference(const QImage& picture, const QImage& golden) {
  if (golden.isNull()) return "there is no such picture";
  if (picture.size() != golden.size()) return "the sizes differ";
  std::map<std::pair<int, int>, int> cells;
  double sum = 0;
  for (int y = 0; y < golden.height(); ++y) {
    for (int x = 0; x < golden.width(); ++x) {
      const QRgb a = picture.pixel(x, y), b = golden.pixel(x, y);
      const int red = std::abs(qRed(a) - qRed(b)), green = std::abs(qGreen(a) - qGreen(b)),
                blue = std::abs(qBlue(a) - qBlue(b));
      sum += red + green + blue;
      if (std::max({red, green, blue}) > notable) ++cells[{x / cellSize, y / cellSize}];
    }
  }
  for (const auto& [cell, count] : cells) {
    if (count <= mostInCell) continue;
    return std::to_string(count) + " pixels differ around " + std::to_string(cell.first * cellSize) + ", " +
           std::to_string(cell.second * cellSize);
  }
  const double overall = sum / 3 / golden.width() / golden.height();
  return overall <= mostOverall ? "" : "all differs by " + std::to_string(overall) + " levels";
}

}  // namespace

/// The layouts and the forms of the play button against pictures that were looked at and found good. After a change
/// that is meant, ZEVANTI_UPDATE_GOLDEN=1 writes them anew: look at them before they go in.
TEST_F(EditorTest, LooksLikeThePicturesThatWereFoundGood) {
  struct Case {
    const char* name;
    CGSize size;
    int quality;
    bool trimming;
  };
  const int qualityBefore = UIDevice::currentDevice()->_graphicsQuality();
  for (const Case& each : {Case{"phone", {375, 667}, 10, false}, Case{"pad", {667, 375}, 100, false},
                           Case{"trim", {375, 667}, 10, true}}) {
    SCOPED_TRACE(each.name);
    UIDevice::currentDevice()->setGraphicsQuality(each.quality);
    openReady("basic.mp4", each.size);
    std::static_pointer_cast<UILabel>(editor->titleLabel()->subviews().at(0))->setText("March 5 09:07 AM");
    UIMovieScrubber& timeline = *editor->avTrimmer();
    if (each.trimming) {
      using Pointer = UIAutomation::Pointer;
      constexpr auto handle = UIMovieScrubber::HandleStart;
      testWindow().sendPointer(Pointer::Press, timeline.convertPointToWindow(timeline.grabPointForHandle(handle)));
      const CGPoint goal = timeline.convertPointToWindow(timeline.dragPointForHandle(handle, 20));
      testWindow().sendPointer(Pointer::Move, goal);
      testWindow().sendPointer(Pointer::Release, goal);
    }
    ASSERT_TRUE(pumpUntil([&] {
      const auto look = timeline.look();
      return !CAAnimator::shared().isAnimating() && !editor->avPlayer()->isSeeking() &&
             editor->avPlayer()->videoOutput()->copyFrame() && look.editing == (each.trimming ? 1 : 0) &&
             !look.thumbnails.empty() &&
             std::all_of(look.thumbnails.begin(), look.thumbnails.end(), [](const auto& t) { return t.image; });
    }));
    pump(0.1);  // the pictures' way to the screen

    const fs::path golden = fs::path(ZEVANTI_SOURCE_DIR) / "tests/golden" / (std::string(each.name) + ".png");
    const bool update = std::getenv("ZEVANTI_UPDATE_GOLDEN") != nullptr;
    const fs::path shown =
        update ? golden : fs::path(ZEVANTI_BUILD_DIR) / ("golden-" + std::string(each.name) + ".png");
    fs::create_directories(shown.parent_path());
    bool written = false;
    testWindow().screenshot(shown.string(), [&](bool succeeded) { written = succeeded; });
    ASSERT_TRUE(pumpUntil([&] { return written; }));
    EXPECT_EQ(
        difference(QImage(QString::fromStdString(shown.string())), QImage(QString::fromStdString(golden.string()))), "")
        << "see " << shown;
    close();
  }
  UIDevice::currentDevice()->setGraphicsQuality(qualityBefore);
}
