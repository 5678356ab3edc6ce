#include "movie_tool/MovieReport.h"
#include "movie_tool/ReportPrinter.h"
#include "movie_tool/StreamReport.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/isobmff/HandMadeMovie.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <fstream>
#include <sstream>

using namespace box_builder;

namespace {

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

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

struct Outcome {
  int status = -1;
  std::string output, errors;
};

Outcome run(const ScratchFolder& folder, const std::string& arguments) {
  const std::string output = folder / "output", errors = folder / "errors";
  const std::string command = "cd '" + folder.path() + "' && '" ZEVANTI_BUILD_DIR "/zevanti' " + arguments + " >'" +
                              output + "' 2>'" + errors + "'";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(output), contents(errors)};
}

}  // namespace

TEST(Info, AgreesWithLibavformat) {
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
      EXPECT_EQ(a.identifier, b.identifier);
      EXPECT_EQ(a.kind, b.kind);
      EXPECT_EQ(a.width, b.width);
      EXPECT_EQ(a.height, b.height);
      EXPECT_EQ(a.rotation, b.rotation);
      EXPECT_EQ(a.channels, b.channels);
      EXPECT_EQ(a.sampleRate, b.sampleRate);
      EXPECT_EQ(a.language, b.language == "und" ? "" : b.language);
      EXPECT_EQ(a.name, b.name);
      if (a.kind == "video") {
        EXPECT_NEAR(a.duration, b.duration, 0.001);
        EXPECT_EQ(a.samples, b.samples);
        EXPECT_EQ(a.bytes, b.bytes);
        EXPECT_EQ(a.keySamples, b.keySamples);
        EXPECT_NEAR(a.keySpacing, b.keySpacing, 0.001);
        EXPECT_NEAR(a.longestKeySpacing, b.longestKeySpacing, 0.001);
      }
    }
  }
}

TEST(Info, CountsTheRateOfWhatIsShown) {
  const ScratchFolder folder;
  HandMadeMovie movie;
  movie.timescale = 1000;
  // Five squeezed pictures, a gap, and five of 40 ms of which the edit list shows all but half of the first.
  movie.stts = fullBox("stts", 0, 0, u32s({3, 4, 1, 1, 36, 5, 40}));
  movie.stsz = fullBox("stsz", 0, 0, u32s({100, 10}));
  movie.stsc = fullBox("stsc", 0, 0, u32s({1, 1, 10, 1}));
  movie.stco = fullBox("stco", 0, 0, u32s({1, 40}));
  movie.edts = box("edts", fullBox("elst", 0, 0, u32s({1, 180, 60, 0x10000})));
  NSErrorPtr error;
  const auto report = MovieReport::read(folder.write("movie.mp4", movie.build()), &error);
  ASSERT_TRUE(report);
  EXPECT_NEAR(report->tracks[0].rate, 25, 0.01);
}

TEST(Info, PrintsATable) {
  const ScratchFolder folder;
  NSErrorPtr error;
  auto report = MovieReport::read(folder.write("movie.mp4", detailedMovie()), &error);
  ASSERT_TRUE(report);
  report->file = "movie.mp4";
  report->tracks[1].name = "A\nname";
  EXPECT_EQ(reportAsTable(*report), R"(movie.mp4: MP4, 0:00.850, 5.1 kB

track  kind   format  shape         length    samples          key frames            language and name
1      video  avc1    640x360       0:00.850  8 (10 a second)  0.4 s, longest 0.5 s
1      sound  twos    mono, 48 kHz  0:00.200  1600             each                  A\nname

edit lists
  track 1: nothing for 0:00.250, then 0:00.600 from 0.2 s on
)");
}

TEST(Info, PrintsJSON) {
  const ScratchFolder folder;
  NSErrorPtr error;
  auto report = MovieReport::read(folder.write("movie.mp4", detailedMovie()), &error);
  ASSERT_TRUE(report);
  report->file = "movie.mp4";
  EXPECT_EQ(reportAsJSON(*report), R"({
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

TEST(Info, IsACommandOfTheProgram) {
  const ScratchFolder folder;
  folder.write("my movie.mp4", detailedMovie());
  auto table = run(folder, "info 'my movie.mp4'");
  EXPECT_EQ(table.status, 0);
  EXPECT_EQ(table.errors, "");
  EXPECT_TRUE(table.output.starts_with("my movie.mp4: MP4, 0:00.850")) << table.output;
  EXPECT_TRUE(run(folder, "info --json -- 'my movie.mp4'").output.starts_with("{\n  \"file\": \"my movie.mp4\",\n"));
  EXPECT_NE(run(folder, "info '" + recordings::path("stream.ts") + "'").output.find("h264"), std::string::npos);
  EXPECT_EQ(run(folder, "info --help").status, 0);

  mkfifo((folder / "pipe").c_str(), 0600);
  folder.write("text.mp4", "A text.\n");
  folder.write("empty.mp4", "");
  const std::string whole = detailedMovie();
  folder.write("short.mp4", whole.substr(0, whole.size() - 10));
  const std::string usage = "Usage: zevanti info [--json] MOVIE\n";
  const struct {
    std::string arguments;
    int status;
    std::string message;
  } cases[] = {
      {"info missing.mp4", 1, "zevanti: “missing.mp4” can't be opened: No such file or directory\n"},
      {"info .", 1, "zevanti: “.” is a folder.\n"},
      {"info pipe", 1, "zevanti: “pipe” is a pipe or a device, not a file.\n"},
      {"info empty.mp4", 1, "zevanti: “empty.mp4” is empty.\n"},
      {"info ./text.mp4", 1, "zevanti: “./text.mp4” is damaged, or not a movie.\n"},
      {"info short.mp4", 1, "zevanti: “short.mp4” was cut off in the middle of its index.\n"},
      {"info", 2, "zevanti info: no movie given\n" + usage},
      {"info a b", 2, "zevanti info: one movie at a time: “b” is too many\n" + usage},
      {"info --colour a", 2, "zevanti info: unknown option “--colour”\n" + usage},
      {"info -a", 2, "zevanti info: unknown option “-a”; put -- before a movie of that name, or write ./-a\n" + usage}};
  for (const auto& each : cases) {
    const auto outcome = run(folder, each.arguments);
    EXPECT_EQ(outcome.status, each.status) << each.arguments;
    EXPECT_EQ(outcome.errors, each.message);
    EXPECT_EQ(outcome.output, "");
  }
  EXPECT_EQ(run(folder, "info 'my movie.mp4' >/dev/full 2>/dev/null; exit $?").status, 1);
}
