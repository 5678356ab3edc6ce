#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/host/HostProgram.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// One line of the program's own, for a person.
void expectOneLine(const std::string& errors, const std::string& part) {
  EXPECT_TRUE(errors.starts_with("zevanti: ")) << errors;
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
  EXPECT_NE(errors.find(part), std::string::npos) << errors;
}

/// It does nothing but say so.
void expectRefusal(const HostProgram::Result& result, const std::string& part) {
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "");
  expectOneLine(result.errors, part);
}

/// The first fragment of a recording, with a number of a track that can't be.
std::string withoutTrackNumber() {
  std::string movie = contentOf(recordings::path("fragmented.mp4"));
  movie.resize(movie.find("moof", movie.find("moof") + 4) - 4);
  movie[movie.find("tkhd") + 16] = '\x80';
  return movie;
}

TEST(Host, RefusesWhatIsNoMovieAndMakesNothing) {
  HostProgram host;
  mkfifo((host.folder() / "pipe").c_str(), 0600);
  const std::string text = host.folder().write("notes.txt", "A text about a movie.\n");
  host.folder().write("list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:5,\n" + host.movie() + "\n");
  host.folder().write("list.mp4", "ffconcat version 1.0\nfile '" + host.movie() + "'\n");
  std::string noise;
  for (unsigned i = 0, state = 1; i < 300000; ++i)
    noise += static_cast<char>((state = state * 1103515245 + 12345) >> 16);
  const struct {
    std::string path, reason;
  } cases[] = {{host.folder() / "missing.mp4", "No such file"},
               {host.folder().path(), "folder"},
               {host.folder().write("empty.mp4", ""), "empty"},
               {host.folder() / "pipe", "not a file"},
               {text, "not a movie"},
               {host.folder() / "list.m3u8", "not a movie"},
               {host.folder() / "list.mp4", "not a movie"},
               {host.folder().write("noise.mp4", noise), "not a movie"},
               {host.folder().write("numbers.mp4", withoutTrackNumber()), "damaged"},
               {recordings::path("text.mp4"), "movie"},
               {recordings::path("truncated.mp4"), "movie"}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.path);
    const auto result = host.run("finish", {each.path});
    expectRefusal(result, each.reason);
    EXPECT_NE(result.errors.find(fs::path(each.path).filename().string()), std::string::npos) << result.errors;
    EXPECT_FALSE(fs::exists(host.cacheFolder()));
  }
}

TEST(Host, SaysSoWhenTheMovieMayNotBeRead) {
  HostProgram host;
  host.dropPrivileges();
  std::string movie = host.movie();
  chmod(movie.c_str(), 0);
  expectRefusal(host.run("finish", {movie}), "Permission denied");
  EXPECT_FALSE(fs::exists(host.cacheFolder()));
}

