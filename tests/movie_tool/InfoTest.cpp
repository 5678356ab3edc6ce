#include "movie_tool/MovieReport.h"
#include "movie_tool/ReportPrinter.h"
#include "movie_tool/StreamReport.h"
#include "tests/isobmff/HandMadeMovie.h"
#include "tests/movie_tool/TrimProgram.h"

#include <sys/stat.h>
#include <stdexcept>
#include <tuple>

using namespace box_builder;

namespace {

/// Pictures and a mono sound track that say as much about themselves as a file can.
std::string detailedMovie() {
  HandMadeMovie movie;
  movie.timescale = 1000;
  movie.stts = fullBox("stts", 0, 0, u32s({1, 8, 100}));
  movie.stss = fullBox("stss", 0, 0, u32s({2, 1, 6}));
  movie.edts = box("edts", fullBox("elst", 0, 0, u32s({2, 250, 0xFFFFFFFF, 0x10000, 600, 200, 0x10000})));
  HandMadeMovie sound;
  sound.handler = "soun";
  sound.timescale = 8000;
  sound.description = HandMadeMovie::sound("twos", 0, 1, 16);
  sound.stss = "";
  sound.stts = fullBox("stts", 0, 0, u32s({1, 1600, 1}));
  sound.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 1600, 1}));
  sound.stsz = fullBox("stsz", 0, 0, u32s({2, 1600}));
  sound.stco = fullBox("stco", 0, 0, u32s({1, 40}));
  sound.edts = box("udta", box("name", "A \"quiet\"\t\xFF room"));
  movie.moreTracks = sound.track();
  return movie.build();
}

class Info : public TrimProgram {
 protected:
  MovieReport report(const std::string& movie) {
    NSErrorPtr error;
    auto read = MovieReport::read(folder_.write("movie.mp4", movie), &error);
    if (!read) throw std::runtime_error(error->localizedDescription());
    read->file = "movie.mp4";
    return *read;
  }
};

}  // namespace

TEST_F(Info, AgreesWithLibavformat) {
  for (const char* name : {"basic.mp4", "bframes60.mp4", "opengop.mp4", "vfr.mp4", "two_audio.mp4", "audio_only.mp4",
                           "turned.mp4", "one_frame.mp4"}) {
    SCOPED_TRACE(name);
    NSErrorPtr error;
    const auto ours = MovieReport::read(recordings::path(name), &error);
    const auto theirs = reportOfStreams(recordings::path(name), name, &error);
    ASSERT_TRUE(ours && theirs);
    EXPECT_NEAR(ours->duration, theirs->duration, 0.001);
    ASSERT_EQ(ours->tracks.size(), theirs->tracks.size());
    for (std::size_t i = 0; i < ours->tracks.size(); ++i) {
      const TrackReport &a = ours->tracks[i], &b = theirs->tracks[i];
      EXPECT_EQ(std::tie(a.identifier, a.kind, a.width, a.height, a.rotation, a.channels, a.sampleRate, a.name),
                std::tie(b.identifier, b.kind, b.width, b.height, b.rotation, b.channels, b.sampleRate, b.name));
      EXPECT_EQ(a.language, b.language == "und" ? "" : b.language);
      if (a.kind == "video") {
        EXPECT_NEAR(a.duration, b.duration, 0.001);
        EXPECT_EQ(std::tie(a.samples, a.bytes, a.keySamples), std::tie(b.samples, b.bytes, b.keySamples));
        EXPECT_NEAR(a.keySpacing, b.keySpacing, 0.001);
        EXPECT_NEAR(a.longestKeySpacing, b.longestKeySpacing, 0.001);
      }
    }
  }
}

TEST_F(Info, CountsTheRateOfWhatIsShown) {
  HandMadeMovie movie;
  movie.timescale = 1000;
  // Five squeezed pictures, a gap, and five of 40 ms of which the edit list shows all but half of the first.
  movie.stts = fullBox("stts", 0, 0, u32s({3, 4, 1, 1, 36, 5, 40}));
  movie.stsz = fullBox("stsz", 0, 0, u32s({100, 10}));
  movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 10, 1}));
  movie.stco = fullBox("stco", 0, 0, u32s({1, 40}));
  movie.edts = box("edts", fullBox("elst", 0, 0, u32s({1, 180, 60, 0x10000})));
  EXPECT_NEAR(report(movie.build()).tracks[0].rate, 25, 0.01);
}

