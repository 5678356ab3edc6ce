/// Any movie that can be read: each cut of it ends in an error, or in a file that can be read again and holds what was
/// planned, with an index no larger than is allowed. Every other input is made longer by a hole of gigabytes, in which
/// samples may lie.

#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/MovieWriter.h"
#include "tests/fuzz/MemoryFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

/// Of more media than this the index alone is written. Hostile tables can make much of a small file by naming the same
/// bytes again and again.
constexpr std::uint64_t kMaximumMedia = 8U << 20;
constexpr std::uint64_t kHole = std::uint64_t(6) << 30;
/// A sixty-fourth of what is usual, so that each input takes little time.
constexpr isobmff::CutBudget::Limits kLimits{125'000, 4U << 20, 6'000'000};
/// Boxes that are copied as they are, with the new ones around them.
constexpr std::uint64_t kOtherBytes = 68U << 20;

void cut(const isobmff::Movie& movie, int source, double start, double length) {
  static MemoryFile result;
  NSErrorPtr error;
  const CMTimeRange range{CMTimeMakeWithSeconds(start, 1'000'000), CMTimeMakeWithSeconds(length, 1'000'000)};
  const auto plan = isobmff::planCut(movie, source, range, "movie", &error, nullptr, kLimits);
  require((plan == nullptr) == (error != nullptr), "a plan or an error");
  if (!plan) return;
  std::uint64_t bytes = 0;
  for (const auto& track : plan->tracks) {
    for (const auto& run : track.runs) bytes += std::uint64_t(run.count) * run.size;
  }

  result.fill(nullptr, 0);
  if (bytes <= kMaximumMedia) {
    error = isobmff::writeMovie(
        movie, *plan, source, result.descriptor(), [](float) {}, [] { return false; });
  } else {
    error = isobmff::MovieWriter(source, result.descriptor()).writeIndex(movie, *plan);
    const std::uint64_t index = result.size();
    require(index <= kLimits.tableBytes + kOtherBytes, "a large index");
    result.extend(index + bytes + bytes / 512 + (1U << 20));  // large pieces keep their place in a block
  }
  require(error == nullptr, error ? error->localizedDescription().c_str() : "");
  const auto again = isobmff::readMovie(result.descriptor(), "result", &error);
  require(again != nullptr, error ? error->localizedDescription().c_str() : "");

  std::size_t track = 0;
  for (std::size_t i = 0; i < plan->tracks.size(); ++i) {
    if (isobmff::isLeftOut(movie.tracks[i])) continue;
    require(track < again->tracks.size(), "a track is missing");
    std::uint64_t planned = 0, samples = 0;
    for (const auto& run : plan->tracks[i].runs) planned += std::uint64_t(run.count) * run.size;
    for (const auto& run : again->tracks[track].runs) samples += std::uint64_t(run.count) * run.size;
    require(planned == samples, "the media are not all there");
    ++track;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile file;
  file.fill(data, size);
  if (size > 0 && data[size - 1] % 2 != 0) file.extend(kHole);
  const auto movie = isobmff::readMovie(file.descriptor(), "movie", nullptr);
  if (!movie) return 0;
  const double duration = isobmff::playerDuration(*movie);
  require(!std::isnan(duration), "times are numbers");
  if (duration > 1e9) return 0;  // no CMTime of a microsecond
  cut(*movie, file.descriptor(), 0, duration);
  cut(*movie, file.descriptor(), duration * 0.4, duration * 0.3);
  // Some place that the input chooses, and a picture's length.
  const double place = size > 0 ? data[size - 1] / 255.0 * duration : 0;
  cut(*movie, file.descriptor(), place, std::min(0.04, std::max(duration - place, 0.0)));
  return 0;
}
