// Recordings in other containers than MP4, and codings that such ones have.
#include "platform/backends/ffmpeg/MovieInput.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/CutMovie.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace {

class Containers : public testing::Test {
 protected:
  /// The beginning of a recording in another form.
  std::string make(const std::string& name, const std::string& arguments) {
    return makeMovie(scratch_ / name, "-i '" + recordings::path("basic.mp4") + "' " + arguments);
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
    EXPECT_NEAR(read_back::tone(output, 300 + 50 * second, second - from + 0.1, 0.2).level, 0.2, 0.03);
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
  std::string chapters = ";FFMETADATA1\n";
  for (const char* each :
       {"START=0\nEND=3000\ntitle=One", "START=3000\nEND=5500\ntitle=Two", "START=5500\nEND=9000\ntitle=Three"})
    chapters += std::string("[CHAPTER]\nTIMEBASE=1/1000\n") + each + "\n";
  const std::string list = scratch_.write("chapters.txt", chapters);
  const std::string path = make("chapters.mkv", "-i '" + list + "' -map_metadata 1 -t 9 -c copy");
  const auto input = MovieInput::open(cut(path, 4, 7), "", nullptr);
  ASSERT_EQ(error_, "");
  ASSERT_TRUE(input);
  std::vector<std::pair<std::string, double>> found;
  for (unsigned i = 0; i < input->format()->nb_chapters; ++i) {
    const AVChapter* chapter = input->format()->chapters[i];
    const AVDictionaryEntry* title = av_dict_get(chapter->metadata, "title", nullptr, 0);
    found.emplace_back(title ? title->value : "", double(chapter->start) * av_q2d(chapter->time_base));
  }
  EXPECT_EQ(found, (std::vector<std::pair<std::string, double>>{{"Two", 0}, {"Three", 1.5}}));
}

}  // namespace