TEST_F(Info, PrintsATableOrJSON) {
  MovieReport detailed = report(detailedMovie());
  const std::string json = reportAsJSON(detailed);
  detailed.tracks[1].name = "A\nname";
  EXPECT_EQ(reportAsTable(detailed), R"(movie.mp4: MP4, 0:00.850, 5.1 kB

track  kind   format  shape         length    samples          key frames            language and name
1      video  avc1    640x360       0:00.850  8 (10 a second)  0.4 s, longest 0.5 s
1      sound  twos    mono, 48 kHz  0:00.200  1600             each                  A\nname

edit lists
  track 1: nothing for 0:00.250, then 0:00.600 from 0.2 s on
)");
  EXPECT_EQ(json, R"({
  "file": "movie.mp4",
  "container": "MP4",
  "bytes": 5112,
  "duration": 0.85,
  "fragmented": false,
  "tracks": [
    {
      "identifier": 1,
      "kind": "video",
      "format": "avc1",
      "width": 640,
      "height": 360,
      "rotation": 0,
      "duration": 0.85,
      "samples": 8,
      "bytes": 828,
      "rate": 10,
      "keySamples": 2,
      "keySpacing": 0.4,
      "longestKeySpacing": 0.5,
      "edits": [{"duration": 0.25, "mediaTime": null}, {"duration": 0.6, "mediaTime": 0.2}]
    },
    {
      "identifier": 1,
      "kind": "sound",
      "format": "twos",
      "channels": 1,
      "sampleRate": 48000,
      "name": "A \"quiet\"\t� room",
      "duration": 0.2,
      "samples": 1600,
      "bytes": 3200,
      "rate": 8000,
      "keySamples": 1600,
      "edits": []
    }
  ]
}
)");
}

TEST_F(Info, IsACommandOfTheProgram) {
  const std::string whole = detailedMovie(), movie = "my movie.mp4";
  folder_.write(movie, whole);
  const Outcome table = info({movie});
  EXPECT_EQ(table.status, 0);
  EXPECT_EQ(table.errors, "");
  EXPECT_TRUE(table.output.starts_with("my movie.mp4: MP4, 0:00.850")) << table.output;
  EXPECT_TRUE(info({"--json", "--", movie}).output.starts_with("{\n  \"file\": \"my movie.mp4\",\n"));
  EXPECT_NE(info({recordings::path("stream.ts")}).output.find("h264"), std::string::npos);
  EXPECT_EQ(info({"--help"}).status, 0);

  mkfifo((folder_ / "pipe").c_str(), 0600);
  folder_.write("text.mp4", "A text.\n");
  folder_.write("empty.mp4", "");
  folder_.write("short.mp4", whole.substr(0, whole.size() - 10));
  const std::string usage = "\nUsage: zevanti info [--json] MOVIE";
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string message;
  } cases[] = {
      {{"missing.mp4"}, 1, "zevanti: “missing.mp4” can't be opened: No such file or directory"},
      {{"."}, 1, "zevanti: “.” is a folder."},
      {{"pipe"}, 1, "zevanti: “pipe” is a pipe or a device, not a file."},
      {{"empty.mp4"}, 1, "zevanti: “empty.mp4” is empty."},
      {{"./text.mp4"}, 1, "zevanti: “./text.mp4” is damaged, or not a movie."},
      {{"short.mp4"}, 1, "zevanti: “short.mp4” was cut off in the middle of its index."},
      {{}, 2, "zevanti info: no movie given" + usage},
      {{"a", "b"}, 2, "zevanti info: one movie at a time: “b” is too many" + usage},
      {{"--colour", "a"}, 2, "zevanti info: unknown option “--colour”" + usage},
      {{"-a"}, 2, "zevanti info: unknown option “-a”; put -- before a movie of that name, or write ./-a" + usage}};
  for (const auto& each : cases) {
    const Outcome outcome = info(each.arguments);
    EXPECT_EQ(outcome.status, each.status) << each.message;
    EXPECT_EQ(outcome.errors, each.message + "\n");
    EXPECT_EQ(outcome.output, "");
  }
  const std::string full = "'" ZEVANTI_BUILD_DIR "/zevanti' info '" + folder_ / movie + "' >/dev/full 2>/dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(full.c_str())), 1);
}
