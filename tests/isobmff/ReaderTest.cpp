#include "platform/backends/isobmff/ByteReader.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/PlayerTimeline.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "tests/data/Recordings.h"
#include "tests/isobmff/BoxBuilder.h"
#include "tests/isobmff/ReferenceReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

using isobmff::fourCC;
using isobmff::Movie;
using isobmff::SampleRun;
using isobmff::Track;

namespace {

std::unique_ptr<Movie> read(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(isobmff::isMovieFile(file.get())) << path;
  NSErrorPtr error;
  auto movie = isobmff::readMovie(file.get(), path, &error);
  EXPECT_TRUE(movie) << (error ? error->localizedDescription() : "no error");
  return movie;
}

/// The same tracks in another form of the file, made by FFmpeg from one of the recordings.
std::string variant(const std::string& name, const std::string& source, const std::string& arguments) {
  const std::string folder = ZEVANTI_TEST_DATA "/variants/";
  std::filesystem::create_directories(folder);
  const std::string path = folder + name;
  const std::string command =
      "ffmpeg -nostdin -v error -y -i '" + recordings::path(source) + "' " + arguments + " '" + path + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return path;
}

std::vector<reference::Packet> samples(const Track& track) {
  std::vector<reference::Packet> result;
  for (const SampleRun& run : track.runs) {
    for (std::uint32_t i = 0; i < run.count; ++i) {
      const std::int64_t decodeTime = run.decodeTime + std::int64_t(i) * run.duration;
      result.push_back({std::int64_t(run.offset + std::uint64_t(i) * run.size), decodeTime,
                        decodeTime + run.compositionOffset, run.duration, int(run.size), run.sync || run.partialSync});
    }
  }
  return result;
}

/// A copy of a recording whose tracks of pictures and sound both show these stretches: length and begin in
/// milliseconds, -1 for nothing.
std::string withEdits(const std::string& name, const std::vector<std::pair<int, int>>& edits) {
  const std::string source = variant("short_" + name, name, "-map 0:v -map 0:a:0 -c copy -t 6");
  std::ifstream file(source, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), {});
  const auto movie = read(source);
  const std::size_t moov = bytes.rfind("moov") - 4;  // behind the media: nothing moves
  std::string index = bytes.substr(moov);
  std::size_t from = 0;
  for (const Track& track : movie->tracks) {
    std::string list = box_builder::u32(edits.size());
    for (const auto& [length, begin] : edits) {
      const std::int64_t time =
          begin < 0 ? -1 : track.edits.at(0).mediaTime + std::int64_t(begin) * track.timescale / 1000;
      list +=
          box_builder::u32(std::uint32_t(length)) + box_builder::u32(std::uint32_t(time)) + box_builder::u32(0x10000);
    }
    const std::string edts = box_builder::box("edts", box_builder::fullBox("elst", 0, 0, list));
    const std::size_t place = index.find("edts", from) - 4;
    const std::size_t old = isobmff::loadU32(reinterpret_cast<const std::uint8_t*>(&index[place]));
    index.replace(place, old, edts);
    from = place + edts.size();
    const std::size_t trak = index.rfind("trak", place) - 4;
    for (const std::size_t at : {std::size_t(0), trak}) {
      const std::uint32_t size = isobmff::loadU32(reinterpret_cast<const std::uint8_t*>(&index[at]));
      index.replace(at, 4, box_builder::u32(size + edts.size() - old));
    }
  }
  const std::string path = ZEVANTI_TEST_DATA "/variants/edits_" + name;
  std::ofstream(path, std::ios::binary) << bytes.substr(0, moov) << index;
  return path;
}

