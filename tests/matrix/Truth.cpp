#include "tests/matrix/Truth.h"

#include "tests/matrix/LibavReader.h"
#include "tests/matrix/MpvReader.h"

#include <algorithm>
#include <stdexcept>

namespace {

/// Times that come as seconds are rounded; this much earlier still counts as on time.
constexpr double kRounding = 50e-6;

}  // namespace

matrix::Truth::Truth(const std::string& path) : reading_(readWithLibav(path, EditLists::Honoured)) {
  if (!reading_.error.empty()) throw std::runtime_error(path + ": " + reading_.error);
  if (reading_.pictures.size() < 60) throw std::runtime_error(path + ": too few pictures");
  const double zero = zeroInMpv(path);
  std::vector<double> lengths;
  for (std::size_t i = 0; i < reading_.pictures.size(); ++i) {
    reading_.pictures[i].time -= zero;
    if (i > 0 && reading_.pictures[i].number <= reading_.pictures[i - 1].number) {
      throw std::runtime_error(path + ": its pictures are out of order");
    }
    if (i > 0) lengths.push_back(reading_.pictures[i].time - reading_.pictures[i - 1].time);
  }
  std::nth_element(lengths.begin(), lengths.begin() + std::ptrdiff_t(lengths.size() / 2), lengths.end());
  pictureLength_ = lengths[lengths.size() / 2];
  end_ = reading_.pictures.back().time + pictureLength_;
  begin_ = reading_.pictures.front().time;
  for (Sound& sound : reading_.sounds) {
    sound.start -= zero;
    begin_ = std::min(begin_, sound.start);
  }
  end_ = std::max(end_, reading_.end - zero);
}

std::vector<matrix::Range> matrix::Truth::ranges() const {
  const auto& shown = reading_.pictures;
  // The first key picture that leaves room on both sides; in a stream that has no second one, any picture.
  std::size_t key = shown.size() / 3;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    if (shown[i].key && shown[i].time > shown.front().time + 1.5) {
      key = i;
      break;
    }
  }
  const auto time = [&](std::size_t index) { return shown.at(std::min(index, shown.size() - 1)).time; };
  const double frame = pictureLength_;
  const auto after = [&](std::size_t index, double seconds) { return time(pictureAt(time(index) + seconds) + 1); };
  std::size_t middle = pictureAt(time(key) + 0.9) + 1;
  std::vector<Range> result = {
      {"key", time(key), after(key, 0.5)},
      {"before", time(key - 1), time(key + 12)},
      {"one", time(middle), time(middle + 1)},
      {"middle", time(middle + 2) + 0.4 * frame, after(middle + 2, 1.3) + 0.6 * frame},
      {"end", time(shown.size() - 21), end_},
      // Where nothing comes for long, from then on: a range of nothing at all is none.
      {"early", begin_ > 1 ? begin_ - 0.69 : 0.31, begin_ > 1 ? begin_ + 0.75 : 1.75},
  };
  for (std::size_t i = 0; i + 1 < shown.size(); ++i) {  // where a picture stays on screen for long
    const double from = shown[i].time + 0.4, to = shown[i + 1].time;
    if (to - from > 0.3 && i > 0) {
      result.push_back({"pause", from, to + 0.7});
      break;
    }
  }
  const double pictureEnd = shown.back().time + frame;
  if (pictureEnd < end_ - 1) result.push_back({"behind", pictureEnd + 0.4, end_ - 0.3});
  for (const Sound& sound : reading_.sounds) {
    if (sound.end() < end_ - 1) result.push_back({"behind", sound.end() + 0.4, end_ - 0.3});
  }
  return result;
}

std::size_t matrix::Truth::pictureAt(double time) const {
  std::size_t index = 0;
  while (index + 1 < reading_.pictures.size() && reading_.pictures[index + 1].time <= time + kRounding) ++index;
  return index;
}

matrix::Expected matrix::Truth::expected(const Range& range) const {
  Expected result;
  result.length = range.length();
  for (std::size_t i = pictureAt(range.start); i < reading_.pictures.size(); ++i) {
    Picture picture = reading_.pictures[i];
    if (picture.time >= range.end - kRounding) break;
    picture.time = std::max(0.0, picture.time - range.start);
    result.pictures.push_back(picture);
  }
  return result;
}
