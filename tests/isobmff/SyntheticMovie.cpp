#include "SyntheticMovie.h"

#include "platform/backends/isobmff/ByteWriter.h"

#include <algorithm>

namespace synthetic {

using isobmff::Box;
using isobmff::Bytes;
using isobmff::ByteWriter;
using isobmff::Movie;
using isobmff::SampleRun;
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

namespace {

Bytes header(int zeros, std::initializer_list<std::uint32_t> values, int after) {
  Bytes bytes(std::size_t(zeros), 0);
  ByteWriter out(bytes);
  for (const std::uint32_t value : values) out.u32(value);
  bytes.resize(bytes.size() + std::size_t(after), 0x5A);
  return bytes;
}

}  // namespace

Builder::Builder(std::uint32_t timescale) {
  movie_.timescale = timescale;
  movie_.fileType = {'i', 's', 'o', 'm', 0, 0, 2, 0, 'i', 's', 'o', 'm', 'm', 'p', '4', '1'};
  movie_.moov = {fourCC("moov"), {}, {{fourCC("mvhd"), header(4, {11, 12, timescale, 0}, 80), {}}}};
}

std::size_t Builder::addTrack(FourCC handler, std::uint32_t timescale, FourCC format, std::uint32_t soundRate) {
  const std::size_t index = movie_.tracks.size();
  Track track;
  track.identifier = std::uint32_t(index) + 1;
  track.handler = handler;
  track.timescale = timescale;
  track.formats = {format};
  movie_.tracks.push_back(track);

  // A description has eight bytes for all, and a sound one 20 more with the rate at their end.
  Bytes descriptions;
  ByteWriter out(descriptions);
  out.u32(0);
  out.u32(1);
  const std::size_t entry = out.begin(format);
  for (const std::uint32_t value : {0U, 1U, 0U, 0U, 0x20010U, 0U}) out.u32(value);
  out.u32(soundRate << 16);
  descriptions.resize(descriptions.size() + (soundRate ? 0 : 50));
  out.end(entry);

  Box table{fourCC("stbl"), {}, {{fourCC("stsd"), descriptions, {}}}};
  for (const FourCC type : {fourCC("stts"), fourCC("stss"), fourCC("stsc"), fourCC("stsz"), fourCC("stco")}) {
    table.children.push_back({type, {}, {}});
  }
  Bytes handlerBytes = header(8, {handler, 0, 0, 0}, 0);
  handlerBytes.insert(handlerBytes.end(), {'N', 'a', 'm', 'e', 0});
  Box media{fourCC("mdia"), {}, {}};
  media.children.push_back({fourCC("mdhd"), header(4, {21, 22, timescale, 0}, 4), {}});
  media.children.push_back({fourCC("hdlr"), handlerBytes, {}});
  media.children.push_back({fourCC("minf"), {}, {{fourCC("xmhd"), {1, 2, 3}, {}}, table}});
  Box trak{fourCC("trak"), {}, {}};
  trak.children.push_back({fourCC("tkhd"), header(4, {31, 32, track.identifier, 0, 0}, 60), {}});
  trak.children.push_back(media);
  trak.children.push_back({fourCC("udta"), {9, 8, 7, 6}, {}});
  movie_.trackBoxes.push_back(std::uint16_t(movie_.moov.children.size()));
  movie_.moov.children.push_back(trak);
  return index;
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
  return box(index).children[1].children[2].children[1];
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

}  // namespace synthetic
