#include "movie_tool/MovieTime.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace fs = std::filesystem;

namespace {

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The program in a folder of its own.
class Trim : public testing::Test {
 protected:
  struct Outcome {
    int status = -1;  ///< 1000 and the number for a signal
    std::string output, errors;
  };

  pid_t start(const std::vector<std::string>& arguments) {
    std::vector<std::string> words{ZEVANTI_BUILD_DIR "/zevanti", "trim"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const pid_t pid = fork();
    if (pid != 0) return pid;
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(open((logs_ / "output").c_str(), flags, 0600), STDOUT_FILENO);
    dup2(open((logs_ / "errors").c_str(), flags, 0600), STDERR_FILENO);
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (chdir(folder_.path().c_str()) == 0) execv(pointers[0], pointers.data());
    _exit(127);
  }

  Outcome wait(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contents(logs_ / "output"),
            contents(logs_ / "errors")};
  }

  Outcome trim(const std::vector<std::string>& arguments) { return wait(start(arguments)); }

  /// A copy of a recording in the folder.
  void bring(const std::string& recording, const std::string& name) {
    fs::copy_file(recordings::path(recording), folder_ / name);
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.path())) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  double length(const std::string& name) const {
    const FileDescriptor file(open((folder_ / name).c_str(), O_RDONLY));
    NSErrorPtr error;
    const auto movie = isobmff::readMovie(file.get(), name, &error);
    return movie ? isobmff::playerDuration(*movie) : 0;
  }

  ScratchFolder folder_, logs_;
};

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

  // Other containers become MP4; the end is the movie's when none is given, or a later one.
  bring("basic.mkv", "clip.mkv");
  outcome = trim({"--from=7", "clip.mkv"});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_EQ(outcome.output.substr(0, outcome.output.find(':')), "clip trimmed.mp4");
  EXPECT_NEAR(length("clip trimmed.mp4"), 3, 0.03);
  outcome = trim({"My talk.MP4", "--to", "1:00:00", "--from", "59", "-o", "end.mov"});
  EXPECT_EQ(outcome.output, "end.mov: 1.000 s, from 59.000 to 60.000\n");
  EXPECT_EQ(files(), (std::vector<std::string>{"My talk trimmed.MP4", "My talk.MP4", "clip trimmed.mp4", "clip.mkv",
                                               "end.mov"}));
}

TEST_F(Trim, ReplacesOnlyWhatItIsTold) {
  bring("basic.mp4", "a.mp4");
  fs::create_hard_link(folder_ / "a.mp4", folder_ / "same.mp4");
  const std::string before = contents(folder_ / "a.mp4");
  folder_.write("a trimmed.mp4", "precious");
  fs::create_directory(folder_ / "folder.mp4");

  Outcome outcome = trim({"a.mp4", "--to", "2"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("--force"), std::string::npos) << outcome.errors;
  EXPECT_EQ(contents(folder_ / "a trimmed.mp4"), "precious");
  for (const char* itself : {"a.mp4", "./a.mp4", "same.mp4", "folder.mp4"}) {
    outcome = trim({"a.mp4", "--to", "2", "--force", "-o", itself});
    EXPECT_EQ(outcome.status, 1) << itself;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
  }
  EXPECT_EQ(contents(folder_ / "a.mp4"), before);

  outcome = trim({"a.mp4", "--to", "2", "--force"});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_NEAR(length("a trimmed.mp4"), 2, 1e-4);
  EXPECT_EQ(files().size(), 4U);
}

TEST_F(Trim, SaysWhatIsWrongInOneLine) {
  bring("basic.mp4", "a.mp4");
  bring("lossless.mkv", "lossless.mkv");
  folder_.write("text.mp4", "Shopping list\n");
  struct Case {
    std::vector<std::string> arguments;
    int status;
    const char* word;
  };
  const Case cases[] = {{{"missing.mp4", "--to", "1"}, 1, "missing.mp4"},
                        {{"text.mp4", "--to", "1"}, 1, "text.mp4"},
                        {{".", "--to", "1", "-o", "b.mp4"}, 1, "."},
                        {{"a.mp4", "--from", "61"}, 1, "behind"},
                        {{"lossless.mkv", "--to", "1"}, 1, "ffv1"},
                        {{"a.mp4", "--to", "1", "-o", "missing/b.mp4"}, 1, "missing/b.mp4"},
                        {{"a.mp4"}, 2, "--from"},
                        {{"a.mp4", "--from", "2", "--to", "1"}, 2, "later"},
                        {{"a.mp4", "--to", "soon"}, 2, "soon"},
                        {{"a.mp4", "b.mp4", "--to", "1"}, 2, "b.mp4"},
                        {{"--to", "1"}, 2, "no movie"},
                        {{"a.mp4", "--to"}, 2, "--to"},
                        {{"a.mp4", "--fast"}, 2, "--fast"}};
  for (const Case& each : cases) {
    const Outcome outcome = trim(each.arguments);
    EXPECT_EQ(outcome.status, each.status) << outcome.errors;
    EXPECT_NE(outcome.errors.find(each.word), std::string::npos) << each.word << ": " << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), each.status) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
  }
  EXPECT_EQ(files().size(), 3U);
}

TEST_F(Trim, LeavesNothingBehindWhenItIsInterrupted) {
  bring("basic.mp4", "a.mp4");
  int interrupted = 0;
  for (int milliseconds : {0, 5, 20, 40, 80, 160}) {
    const pid_t pid = start({"a.mp4", "--from", "1", "--to", "59", "-o", "b.mp4"});
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    kill(pid, SIGINT);
    const Outcome outcome = wait(pid);
    const bool whole = outcome.status == 0;
    if (!whole) {
      ++interrupted;
      EXPECT_TRUE(outcome.status == 128 + SIGINT || outcome.status == 1000 + SIGINT) << outcome.status;
      EXPECT_EQ(files(), std::vector<std::string>{"a.mp4"});
    } else {
      EXPECT_NEAR(length("b.mp4"), 58, 1e-3);
      fs::remove(folder_ / "b.mp4");
    }
  }
  EXPECT_GT(interrupted, 0);
}

}  // namespace