TEST(Host, WrongOptionsAreNamed) {
  HostProgram host;
  const std::string movie = host.movie();
  std::vector<std::vector<std::string>> cases = {{}, {movie, movie}, {movie, "--app-name"}, {"--bogus", movie}};
  const std::pair<const char*, const char*> wrongValues[] = {
      {"--size", "12"},   {"--size", "0x5"},    {"--size", "12x34x"}, {"--scale", "1,5"},
      {"--scale", "nan"}, {"--idiom", "watch"}, {"--script", "/none"}};
  for (const auto& [option, value] : wrongValues) cases.push_back({option, value, movie});
  for (const auto& arguments : cases) {
    auto result = host.run("finish", arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_NE(result.errors.find("Usage: zevanti"), std::string::npos);
    EXPECT_EQ(result.output, "");
  }
  const auto help = host.run("finish", {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.output.find("--app-name"), std::string::npos);
  EXPECT_EQ(host.run("finish", {"--version"}).output.rfind("zevanti ", 0), 0U);
  EXPECT_FALSE(fs::exists(host.cacheFolder()));
}

TEST(Host, HandsOverThreeValuesAndPrintsWhatWasDone) {
  HostProgram host;
  const std::string movie = host.movie("Ein Film\xFF.mp4"), before = contentOf(movie);
  auto result = host.run("finish", {movie, "--bundle-id", "org.example.app"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output, "UIActivityTypeSaveToCameraRoll\nUIActivityTypeMail\n");
  auto values = host.lastValues();
  // A file's name may be any bytes; a name to show is text.
  EXPECT_TRUE(values[0].starts_with(host.temporaryDirectory() + "/ZVZevanti_")) << values[0];
  EXPECT_TRUE(values[0].ends_with("/Ein Film\xFF.mp4")) << values[0];
  EXPECT_EQ(values[1], "Ein Film\xEF\xBF\xBD");
  EXPECT_EQ(values[2], "org.example.app");
  EXPECT_EQ(values[4], "2") << "the private movie shares the original's content";
  // The editor has removed what it was given.
  EXPECT_EQ(contentOf(movie), before);
  EXPECT_EQ(fs::hard_link_count(movie), 1U);
  EXPECT_TRUE(host.temporaryFiles().empty());
  EXPECT_EQ(fs::status(host.temporaryDirectory()).permissions(), fs::perms::owner_all);

  host.run("finish", {"--app-name", "An App", movie});
  EXPECT_EQ(host.lastValues()[1], "An App");
  EXPECT_EQ(host.lastValues()[2], "");
}

TEST(Host, CopiesWhereALinkCantBeMade) {
  HostProgram host;
  char other[] = "/dev/shm/zevanti-test-XXXXXX";
  struct stat here, there;
  if (!mkdtemp(other) || stat(other, &there) != 0 || stat(host.folder().path().c_str(), &here) != 0 ||
      here.st_dev == there.st_dev)
    GTEST_SKIP() << "no second file system to write to";
  const std::string movie = std::string(other) + "/movie.mp4";
  fs::copy_file(host.movie(), movie);
  auto result = host.run("finish", {movie});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(host.lastValues()[3], std::to_string(fs::file_size(movie)));
  EXPECT_EQ(host.lastValues()[4], "1");
  EXPECT_EQ(contentOf(movie), contentOf(host.movie()));
  EXPECT_TRUE(host.temporaryFiles().empty());
  fs::remove_all(other);
}

TEST(Host, RefusesATemporaryDirectoryThatIsNotItsOwn) {
  HostProgram host;
  const std::string movie = host.movie(), victim = host.folder().write("elsewhere/precious", "mine");
  fs::create_directories(host.cacheFolder());
  fs::create_directory_symlink(host.folder() / "elsewhere", host.temporaryDirectory());
  expectRefusal(host.run("finish", {movie}), "is not a folder");
  EXPECT_TRUE(fs::exists(victim));
  EXPECT_EQ(std::distance(fs::directory_iterator(host.folder() / "elsewhere"), {}), 1);
  fs::remove(host.temporaryDirectory());

  fs::create_directory(host.temporaryDirectory());
  if (geteuid() == 0) {
    ASSERT_EQ(chown(host.temporaryDirectory().c_str(), 65534, 65534), 0);
    expectRefusal(host.run("finish", {movie}), "another user");
    ASSERT_EQ(chown(host.temporaryDirectory().c_str(), 0, 0), 0);
  }
  // Its own, but open to others: closed again.
  fs::permissions(host.temporaryDirectory(), fs::perms::all);
  EXPECT_EQ(host.run("finish", {movie}).status, 0);
  EXPECT_EQ(fs::status(host.temporaryDirectory()).permissions(), fs::perms::owner_all);
}

TEST(Host, NamesNeitherBreakALineNorReachTheTerminal) {
  HostProgram host;
  for (const std::string& name : {std::string("two\nzevanti: lines.mp4"), std::string("\x1b[2J\x07.mp4"),
                                  std::string("%s%n%@.mp4"), std::string("\u202E4pm.mp4"), std::string(255, 'x')}) {
    const auto result = host.run("finish", {host.folder().write(name, "no movie")});
    expectRefusal(result, "not a movie");
    EXPECT_EQ(result.errors.find_first_of("\x1b\x07"), std::string::npos);
    EXPECT_EQ(result.errors.find("\u202E"), std::string::npos);
  }
  const auto result = host.run("finish", {"--size", "1x\n2", "x"});
  EXPECT_NE(result.errors.find("not '1x\\n2'\nUsage"), std::string::npos) << result.errors;
  EXPECT_EQ(host.run("finish", {host.folder() / std::string(4096, 'x')}).status, 1);
}

TEST(Host, SweepsWhatACrashLeftButNothingThatIsInUse) {
  HostProgram host;
  const std::string movie = host.movie(), outside = host.folder().write("outside/file", "x");
  const fs::path leftOver = host.temporaryDirectory() + "/ZVZevanti_abc";
  fs::create_directories(leftOver);
  fs::create_directory_symlink(host.folder() / "outside", leftOver / "link");
  const std::string trim = host.temporaryDirectory() + "/ZVZevanti_Trim12.m4v";
  fs::copy_file(movie, trim);
  std::ofstream(host.temporaryDirectory() + "/notes.txt") << "somebody's";
  // Neither a trimmed copy that somebody wants to have back nor what is saved there.
  fs::create_symlink(trim, host.folder() / "link.m4v");
  expectOneLine(host.run("finish", {trim}).errors, "move it elsewhere");
  expectOneLine(host.run("finish", {host.folder() / "link.m4v"}).errors, "move it elsewhere");
  expectOneLine(host.run("finish", {"--library", leftOver / "new", movie}).errors, "choose another folder");
  EXPECT_TRUE(fs::exists(trim));

  auto first = host.start("wait", {movie});
  host.values(first);
  EXPECT_EQ(host.temporaryFiles().size(), 2U) << "only the folder of the run, and what isn't ours";
  EXPECT_TRUE(fs::exists(outside));

  // A second editor, while the first one works on a trimmed movie.
  const std::string trimmed = host.temporaryDirectory() + "/ZVZevanti_Trim34.m4v";
  std::ofstream(trimmed) << "x";
  EXPECT_EQ(host.run("finish", {movie}).status, 0);
  EXPECT_TRUE(fs::exists(trimmed));
  EXPECT_TRUE(fs::exists(host.values(first)[0]));

  kill(first.pid, SIGTERM);
  EXPECT_EQ(host.wait(first).status, 128 + SIGTERM);
  EXPECT_EQ(host.temporaryFiles(), std::vector<std::string>{"notes.txt"});
}

TEST(Host, AnEditorThatOutlivesItsHostKeepsItsMovie) {
  HostProgram host;
  const std::string movie = host.movie();
  auto orphan = host.start("orphan", {movie});
  const std::string inUse = host.values(orphan)[0];
  kill(orphan.pid, SIGKILL);
  host.wait(orphan);
  EXPECT_EQ(host.run("finish", {movie}).status, 0);
  EXPECT_TRUE(fs::exists(inUse)) << "swept away under the editor";
  std::ofstream(orphan.name + ".values.end") << "";
  ASSERT_TRUE(waitForFile(orphan.name + ".values.ended"));
}

TEST(Host, SignalsEndItAndLeaveNothing) {
  HostProgram host;
  const std::string movie = host.movie(), before = contentOf(movie);
  for (int number : {SIGINT, SIGTERM, SIGHUP}) {
    auto running = host.start("wait", {movie});
    host.values(running);
    kill(running.pid, number);
    auto result = host.wait(running);
    EXPECT_EQ(result.status, 128 + number);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(host.temporaryFiles().empty());
  }
  // An editor that hangs: the second signal is the last word.
  auto running = host.start("stubborn", {movie});
  host.values(running);
  kill(running.pid, SIGINT);
  usleep(100000);
  EXPECT_EQ(waitpid(running.pid, nullptr, WNOHANG), 0);
  // Where the machine stalls two signals can come as one, so the next ones follow.
  siginfo_t ended{};
  for (int i = 0; i < 100 && ended.si_pid == 0; ++i) {
    kill(running.pid, SIGINT);
    usleep(100000);
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(running.pid), &ended, WEXITED | WNOHANG | WNOWAIT), 0);
  }
  EXPECT_EQ(host.wait(running).status, 128 + SIGINT);
  EXPECT_TRUE(host.temporaryFiles().empty());
  EXPECT_EQ(contentOf(movie), before);
}

TEST(Host, ACrashOfTheEditorIsToldAndTidiedUp) {
  HostProgram host;
  const std::string movie = host.movie(), before = contentOf(movie);
  for (const char* mode : {"crash", "early"}) expectRefusal(host.run(mode, {movie}), "unexpectedly");
  EXPECT_TRUE(host.temporaryFiles().empty());
  EXPECT_EQ(contentOf(movie), before);
  fs::remove(host.folder() / "bin/ZVVideoEditorExtension.appex/ZVVideoEditorExtension");
  expectRefusal(host.run("finish", {movie}), "ZVVideoEditorExtension");
}

}  // namespace
