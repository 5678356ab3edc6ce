// Recordings in other containers than MP4, and codings that such ones have.
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/MovieInput.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/CutMovie.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace {

class Containers : public testing::Test {
 protected:
  /// A movie made for one test by the ffmpeg program.
  std::string make(const std::string& name, const std::string& arguments) {
    const std::string path = scratch_ / name;
    const std::string source = recordings::path("basic.mp4");
    EXPECT_EQ(std::system(("ffmpeg -nostdin -v error -y -i '" + source + "' " + arguments + " '" + path + "'").c_str()),
              0);
    return path;
  }

  /// The new file's path; what went wrong is in `error_`.
  std::string cut(const std::string& path, double from, double to) {
    const std::string output = scratch_ / "cut.mp4";
    error_ = cutMovie(path, from, to, output);
    return output;
  }

  /// Cuts, and expects the pictures with the numbers from `first` to `last`, and the sound that belongs to them.
  void expectCut(const std::string& path, double from, double to, int first, int last, bool hasSound = true) {
    SCOPED_TRACE(path + " from " + std::to_string(from));
    const std::string output = cut(path, from, to);
    ASSERT_EQ(error_, "");
    const auto pictures = read_back::pictures(output);
    ASSERT_EQ(pictures.size(), std::size_t(last - first + 1));
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      EXPECT_EQ(pictures[i].number, first + int(i));
      // The lead-in of sound comes first in these.
      EXPECT_NEAR(pictures[i].time, std::max(0.0, (first + int(i)) / 30.0 - from), 0.009);
    }
    if (!hasSound) return;
    // The tone changes each second.
    const double second = std::ceil(from);
    EXPECT_NEAR(read_back::pitch(output, second - from + 0.1), 300 + 50 * second, 4);
  }

  ScratchFolder scratch_;
  std::string error_;
};

TEST_F(Containers, RecordingsThatDoNotSayHowLongTheyAre) {
  // What browsers record, what goes through a pipe, and what was not finished.
  const std::string live = make("live.mkv", "-t 9 -c:v copy -c:a libopus -f matroska -live 1");
  const std::string broken = make("broken.mkv", "-t 9 -c:v copy -c:a libopus -f matroska -live 1");
  std::filesystem::resize_file(broken, std::filesystem::file_size(broken) * 6 / 10);
  const std::string browser = make("browser.webm",
                                   "-t 4 -s 320x180 -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 60 "
                                   "-c:a libopus -f webm -live 1");
  struct Case {
    std::string path;
    double least, most;
  };
  for (const Case& c : {Case{live, 8.95, 9.05}, Case{broken, 4.5, 8.5}, Case{browser, 3.95, 4.1}}) {
    SCOPED_TRACE(c.path);
    const auto input = MovieInput::open(c.path, "", nullptr);
    ASSERT_TRUE(input);
    EXPECT_GE(double(input->duration()) / AV_TIME_BASE, c.least);
    EXPECT_LE(double(input->duration()) / AV_TIME_BASE, c.most);
  }
  expectCut(live, 2.51, 4.49, 75, 134);
  expectCut(broken, 2.51, 4.01, 75, 120);
  cut(browser, 1, 2.5);
  EXPECT_EQ(error_, "");
  cut(live, 9.5, 10);
  EXPECT_NE(error_.find("lies behind the end"), std::string::npos) << error_;
}

TEST_F(Containers, PicturesWithoutTimesOfPresentation) {
  const std::string inOrder = make("plain.avi", "-t 6 -c:v libx264 -preset ultrafast -bf 0 -g 30 -an");
  expectCut(inOrder, 2.51, 4.49, 75, 134, false);
  expectCut(inOrder, 0, 1.5, 0, 44, false);
  // Nobody can tell which picture is on screen when.
  const std::string reordered = make("reordered.avi", "-t 6 -c:v mpeg4 -bf 2 -g 30 -c:a pcm_s16le");
  cut(reordered, 2, 4);
  EXPECT_EQ(error_,
            "“reordered.avi” doesn't tell when its pictures are shown, so it can't be trimmed exactly. Convert the "
            "recording to H.264 first, then trim it.");
}

TEST_F(Containers, ChaptersComeAlong) {
  const std::string list = scratch_ / "chapters.txt";
  FILE* file = fopen(list.c_str(), "w");
  std::fputs(
      ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=3000\ntitle=One\n[CHAPTER]\nTIMEBASE=1/1000\n"
      "START=3000\nEND=5500\ntitle=Two\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=5500\nEND=9000\ntitle=Three\n",
      file);
  fclose(file);
  const std::string path = make("chapters.mkv", "-i '" + list + "' -map_metadata 1 -t 9 -c copy");
  const auto input = MovieInput::open(cut(path, 4, 7), "", nullptr);
  ASSERT_EQ(error_, "");
  ASSERT_TRUE(input);
  ASSERT_EQ(input->format()->nb_chapters, 2U);
  const auto chapter = [&](unsigned i) {
    const AVChapter* found = input->format()->chapters[i];
    const AVDictionaryEntry* title = av_dict_get(found->metadata, "title", nullptr, 0);
    return std::pair<std::string, double>(title ? title->value : "", double(found->start) * av_q2d(found->time_base));
  };
  EXPECT_EQ(chapter(0).first, "Two");
  EXPECT_NEAR(chapter(0).second, 0, 0.001);
  EXPECT_EQ(chapter(1).first, "Three");
  EXPECT_NEAR(chapter(1).second, 1.5, 0.001);
}

/// By how much the tone of `second` is later in the cut than in the source, in seconds.
double lateness(const std::string& source, const std::string& output, double from, int second) {
  const double hertz = 300 + 50 * second;
  const double was = read_back::tone(source, hertz, second + 0.2, 0.6).delay;
  const double is = read_back::tone(output, hertz, second + 0.2 - from, 0.6).delay;
  return std::remainder(is - (was - from), 1 / hertz);
}

TEST_F(Containers, VorbisStaysWithThePictures) {
  for (const char* name : {"vorbis.mkv", "vorbis.mp4"}) {
    const std::string path = make(name, "-t 8 -c:v copy -c:a libvorbis -ac 2");
    for (const double from : {0.0, 1.0, 2.777, 3.0105, 4.52}) {
      SCOPED_TRACE(name + std::string(" from ") + std::to_string(from));
      const std::string output = cut(path, from, from + 2.9);
      ASSERT_EQ(error_, "");
      EXPECT_NEAR(lateness(path, output, from, int(std::ceil(from)) + 1), 0, 0.0005);
    }
  }
}

TEST_F(Containers, MP3IsWholeFromTheFirstSampleOn) {
  // At low rates packets borrow from many before them.
  for (const char* rate : {"32k", "128k"}) {
    const std::string path =
        make(std::string("layer3-") + rate + ".mp4", std::string("-t 8 -c:v copy -c:a libmp3lame -ac 1 -b:a ") + rate);
    for (const double from : {3.111, 4.3}) {
      SCOPED_TRACE(std::string(rate) + " from " + std::to_string(from));
      const std::string output = cut(path, from, from + 1.5);
      ASSERT_EQ(error_, "");
      const double hertz = 300 + 50 * std::floor(from);
      const double level = read_back::tone(path, hertz, from, 0.02).level;
      ASSERT_GT(level, 0.05);
      for (const double at : {0.0, 0.02, 0.05, 0.1}) {
        EXPECT_NEAR(read_back::tone(output, hertz, at, 0.02).level, read_back::tone(path, hertz, from + at, 0.02).level,
                    level * 0.05)
            << at;
      }
    }
  }
}

}  // namespace