/// Every sample, as libavformat's packets say.
void expectSameSamples(const std::string& path) {
  SCOPED_TRACE(path);
  const auto movie = read(path);
  ASSERT_TRUE(movie);
  const auto streams = reference::packets(path);
  ASSERT_EQ(movie->tracks.size(), streams.size());
  for (std::size_t t = 0; t < streams.size(); ++t) {
    SCOPED_TRACE("track " + std::to_string(t));
    const Track& track = movie->tracks[t];
    const auto ours = samples(track);
    const auto& theirs = streams[t];
    ASSERT_EQ(ours.size(), theirs.size());
    ASSERT_EQ(track.sampleCount, theirs.size());
    // Where offsets are negative, it moves the decode times back by the largest of them; in fragments it leaves those
    // and moves the presentation times forward.
    std::int64_t shift = 0, sum = 0;
    for (const SampleRun& run : track.runs) shift = std::max<std::int64_t>(shift, -run.compositionOffset);
    std::uint32_t index = 0;
    for (const SampleRun& run : track.runs) {
      ASSERT_EQ(run.index, index);
      index += run.count;
    }
    for (std::size_t i = 0; i < ours.size(); ++i) {
      SCOPED_TRACE("sample " + std::to_string(i));
      ASSERT_EQ(ours[i].position, theirs[i].position);
      ASSERT_EQ(ours[i].size, theirs[i].size);
      ASSERT_EQ(ours[i].decodeTime - (movie->fragmented ? 0 : shift), theirs[i].decodeTime);
      ASSERT_EQ(ours[i].presentationTime + (movie->fragmented ? shift : 0), theirs[i].presentationTime);
      ASSERT_EQ(ours[i].key, theirs[i].key);
      // It guesses durations in fragments; the times say them.
      if (i + 1 < ours.size()) {
        ASSERT_EQ(ours[i].duration, theirs[i + 1].decodeTime - theirs[i].decodeTime);
      }
      sum += ours[i].duration;
    }
    EXPECT_EQ(track.mediaDuration, sum);
  }
}

}  // namespace

TEST(MovieReader, FindsEverySampleOfTheRecordings) {
  for (const char* name : {"basic.mp4", "bframes60.mp4", "opengop.mp4", "vfr.mp4", "two_audio.mp4", "audio_only.mp4",
                           "video_only.mp4", "one_frame.mp4", "fragmented.mp4", "cut_lead_in.mp4", "turned.mp4"})
    expectSameSamples(recordings::path(name));
}

TEST(MovieReader, FindsEverySampleOfFragments) {
  const std::string copy = "-map 0 -c copy -t 6 -movflags ";
  expectSameSamples(variant("frag_moov.mp4", "bframes60.mp4", copy + "frag_keyframe"));
  expectSameSamples(variant("frag_empty.mp4", "bframes60.mp4", copy + "frag_keyframe+empty_moov"));
  expectSameSamples(variant("frag_delay.mp4", "bframes60.mp4", copy + "frag_keyframe+delay_moov"));
  expectSameSamples(variant("frag_base.mp4", "opengop.mp4", copy + "frag_keyframe+empty_moov+default_base_moof"));
  expectSameSamples(variant("frag_omit.mp4", "vfr.mp4", copy + "frag_keyframe+empty_moov+omit_tfhd_offset"));
  expectSameSamples(variant("frag_each.mp4", "two_audio.mp4", copy + "frag_every_frame+empty_moov"));
  expectSameSamples(variant("frag_separate.mp4", "two_audio.mp4", copy + "frag_keyframe+empty_moov+separate_moof"));
  expectSameSamples(variant("frag_dash.mp4", "basic.mp4", copy + "dash+global_sidx -frag_duration 700000"));
  expectSameSamples(
      variant("frag_negative.mp4", "bframes60.mp4", copy + "frag_keyframe+empty_moov+negative_cts_offsets"));
}

TEST(PlayerTimeline, IsThatOfLibavformat) {
  const std::string copy = "-map 0 -c copy -t 6 -movflags ";
  for (const std::string& path :
       {recordings::path("basic.mp4"), recordings::path("bframes60.mp4"), recordings::path("cut_lead_in.mp4"),
        recordings::path("fragmented.mp4"),
        variant("frag_empty.mp4", "bframes60.mp4", copy + "frag_keyframe+empty_moov"),
        variant("frag_delay.mp4", "bframes60.mp4", copy + "frag_keyframe+delay_moov"),
        variant("negative.mp4", "bframes60.mp4", "-map 0 -c copy -movflags negative_cts_offsets"),
        variant("frag_negative.mp4", "bframes60.mp4", copy + "frag_keyframe+empty_moov+negative_cts_offsets")}) {
    SCOPED_TRACE(path);
    const auto movie = read(path);
    ASSERT_TRUE(movie);
    const auto streams = reference::packets(path, true);
    ASSERT_EQ(movie->tracks.size(), streams.size());
    for (std::size_t t = 0; t < streams.size(); ++t) {
      SCOPED_TRACE("track " + std::to_string(t));
      double start = 1e9, end = -1e9;
      for (const reference::Packet& packet : streams[t]) {
        if (!packet.hidden) start = std::min(start, packet.start), end = std::max(end, packet.end);
      }
      const isobmff::PlayerTimeline timeline(*movie, movie->tracks[t]);
      // Sound begins inside a packet. Lengths of the last packets of fragments are guessed.
      const bool pictures = movie->tracks[t].handler == fourCC("vide");
      EXPECT_NEAR(timeline.start(), pictures ? start : std::max(start, 0.0), pictures ? 1e-4 : 0.0214);
      EXPECT_NEAR(timeline.end(), end, pictures ? 0.005 : 0.0214);
    }
  }
}

