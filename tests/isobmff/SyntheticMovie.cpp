#include "SyntheticMovie.h"

#include "HandMadeMovie.h"
#include "platform/backends/isobmff/ByteWriter.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/SampleDescription.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include <unistd.h>

namespace synthetic {

using isobmff::Box;
using isobmff::Bytes;
using isobmff::ByteWriter;
using isobmff::Movie;
using isobmff::SampleRun;
using isobmff::toString;
using isobmff::Track;

std::vector<Picture> picturesAt(const std::vector<std::int64_t>& times, int interval, int reordered, bool open) {
  const int count = int(times.size()) - 1;
  std::vector<int> anchors;
  for (int at = 0; at < count; ++at) {
    const int inGroup = at % interval;
    const bool lastOfGroup = !open && inGroup == interval - 1;
    if (inGroup % (reordered + 1) == 0 || lastOfGroup || at == count - 1) anchors.push_back(at);
  }
  const int late = reordered > 0 ? 1 : 0;
  std::vector<Picture> pictures;
  const auto decode = [&](int position) {
    pictures.push_back({times[pictures.size()], times[std::size_t(position + late)], position % interval == 0});
  };
  int before = -1;
  for (const int anchor : anchors) {
    decode(anchor);
    for (int position = before + 1; position < anchor; ++position) decode(position);
    before = anchor;
  }
  return pictures;
}

std::vector<Picture> steadyPictures(int count, int length, int interval, int reordered, bool open) {
  std::vector<std::int64_t> times;
  for (int i = 0; i <= count; ++i) times.push_back(std::int64_t(i) * length);
  return picturesAt(times, interval, reordered, open);
}

Builder::Builder(std::uint32_t timescale) {
  movie_.timescale = timescale;
  movie_.fileType = {'i', 's', 'o', 'm', 0, 0, 2, 0, 'i', 's', 'o', 'm', 'm', 'p', '4', '1'};
  const std::string header = box_builder::zeros(12) + box_builder::u32(timescale) + box_builder::zeros(84);
  movie_.moov = {fourCC("moov"), {}, {{fourCC("mvhd"), Bytes(header.begin(), header.end()), {}}}};
}

std::size_t Builder::addTrack(FourCC handler, std::uint32_t timescale, FourCC format, std::uint32_t soundRate) {
  HandMadeMovie made;
  made.handler = soundRate ? "soun" : "vide";  // others can't stand alone
  made.timescale = timescale;
  made.description = soundRate ? HandMadeMovie::sound(toString(format), 0, 2, 16, "", soundRate)
                               : HandMadeMovie::picture(toString(format));
  made.stsz = box_builder::fullBox("stsz", 0, 0, box_builder::zeros(8));  // no samples yet
  const auto read = isobmff::readMovie(box_builder::file(made.build()).get(), "made", nullptr);
  Track track = read->tracks.at(0);
  Box trak = read->moov.children.at(read->trackBoxes.at(0));
  track.identifier = std::uint32_t(movie_.tracks.size()) + 1;
  track.handler = handler;
  ByteWriter(trak.children.at(0).payload).setU32(12, track.identifier);       // in tkhd
  ByteWriter(trak.children.at(1).children.at(1).payload).setU32(8, handler);  // in hdlr
  movie_.tracks.push_back(track);
  movie_.trackBoxes.push_back(std::uint16_t(movie_.moov.children.size()));
  movie_.moov.children.push_back(trak);
  return movie_.tracks.size() - 1;
}

std::size_t Builder::addPictures(std::uint32_t timescale, const std::vector<Picture>& pictures) {
  const std::size_t index = addTrack(fourCC("vide"), timescale, fourCC("avc1"));
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    SampleRun run;
    run.count = 1;
    run.size = pictures[i].sync ? 3000 : 200 + std::uint32_t(i * 7 % 91);
    const std::int64_t step = i + 1 < pictures.size() ? pictures[i + 1].decodeTime - pictures[i].decodeTime
                                                      : pictures[i].decodeTime - pictures[i - 1].decodeTime;
    run.duration = std::uint32_t(step);
    run.compositionOffset = std::int32_t(pictures[i].presentationTime - pictures[i].decodeTime);
    run.sync = pictures[i].sync;
    append(index, run);
  }
  return index;
}

