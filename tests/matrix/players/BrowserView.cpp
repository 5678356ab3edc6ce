#include "tests/matrix/players/BrowserView.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace matrix;

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

}  // namespace

std::vector<double> matrix::browserMoments(const Truth& truth, const Range& range) {
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

matrix::Verdict matrix::judgeBrowser(const Truth& truth, const Range& range, const std::vector<double>& moments,
                                     const Reading& reading, const Exactness& exactness, const Reading* source) {
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

std::string matrix::whyRefused(const Reading& reading) {
  if (!reading.error.empty()) return reading.error;
  const bool nothing = std::all_of(reading.pictures.begin(), reading.pictures.end(),
                                   [](const Picture& picture) { return picture.number < 0; });
  return nothing ? "shows no picture" : "";
}
