#pragma once

#include <QImage>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

/// Pictures that were looked at and found good, and what tests show. After a change that is meant,
/// ZEVANTI_UPDATE_GOLDEN=1 writes them anew: look at them before they go in.
namespace golden_picture {

/// How far a picture is from the one that it should be; empty when that is little.
inline std::string difference(const QImage& picture, const QImage& golden) {
  constexpr int notable = 48;          // levels of a channel: more than another smoothing of an edge makes
  constexpr int cellSize = 24;         // pixels: about a symbol
  constexpr int mostInCell = 40;       // notable pixels; a symbol that is missing or out of place has more
  constexpr double mostOverall = 1.5;  // levels, mean of all channels
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

/// The same with `tests/golden/NAME.png`; what is shown is kept in the build folder. (Pictures are read back from
/// files, both of them, so that they are in the same format.)
inline std::string difference(const QImage& picture, const std::string& name) {
  const std::filesystem::path golden = std::filesystem::path(ZEVANTI_SOURCE_DIR) / "tests/golden" / (name + ".png");
  const std::filesystem::path shown = std::getenv("ZEVANTI_UPDATE_GOLDEN")
                                          ? golden
                                          : std::filesystem::path(ZEVANTI_BUILD_DIR) / ("golden-" + name + ".png");
  if (!picture.save(QString::fromStdString(shown.string()))) return "can't write " + shown.string();
  const std::string found =
      difference(QImage(QString::fromStdString(shown.string())), QImage(QString::fromStdString(golden.string())));
  return found.empty() ? found : found + "; see " + shown.string();
}

}  // namespace golden_picture
