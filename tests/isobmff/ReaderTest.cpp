#include "platform/backends/isobmff/ByteReader.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/PlayerTimeline.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/isobmff/BoxBuilder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

extern "C" {
#include <libavformat/avformat.h>
}

using isobmff::fourCC;
using isobmff::Movie;
using isobmff::SampleRun;
using isobmff::Track;

namespace {

struct Packet {
  std::int64_t position = 0, decodeTime = 0, presentationTime = 0, duration = 0;
  int size = 0;
  bool key = false;
  bool hidden = false;  ///< decoded only
  double start = 0;     ///< of presentation, in seconds
};

/// The packets of each stream as libavformat sees them, in decode order; with edit lists as our player honours them, or
/// without.
std::vector<std::vector<Packet>> packets(const std::string& path, bool editLists = false) {
  AVDictionary* options = nullptr;
  av_dict_set(&options, "ignore_editlist", editLists ? "0" : "1", 0);
  av_dict_set(&options, "advanced_editlist", editLists ? "1" : "0", 0);
  AVFormatContext* format = nullptr;
  const int opened = avformat_open_input(&format, path.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (opened < 0) return {};
  std::vector<std::vector<Packet>> streams(format->nb_streams);
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) >= 0) {
    const auto stream = std::size_t(packet->stream_index);
    streams.at(stream).push_back({packet->pos, packet->dts, packet->pts, packet->duration, packet->size,
                                  (packet->flags & AV_PKT_FLAG_KEY) != 0, (packet->flags & AV_PKT_FLAG_DISCARD) != 0,
                                  double(packet->pts) * av_q2d(format->streams[stream]->time_base)});
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  return streams;
}

std::unique_ptr<Movie> read(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(isobmff::isMovieFile(file.get())) << path;
  NSErrorPtr error;
  auto movie = isobmff::readMovie(file.get(), path, &error);
  if (!movie) throw std::runtime_error(error->localizedDescription());
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

std::vector<Packet> samples(const Track& track) {
  std::vector<Packet> result;
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
  const std::string bytes = contentOf(source);
  const auto movie = read(source);
  const std::size_t moov = bytes.rfind("moov") - 4;  // behind the media: nothing moves
  std::string index = bytes.substr(moov);
  std::size_t from = 0;
  for (const Track& track : movie->tracks) {
    std::string list = box_builder::u32(edits.size());
    for (const auto& [length, begin] : edits) {
      const std::int64_t time = track.edits.at(0).mediaTime + std::int64_t(begin) * track.timescale / 1000;
      list += box_builder::u32s({std::uint32_t(length), std::uint32_t(begin < 0 ? -1 : time), 0x10000});
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
  const auto streams = packets(path);
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

TEST(MovieReader, FindsEverySample) {
  for (const char* name : {"basic.mp4", "bframes60.mp4", "opengop.mp4", "vfr.mp4", "two_audio.mp4", "audio_only.mp4",
                           "video_only.mp4", "one_frame.mp4", "fragmented.mp4", "cut_lead_in.mp4", "turned.mp4"})
    expectSameSamples(recordings::path(name));
  const std::string fragments = "-t 6 -movflags frag_keyframe", empty = fragments + "+empty_moov";
  const struct {
    const char *name, *source;
    std::string arguments;
  } variants[] = {{"frag_moov.mp4", "bframes60.mp4", fragments},
                  {"frag_empty.mp4", "bframes60.mp4", empty},
                  {"frag_delay.mp4", "bframes60.mp4", fragments + "+delay_moov"},
                  {"frag_base.mp4", "opengop.mp4", empty + "+default_base_moof"},
                  {"frag_omit.mp4", "vfr.mp4", empty + "+omit_tfhd_offset"},
                  {"frag_each.mp4", "two_audio.mp4", "-t 6 -movflags frag_every_frame+empty_moov"},
                  {"frag_separate.mp4", "two_audio.mp4", empty + "+separate_moof"},
                  {"frag_dash.mp4", "basic.mp4", "-t 6 -movflags dash+global_sidx -frag_duration 700000"},
                  {"frag_negative.mp4", "bframes60.mp4", empty + "+negative_cts_offsets"},
                  {"copy.mov", "opengop.mp4", ""},
                  {"negative.mp4", "bframes60.mp4", "-movflags negative_cts_offsets"},
                  {"timecode.mov", "bframes60.mp4", "-timecode 01:00:00:00"}};
  for (const auto& each : variants)
    expectSameSamples(variant(each.name, each.source, "-map 0 -c copy " + each.arguments));
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
      const auto streams = packets(path, true);
      for (std::size_t t = 0; t < streams.size(); ++t) {
        SCOPED_TRACE("track " + std::to_string(t));
        const Track& track = movie->tracks[t];
        const std::vector<Packet> media = samples(track);
        const isobmff::PlayerTimeline timeline(*movie, track);
        const std::vector<isobmff::ShownSegment>& segments = timeline.segments();
        const bool pictures = track.handler == fourCC("vide");
        // Each packet that is shown lies where the timeline says. But for a few at the beginning of a stretch, which
        // come behind the last one of the stretch before and belong in front of it.
        std::size_t shown = 0, late = 0;
        for (const Packet& packet : streams[t]) {
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

TEST(MovieReader, CountsUncompressedSoundInFrames) {
  const struct {
    const char *name, *codec;
    std::uint32_t frameSize;
  } cases[] = {{"s16.mov", "pcm_s16le", 4},
               {"s24.mov", "pcm_s24be", 6},
               {"f32.mov", "pcm_f32le", 8},
               {"ulaw.mov", "pcm_mulaw", 2},
               {"s16.mp4", "pcm_s16le -f mov -brand mp42", 4}};
  for (const auto& c : cases) {
    const std::string path =
        variant(c.name, "two_audio.mp4", std::string("-map 0:v -map 0:a:0 -c:v copy -ac 2 -c:a ") + c.codec);
    SCOPED_TRACE(path);
    const auto movie = read(path);
    // Their packets are parts of our runs.
    std::vector<Packet> ours = samples(movie->tracks.at(1)), theirs = packets(path).at(1);
    std::size_t at = 0;
    for (const Packet& packet : theirs) {
      ASSERT_LT(at, ours.size());
      EXPECT_EQ(ours[at].position, packet.position);
      EXPECT_EQ(ours[at].decodeTime, packet.decodeTime);
      EXPECT_EQ(packet.size, int(packet.duration * c.frameSize));
      at += std::size_t(packet.duration);
    }
    EXPECT_EQ(at, ours.size());
    EXPECT_TRUE(std::all_of(ours.begin(), ours.end(), [&](const Packet& frame) {
      return frame.size == int(c.frameSize) && frame.duration == 1 && frame.key;
    }));
    EXPECT_LT(movie->tracks[1].runs.size(), theirs.size());
  }
}

TEST(MovieReader, SaysWhatIsWrongWithAFile) {
  const struct {
    const char* name;
    bool isMovie;
    const char* words;
  } cases[] = {
      {"truncated.mp4", true, "“truncated.mp4” has no index: the recording was not finished, or it is no movie."},
      {"text.mp4", false, "“text.mp4” is not a movie."},
      {"empty.mp4", false, "“empty.mp4” is not a movie."},
      {"basic.mkv", false, "“basic.mkv” is not a movie."},
      {"stream.ts", false, "“stream.ts” is not a movie."}};
  for (const auto& each : cases) {
    const FileDescriptor file(open(recordings::path(each.name).c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(isobmff::isMovieFile(file.get()), each.isMovie) << each.name;
    NSErrorPtr error;
    EXPECT_FALSE(isobmff::readMovie(file.get(), each.name, &error)) << each.name;
    EXPECT_EQ(error ? error->localizedDescription() : "", each.words);
  }
}
