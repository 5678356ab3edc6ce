#include "movie_tool/MovieTime.h"
#include "tests/movie_tool/TrimProgram.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class Trim : public TrimProgram {};

TEST_F(Trim, ReadsTimes) {
  const auto nanoseconds = [](const char* text) {
    const auto time = movie_time::parse(text);
    return time ? time->value : -1;
  };
  EXPECT_EQ(nanoseconds("0"), 0);
  EXPECT_EQ(nanoseconds("12.5"), 12'500'000'000);
  EXPECT_EQ(nanoseconds(".25"), 250'000'000);
  EXPECT_EQ(nanoseconds("1:30"), 90'000'000'000);
  EXPECT_EQ(nanoseconds("1:02:03.0004"), 3'723'000'400'000);
  EXPECT_EQ(nanoseconds("100:00"), 6'000'000'000'000);
  for (const char* wrong :
       {"", ".", "1.", "-1", "+1", "1e3", "1:60", "1:2:3:4", "1::2", ":5", "x", "1 ", "12345678901"})
    EXPECT_EQ(nanoseconds(wrong), -1) << wrong;
}

TEST_F(Trim, SavesAPartBesideTheMovie) {
  bring("basic.mp4", "My talk.MP4");
  Outcome outcome = trim({"My talk.MP4", "--from", "10.5", "--to", "0:13.5"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "My talk trimmed.MP4: 3.000 s, from 10.500 to 13.500\n");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_NEAR(length("My talk trimmed.MP4"), 3, 1e-4);

  // The end is the movie's when none is given, or a later one.
  outcome = trim({"My talk.MP4", "--to", "1:00:00", "--from", "59", "-o", "end"});
  EXPECT_EQ(outcome.output, "end: 1.000 s, from 59.000 to 60.000\n");
  EXPECT_EQ(files(), (std::vector<std::string>{"My talk trimmed.MP4", "My talk.MP4", "end"}));
}

TEST_F(Trim, SaysWhichTracksHaveNoPlaceInTheCopy) {
  // Subtitles that are pictures, two empty ones; those of text come along.
  folder_.write("text.srt", "1\n00:00:00,500 --> 00:00:01,500\nHello\n");
  folder_.write("pictures.sup", std::string("PG\0\1\x5f\x90\0\0\0\0\x80\0\0PG\0\2\xbf\x20\0\0\0\0\x80\0\0", 26));
  const std::string inputs = "cd '" + folder_.path() + "' && ffmpeg -nostdin -v error -i '" +
                             recordings::path("basic.mkv") + "' -i text.srt -i pictures.sup -t 3 -map 0 -map 2 ";
  for (const auto& [arguments, track] :
       {std::pair{"-map 1 -c copy -metadata:s:s:0 language=deu a.mkv", "track 3 (subtitles, hdmv_pgs_subtitle, deu)"},
        {"-c copy a.ts", "track 258 (data, bin_data)"}}) {
    ASSERT_EQ(std::system((inputs + arguments).c_str()), 0);
    const std::string movie = std::string(arguments).substr(std::string(arguments).rfind(' ') + 1);
    const Outcome outcome = trim({movie, "--to", "2", "--force", "-o", "a.mp4"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, std::string("zevanti: left out, as an MP4 file can't hold it: ") + track + "\n");
  }
}

TEST_F(Trim, NamesTheFileAfterWhatIsInIt) {
  bring("basic.mp4", "a.mp4");
  bring("basic.mp4", "unnamed");
  bring("basic.mkv", "clip.mkv");
  bring("basic.mkv", "misnamed.mov");
  std::string quickTime = contentOf(recordings::path("basic.mp4"));
  quickTime.replace(8, 4, "qt  ");
  for (const char* name : {"q.mov", "r", "q.mp4"}) folder_.write(name, quickTime);
  // Nine seconds of 16 bits, 8000 a second, as they are: nothing for MP4.
  constexpr char head[] = "RIFF\xA4\x32\2\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0\2\0\x10\0data\x80\x32\2";
  folder_.write("sound.wav", std::string(head, sizeof head) + std::string(144'000, '\0'));
  const std::string longest = std::string(251, 'x') + ".mp4";
  bring("basic.mp4", longest);
  const std::pair<std::string, std::string> written[] = {{"a.mp4", "a trimmed.mp4"},
                                                         {"unnamed", "unnamed trimmed.mp4"},
                                                         {"clip.mkv", "clip trimmed.mp4"},
                                                         {"q.mov", "q trimmed.mov"},
                                                         {"misnamed.mov", "misnamed trimmed.mp4"},
                                                         {"q.mp4", "q trimmed.mp4"},
                                                         {"r", "r trimmed.mov"},
                                                         {"sound.wav", "sound trimmed.mov"},
                                                         {"./a.mp4", "./a trimmed.mp4"},
                                                         {longest, std::string(243, 'x') + " trimmed.mp4"}};
  for (const auto& [movie, name] : written) {
    const Outcome outcome = trim({movie, "--from=7", "--to=8", "--force"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find(':')), name);
    EXPECT_NEAR(length(name), 1, 0.03);
  }

  const struct {
    const char *movie, *output, *words;
  } refused[] = {{"a.mp4", "b.gif", "can't write a .gif file: the copy of “a.mp4” is an MP4 movie"},
                 {"a.mp4", "b.mov", "ends in .mp4 or .m4v"},
                 {"clip.mkv", "b.mkv", "“clip.mkv” is an MP4 movie"},
                 {"misnamed.mov", "b.mov", "is an MP4 movie"},
                 {"q.mov", "b.mp4", "is a QuickTime movie; give a name that ends in .mov"}};
  for (const auto& each : refused) {
    const Outcome outcome = trim({each.movie, "--to", "1", "-o", each.output});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find(each.words), std::string::npos) << outcome.errors;
    EXPECT_FALSE(fs::exists(folder_ / each.output));
  }
}

TEST_F(Trim, ReplacesOnlyWhatItIsTold) {
  bring("basic.mp4", "a.mp4");
  fs::create_hard_link(folder_ / "a.mp4", folder_ / "same.mp4");
  const std::string before = contentOf(folder_ / "a.mp4");
  folder_.write("a trimmed.mp4", "precious");
  fs::create_directory(folder_ / "folder.mp4");

  Outcome outcome = trim({"a.mp4", "--to", "2"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("--force"), std::string::npos) << outcome.errors;
  EXPECT_EQ(contentOf(folder_ / "a trimmed.mp4"), "precious");
  for (const char* itself : {"a.mp4", "./a.mp4", "same.mp4", "folder.mp4"}) {
    outcome = trim({"a.mp4", "--to", "2", "--force", "-o", itself});
    EXPECT_EQ(outcome.status, 1) << itself;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
  }
  EXPECT_EQ(contentOf(folder_ / "a.mp4"), before);

  outcome = trim({"a.mp4", "--to", "2", "--force"});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_NEAR(length("a trimmed.mp4"), 2, 1e-4);
  EXPECT_EQ(files().size(), 4U);

  // Of a link the link itself: what it points to was not named.
  folder_.write("precious.mp4", "precious");
  fs::create_symlink("precious.mp4", folder_ / "link.mp4");
  EXPECT_EQ(trim({"a.mp4", "--to", "2", "-o", "link.mp4"}).status, 1);
  EXPECT_EQ(trim({"a.mp4", "--to", "2", "--force", "-o", "link.mp4"}).status, 0);
  EXPECT_FALSE(fs::is_symlink(folder_ / "link.mp4"));
  EXPECT_NEAR(length("link.mp4"), 2, 1e-4);
  EXPECT_EQ(contentOf(folder_ / "precious.mp4"), "precious");
}

TEST_F(Trim, SaysWhatIsWrongInOneLine) {
  bring("basic.mp4", "a.mp4");
  bring("lossless.mkv", "lossless.mkv");
  bring("basic.mkv", "cut off.mkv");
  fs::resize_file(folder_ / "cut off.mkv", 700'000);
  folder_.write("text.mp4", "Shopping list\n");
  struct Case {
    std::vector<std::string> arguments;
    int status;
    const char* word;
  };
  folder_.write("empty.mp4", "");
  ASSERT_EQ(mkfifo((folder_ / "pipe.mp4").c_str(), 0600), 0);
  const std::string name = "a\nb\x1b[31m\xff.mp4", longest(256, 'x');
  folder_.write(name, "text");
  const Case cases[] = {
      {{"missing.mp4", "--to", "1"}, 1, "“missing.mp4” can't be opened: No such file or directory"},
      {{"text.mp4", "--to", "1"}, 1, "“text.mp4”"},
      {{"empty.mp4", "--to", "1"}, 1, "“empty.mp4” is empty."},
      {{".", "--to", "1"}, 1, "“.” is a folder."},
      {{"pipe.mp4", "--to", "1"}, 1, "“pipe.mp4” is a pipe or a device, not a file."},
      {{"/dev/null", "--to", "1", "-o", "b.mp4"}, 1, "“/dev/null” is a pipe or a device, not a file."},
      {{name, "--to", "1"}, 1, "“a\\nb\\x1b[31m\\xff.mp4” "},
      {{"lossless.mkv", "--to", "1"}, 1, "ffv1"},
      {{"a.mp4", "--from", "60"}, 1, "“a.mp4” ends at 1:00.000: there is nothing to save from 1:00.000 on"},
      {{"a.mp4", "--from", "61", "--to", "1:01:02.5"}, 1, "from 1:01.000 on"},
      {{"cut off.mkv", "--from", "6", "--to", "8"}, 1, "holds nothing between 0:06.000 and 0:08.000, though it says"},
      {{"a.mp4", "--to", "1", "-o", "missing/b.mp4"}, 1, "there is no folder “missing”; make it first"},
      {{"a.mp4", "--to", "1", "-o", "text.mp4/b.mp4"}, 1, "“text.mp4” is not a folder"},
      {{"a.mp4", "--to", "1", "-o", "b/"}, 1, "“b/” is the name of a folder"},
      {{"a.mp4", "--to", "1", "-o", longest}, 1, "File name too long"},
      {{"a.mp4", "--to", "1", "--force", "-o", "pipe.mp4"}, 1, "“pipe.mp4” is not a file"},
      {{"a.mp4"}, 2, "give --from, --to or both"},
      {{"a.mp4", "--from", "2", "--to", "1"}, 2, "0:01.000 is not later than 0:02.000"},
      {{"a.mp4", "--from", "2", "--to", "2"}, 2, "--to must be later than --from"},
      {{"a.mp4", "--to", "0"}, 2, "--to must be later than --from"},
      {{"a.mp4", "--from", "2", "--to", "2.0000001"}, 2, "shorter than a millisecond"},
      {{"a.mp4", "--from", "-2", "--to", "1"}, 2, "--from -2 lies before the beginning"},
      {{"a.mp4", "--to", "soon"}, 2, "not “soon”"},
      {{"a.mp4", "b.mp4", "--to", "1"}, 2, "“b.mp4” is too many"},
      {{"--to", "1"}, 2, "no movie"},
      {{"a.mp4", "--to"}, 2, "the option “--to” takes a value"},
      {{"a.mp4", "--to", "1", "-o", "-"}, 2, "standard output"},
      {{"a.mp4", "--to", "1", "-o", "--force"}, 2, "./--force"},
      {{"a.mp4", "--to", "1", "--force=yes"}, 2, "“--force=yes” takes no value"},
      {{"-a.mp4", "--to", "1"}, 2, "unknown option “-a.mp4”; put -- before a movie of that name, or write ./-a.mp4\n"},
      {{"a.mp4", "--fast"}, 2, "unknown option “--fast”\n"}};
  for (const Case& each : cases) {
    const Outcome outcome = trim(each.arguments);
    EXPECT_EQ(outcome.status, each.status) << outcome.errors;
    EXPECT_NE(outcome.errors.find(each.word), std::string::npos) << each.word << ": " << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), each.status) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
  }
  EXPECT_EQ(files().size(), 7U);

  const Outcome outcome = trim({"--to", "2", "--", "-a.mp4"});
  EXPECT_EQ(outcome.errors, "zevanti: “-a.mp4” can't be opened: No such file or directory\n");
  fs::copy_file(folder_ / "a.mp4", folder_ / "-a.mp4");
  EXPECT_EQ(trim({"--to", "2", "--", "-a.mp4"}).output, "-a trimmed.mp4: 2.000 s, from 0.000 to 2.000\n");
}

}  // namespace