TEST(PlayerTimeline, LaterStretchesBeginWhereLibavformatLetsThemBegin) {
  std::mt19937 random(5);
  const auto number = [&](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
  for (const char* name : {"basic.mp4", "bframes60.mp4", "opengop.mp4"}) {
    for (int round = 0; round < 6; ++round) {
      // Milliseconds, at no picture's or packet's begin; some go back, some show nothing.
      std::vector<std::pair<int, int>> edits;  // length and begin
      int at = 0;
      for (int i = number(2, 3); i > 0; --i) {
        at = round % 2 ? number(0, 4000) : at + number(0, 900);
        edits.push_back({round == 4 && i == 1 ? 0 : number(100, 1200), at});
        at += edits.back().first;
      }
      if (round == 5) edits.insert(edits.begin(), {number(1, 700), -1});
      const std::string path = withEdits(name, edits);
      SCOPED_TRACE(path + " " + testing::PrintToString(edits));
      const auto movie = read(path);
      ASSERT_TRUE(movie);
      const auto streams = reference::packets(path, true);
      for (std::size_t t = 0; t < streams.size(); ++t) {
        SCOPED_TRACE("track " + std::to_string(t));
        const Track& track = movie->tracks[t];
        const std::vector<reference::Packet> media = samples(track);
        const isobmff::PlayerTimeline timeline(*movie, track);
        const std::vector<isobmff::ShownSegment>& segments = timeline.segments();
        const bool pictures = track.handler == fourCC("vide");
        // Each packet that is shown lies where the timeline says. But for a few at the beginning of a stretch, which
        // come behind the last one of the stretch before and belong in front of it.
        std::size_t shown = 0, late = 0;
        for (const reference::Packet& packet : streams[t]) {
          if (packet.hidden) continue;
          ++shown;
          const auto sample = std::find_if(media.begin(), media.end(),
                                           [&](const auto& each) { return each.position == packet.position; });
          ASSERT_NE(sample, media.end());
          late += std::none_of(segments.begin(), segments.end(), [&](const isobmff::ShownSegment& segment) {
            const double time = double(sample->presentationTime) / track.timescale;
            const std::int64_t last = sample->presentationTime + (pictures ? 0 : sample->duration - 1);
            return sample->presentationTime < segment.endTick && last >= segment.firstTick &&
                   std::abs(packet.start - (segment.start + time - segment.mediaStart)) < 2e-5;
          });
        }
        EXPECT_GT(shown, 5U);
        EXPECT_LE(late, pictures ? 4 * (segments.size() - 1) : 0) << "of " << shown;
      }
    }
  }
}

TEST(MovieReader, FindsEverySampleOfQuickTimeFiles) {
  expectSameSamples(variant("copy.mov", "opengop.mp4", "-map 0 -c copy"));
  expectSameSamples(variant("negative.mp4", "bframes60.mp4", "-map 0 -c copy -movflags negative_cts_offsets"));
  expectSameSamples(variant("timecode.mov", "bframes60.mp4", "-map 0 -c copy -timecode 01:00:00:00"));
}

TEST(MovieReader, CountsUncompressedSoundInFrames) {
  struct Case {
    const char *name, *codec;
    unsigned frameSize;
  };
  for (const Case& c : {Case{"s16.mov", "pcm_s16le", 4},
                        {"s24.mov", "pcm_s24be", 6},
                        {"f32.mov", "pcm_f32le", 8},
                        {"ulaw.mov", "pcm_mulaw", 2},
                        {"s16.mp4", "pcm_s16le", 4}}) {
    const std::string container = std::string(c.name).ends_with(".mp4") ? " -f mov -brand mp42" : "";
    const std::string path = variant(c.name, "two_audio.mp4",
                                     std::string("-map 0:v -map 0:a:0 -c:v copy -ac 2 -c:a ") + c.codec + container);
    SCOPED_TRACE(path);
    const auto movie = read(path);
    ASSERT_TRUE(movie);
    const Track& sound = movie->tracks.at(1);
    const auto theirs = reference::packets(path).at(1);
    std::int64_t bytes = 0, frames = 0;
    for (const SampleRun& run : sound.runs) {
      EXPECT_EQ(run.size, c.frameSize);
      EXPECT_EQ(run.duration, 1U);
      EXPECT_TRUE(run.sync);
    }
    // Their packets are parts of our runs.
    std::size_t run = 0;
    for (const auto& packet : theirs) {
      while (run < sound.runs.size() &&
             std::int64_t(sound.runs[run].offset + std::uint64_t(sound.runs[run].count) * sound.runs[run].size) <=
                 packet.position)
        ++run;
      ASSERT_LT(run, sound.runs.size());
      const SampleRun& within = sound.runs[run];
      ASSERT_EQ(packet.position - std::int64_t(within.offset), (packet.decodeTime - within.decodeTime) * within.size);
      bytes += packet.size;
      frames += packet.duration;
    }
    EXPECT_EQ(std::int64_t(sound.sampleCount), frames);
    EXPECT_EQ(std::int64_t(sound.sampleCount * c.frameSize), bytes);
    EXPECT_LT(sound.runs.size(), theirs.size());
  }
}

TEST(MovieReader, KeepsWhatIsNotMedia) {
  const auto movie = read(recordings::path("two_audio.mp4"));
  ASSERT_TRUE(movie);
  ASSERT_EQ(movie->tracks.size(), 3U);
  ASSERT_EQ(movie->trackBoxes.size(), 3U);
  EXPECT_EQ(movie->timescale, 1000U);
  EXPECT_FALSE(movie->fragmented);
  ASSERT_GE(movie->fileType.size(), 8U);
  EXPECT_EQ(std::string(movie->fileType.begin(), movie->fileType.begin() + 4), "isom");
  const Track& video = movie->tracks[0];
  EXPECT_EQ(video.handler, fourCC("vide"));
  EXPECT_EQ(video.formats, std::vector<isobmff::FourCC>{fourCC("avc1")});
  EXPECT_TRUE(video.selfContained);
  EXPECT_EQ(movie->tracks[2].handler, fourCC("soun"));
  ASSERT_EQ(movie->tracks[1].edits.size(), 1U);
  EXPECT_EQ(movie->tracks[1].edits[0].mediaTime, 1024);  // the encoder's delay

  const isobmff::Box& trak = movie->moov.children.at(movie->trackBoxes[0]);
  EXPECT_EQ(trak.type, fourCC("trak"));
  const auto child = [](const isobmff::Box& box, isobmff::FourCC type) -> const isobmff::Box& {
    const auto found = std::find_if(box.children.begin(), box.children.end(),
                                    [type](const isobmff::Box& candidate) { return candidate.type == type; });
    if (found == box.children.end()) {
      static const isobmff::Box none;
      ADD_FAILURE() << "no box " << isobmff::toString(type);
      return none;
    }
    return *found;
  };
  EXPECT_EQ(child(trak, fourCC("tkhd")).payload.size(), 84U);
  const isobmff::Box& stbl = child(child(child(trak, fourCC("mdia")), fourCC("minf")), fourCC("stbl"));
  EXPECT_TRUE(child(stbl, fourCC("stts")).payload.empty());
  EXPECT_TRUE(child(stbl, fourCC("stco")).payload.empty());
  EXPECT_GT(child(stbl, fourCC("stsd")).payload.size(), 100U);
}

TEST(MovieReader, TakesWhatIsThereOfARecordingThatWasCutOff) {
  const auto movie = read(recordings::path("damaged.mp4"));
  ASSERT_TRUE(movie);
  for (const Track& track : movie->tracks) {
    ASSERT_FALSE(track.runs.empty());
    const SampleRun& last = track.runs.back();
    EXPECT_LE(last.offset + last.size, movie->fileSize);
    EXPECT_LT(track.mediaDuration, 40 * std::int64_t(track.timescale));  // of 60 s
    EXPECT_GT(track.mediaDuration, 20 * std::int64_t(track.timescale));
  }
}

TEST(MovieReader, SaysWhatIsWrongWithAFile) {
  const auto failure = [](const char* name) {
    const FileDescriptor file(open(recordings::path(name).c_str(), O_RDONLY | O_CLOEXEC));
    NSErrorPtr error;
    EXPECT_FALSE(isobmff::readMovie(file.get(), name, &error)) << name;
    return error ? error->localizedDescription() : "";
  };
  EXPECT_EQ(failure("truncated.mp4"),
            "“truncated.mp4” has no index: the recording was not finished, or it is no movie.");
  EXPECT_EQ(failure("text.mp4"), "“text.mp4” is not a movie.");
  EXPECT_EQ(failure("empty.mp4"), "“empty.mp4” is not a movie.");
  for (const char* name : {"basic.mkv", "stream.ts", "text.mp4", "empty.mp4"}) {
    const FileDescriptor file(open(recordings::path(name).c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_FALSE(isobmff::isMovieFile(file.get())) << name;
  }
}