std::size_t Builder::addSound(std::uint32_t timescale, std::uint32_t rate, FourCC format, int packets,
                              std::uint32_t length, std::uint32_t perRun, std::uint32_t size) {
  const std::size_t index = addTrack(fourCC("soun"), timescale, format, rate);
  for (int done = 0; done < packets; done += int(perRun)) {
    SampleRun run;
    run.count = std::min(perRun, std::uint32_t(packets - done));
    run.size = size ? size : 90 + std::uint32_t(done) * 13 % 47;
    run.duration = length;
    append(index, run);
  }
  return index;
}

std::size_t Builder::addSamples(FourCC handler, std::uint32_t timescale, FourCC format, std::uint32_t size,
                                const std::vector<std::uint32_t>& durations) {
  const std::size_t index = addTrack(handler, timescale, format);
  for (const std::uint32_t duration : durations) {
    SampleRun run;
    run.count = 1;
    run.size = size;
    run.duration = duration;
    append(index, run);
  }
  return index;
}

void Builder::append(std::size_t index, SampleRun run) {
  Track& track = movie_.tracks[index];
  run.decodeTime = track.mediaDuration;
  run.index = std::uint32_t(track.sampleCount);
  track.mediaDuration += std::int64_t(run.count) * run.duration;
  track.sampleCount += run.count;
  track.runs.push_back(run);
}

Box& Builder::sampleTable(std::size_t index) {
  const isobmff::Box* table = isobmff::sampleTableBox(movie_, index);
  return const_cast<Box&>(*table);
}

Movie Builder::finish(std::uint64_t offset, std::uint64_t gap) {
  std::vector<std::size_t> next(movie_.tracks.size(), 0);
  while (true) {
    std::size_t best = next.size();
    double earliest = 0;
    for (std::size_t i = 0; i < next.size(); ++i) {
      const Track& track = movie_.tracks[i];
      if (next[i] == track.runs.size()) continue;
      const double time = double(track.runs[next[i]].decodeTime) / track.timescale;
      if (best == next.size() || time < earliest) best = i, earliest = time;
    }
    if (best == next.size()) break;
    SampleRun& run = movie_.tracks[best].runs[next[best]++];
    run.offset = offset;
    offset += std::uint64_t(run.count) * run.size + gap;
  }
  movie_.fileSize = offset;
  return std::move(movie_);
}

std::unique_ptr<isobmff::CutPlan> planned(const Movie& movie, double from, double to, NSErrorPtr* error) {
  NSErrorPtr failure;
  const CMTime start = CMTimeMakeWithSeconds(from, 1'000'000'000);
  const CMTimeRange range{start, CMTimeMakeWithSeconds(to - from, 1'000'000'000)};
  auto plan = planCut(movie, -1, range, "Movie", error ? error : &failure);
  if (!plan && !error) throw std::runtime_error(failure->localizedDescription());
  return plan;
}

void expectContinuous(const isobmff::TrackPlan& track) {
  ASSERT_FALSE(track.runs.empty());
  std::int64_t time = 0;
  for (const SampleRun& run : track.runs) {
    ASSERT_EQ(run.decodeTime, time);
    ASSERT_GE(run.compositionOffset, 0);
    time += std::int64_t(run.count) * run.duration;
  }
  EXPECT_EQ(time, track.mediaDuration);
}

FileDescriptor scratchFile() {
  char path[] = "/var/tmp/zevanti-synthetic-XXXXXX";
  FileDescriptor file(mkstemp(path));
  unlink(path);
  return file;
}

}  // namespace synthetic
