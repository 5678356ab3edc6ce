/// Any bytes: reading them as a movie ends in a movie that holds together or in an error.

#include "platform/backends/isobmff/MovieReader.h"
#include "tests/fuzz/MemoryFile.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile file;
  file.fill(data, size);
  isobmff::isMovieFile(file.descriptor());
  NSErrorPtr error;
  const auto movie = isobmff::readMovie(file.descriptor(), "movie", &error);
  require((movie == nullptr) == (error != nullptr));
  if (!movie) return 0;

  require(movie->timescale != 0 && movie->trackBoxes.size() == movie->tracks.size());
  for (const std::uint16_t box : movie->trackBoxes)
    require(box < movie->moov.children.size() && movie->moov.children[box].type == isobmff::fourCC("trak"));
  for (const isobmff::Track& track : movie->tracks) {
    require(track.timescale != 0 && !track.formats.empty());
    std::uint64_t samples = 0;
    std::int64_t duration = 0;
    for (const isobmff::SampleRun& run : track.runs) {
      require(run.count > 0 && run.index == samples && run.description >= 1 && run.description <= track.formats.size());
      require(!track.selfContained || run.offset + std::uint64_t(run.count) * run.size <= size);
      require(run.decodeTime == track.runs.front().decodeTime + duration);
      samples += run.count;
      duration += std::int64_t(run.count) * run.duration;
    }
    require(samples == track.sampleCount && duration == track.mediaDuration);
    require(track.dependencies.size() <= samples);
    for (const isobmff::SampleGroup& group : track.groups) {
      std::uint64_t grouped = 0;
      for (const auto& run : group.runs) grouped += run.count;
      require(grouped <= samples);
    }
  }
  return 0;
}
