// What names, other processes and readers of logs may try.

#include "Desktop.h"
#include "MovieReader.h"
#include "ProcessFamily.h"
#include "VideoService.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::vector<pid_t> family(const Session& session) {
  return ProcessFamily("XDG_CACHE_HOME=" + session.cache.string(), session.process()).members();
}

/// The lines of the kernel's list of local sockets, by inode.
std::map<std::string, std::string> localSockets() {
  std::map<std::string, std::string> sockets;
  std::ifstream list("/proc/net/unix");
  for (std::string line; std::getline(list, line);) {
    std::istringstream words(line);
    std::string number, references, protocol, flags, type, state, inode;
    if (words >> number >> references >> protocol >> flags >> type >> state >> inode) sockets[inode] = line;
  }
  return sockets;
}

void expectPlainLines(const std::string& text) {
  for (const unsigned char c : text) {
    if (c != '\n' && (c < 0x20 || c == 0x7F)) ADD_FAILURE() << "control character " << int(c) << " in " << text;
  }
  EXPECT_EQ(text.find("\u202E"), std::string::npos) << text;
}

struct Ended {
  int status;  ///< 128 + N after signal N
  std::string said;
};

/// Runs a program as a user without privileges; what it prints, on either stream, goes to a file in `folder`.
Ended runAsNobody(const fs::path& folder, std::vector<std::string> words, const std::string& variable) {
  const fs::path said = folder / "said";
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    const int out = open(said.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    if (!variable.empty()) putenv(strdup(variable.c_str()));
    setenv("XDG_CACHE_HOME", (folder / "their cache").c_str(), 1);
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) _exit(126);
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contentOf(said)};
}

}  // namespace

// Whoever calls such a program has a file read, or written, that is not theirs.
TEST(Neighbours, NoProgramLendsItsOwnersRights) {
#ifdef ZEVANTI_SANITIZED
  GTEST_SKIP() << "a sanitizer's runtime does not start that way";
#endif
  Session session;
  struct statvfs disk {};
  if (geteuid() != 0 || statvfs(session.folder().c_str(), &disk) != 0 || (disk.f_flag & ST_NOSUID) != 0)
    GTEST_SKIP() << "a set-user-ID program takes root to make, and a disk that has such";
  const fs::path secret = session.copyOf("basic.mp4", "secret.mp4"), open = session.copyOf("basic.mp4");
  fs::permissions(session.folder(), fs::perms(0777));
  fs::permissions(secret, fs::perms::owner_read);
  fs::permissions(open, fs::perms(0644));
  // A connection as a host gives it to the extension.
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const std::string connection = "ZEVANTI_CONNECTION=" + std::to_string(ends[0]);
  const struct {
    std::string path;
    std::vector<std::string> arguments;
    std::string variable;
    int usual;  ///< with the caller's own rights, and a movie that is theirs; -1 where that takes more than this
  } programs[] = {{"zevanti", {"--offscreen", "MOVIE"}, "", -1},
                  {"zevanti", {"info", "MOVIE"}, "", -1},
                  {"zevanti-movie", {"info", "MOVIE"}, "", 0},
                  {"zevanti-movie", {"trim", "--from", "1", "-o", "TRIMMED", "MOVIE"}, "", 0},
                  {"zevanti-probe", {"MOVIE"}, "", 0},
                  {"zevanti-probe", {"--", "MOVIE"}, "", 0},
                  {"ZVVideoEditorExtension.appex/ZVVideoEditorExtension", {}, connection, -1}};
  for (const auto& each : programs) {
    SCOPED_TRACE(each.path);
    const fs::path program = session.folder() / fs::path(each.path).filename();
    const fs::path trimmed = session.folder() / "trimmed.m4v";
    fs::copy_file(fs::path(ZEVANTI_BUILD_DIR) / each.path, program, fs::copy_options::overwrite_existing);
    const auto run = [&](const fs::path& movie) {
      std::vector<std::string> words{program.string()};
      for (const std::string& word : each.arguments)
        words.push_back(word == "MOVIE" ? movie.string() : word == "TRIMMED" ? trimmed.string() : word);
      return runAsNobody(session.folder(), words, each.variable);
    };
    ASSERT_EQ(chmod(program.c_str(), 0755), 0);
    if (each.usual >= 0) {
      const Ended usual = run(open);
      EXPECT_EQ(usual.status, each.usual) << usual.said;
    }
    fs::remove(trimmed);
    fs::remove_all(session.folder() / "their cache");
    ASSERT_EQ(chmod(program.c_str(), 04755), 0);
    for (const fs::path& movie : {secret, open}) {
      const Ended refused = run(movie);
      EXPECT_EQ(refused.status, 1);
      EXPECT_NE(refused.said.find("with another user's rights; take the set-user-ID mark off"), std::string::npos)
          << refused.said;
      EXPECT_EQ(std::count(refused.said.begin(), refused.said.end(), '\n'), 1) << refused.said;
      EXPECT_FALSE(fs::exists(trimmed));
      EXPECT_FALSE(fs::exists(session.folder() / "their cache"));
    }
  }
  close(ends[0]);
  close(ends[1]);
}

TEST(Neighbours, NobodyElseReachesTheConnectionOfHostAndEditor) {
  Session session;
  session.start(session.copyOf("basic.mp4"), "wait ready\ntime\nwait file " + (session.folder() / "go").string() +
                                                 " 90\ntap Cancel\nwait finished\n");
  ASSERT_TRUE(session.waitForOutput("\n")) << session.errors();
  const auto sockets = localSockets();
  int connected = 0;
  for (const pid_t process : family(session)) {
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
      std::error_code error;
      const std::string target = fs::read_symlink(entry.path(), error).string();
      if (!target.starts_with("socket:[")) continue;
      const auto found = sockets.find(target.substr(8, target.size() - 9));
      if (found == sockets.end()) continue;
      ++connected;
      // Nothing that takes a second connection, and no name for others to find it by.
      EXPECT_EQ(found->second.find(" 00010000 "), std::string::npos) << found->second;
      EXPECT_TRUE(std::regex_search(found->second, std::regex(" 0001 03 +[0-9]+ *$"))) << found->second;
    }
  }
  EXPECT_GE(connected, 2);
  std::ofstream(session.folder() / "go").flush();
  EXPECT_EQ(session.wait(), 0) << session.errors();
}

TEST(Neighbours, NamesMayHoldAnything) {
  const std::string longest(251, 'x');
  const struct {
    std::string file, application, title, saved;
  } cases[] = {
      {"a\nzevanti: all is well.mp4", "App\nUIActivityTypeMail", "App UIActivityTypeMail", "a-zevanti- all is well"},
      {"%@ %s %n %1$@.mp4", "%@ %s %n %1$@", "%@ %s %n %1$@", "%@ %s %n %1$@"},
      {"gpj.\u202E4pm\x1b[2J.mp4", "App \u202Eppa\x1b]0;x\x07", "App ppa ]0;x ", "gpj.\u202E4pm-[2J"},
      {longest + ".mp4", std::string(4096, 'n'), std::string(300, 'n') + "…", std::string(200, 'x')},
      {"-rf.mp4", "../../../etc/passwd", "../../../etc/passwd", "-rf"},
      {"..mp4.mp4", std::string(199, 'n') + "ß/é", std::string(199, 'n') + "ß/é", "mp4"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.title);
    Session session;
    session.options = {"--app-name", each.application};
    const fs::path movie = session.copyOf("basic.mp4", each.file);
    // An export into the temporary directory, a copy in the library, a failure's sentence.
    ASSERT_EQ(session.run(movie,
                          "wait ready\nstate\ndrag end 2\nwait editing\ntap Done\nwait saved 90\n"
                          "state\nshare\nactivity Fax\n"),
              3);
    const auto states = session.states();
    ASSERT_EQ(states.size(), 2U) << session.output();
    expectPlainLines(session.output());
    expectPlainLines(session.errors());
    std::istringstream lines(session.errors());
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(line.starts_with("zevanti: ") || line.starts_with("script line ")) << line;
    EXPECT_NE(member(states[0], "topToolBar").find(R"("flexible space", ")" + each.title + R"(", "flexible)"),
              std::string::npos)
        << states[0];

    ASSERT_EQ(session.saved().size(), 1U);
    const fs::path saved = session.saved()[0];
    EXPECT_EQ(saved.parent_path(), session.library());
    EXPECT_LE(saved.filename().string().size(), 255U);
    EXPECT_NEAR(movieDuration(saved), 2, 0.1);
    EXPECT_TRUE(session.leftovers().empty());
    EXPECT_TRUE(fs::exists(movie));
  }
}

TEST(Neighbours, ATokenIsInItsFileAndNowhereElse) {
  Session session;
  const Desktop desktop(session);
  desktop.tell("browser", "");
  // The tokens end in the middle, and are renewed.
  const VideoService service(session, desktop, {"chunk:expire", "start:status=503"});
  for (const char* variable : {"ZEVANTI_TRACE=1", "QT_LOGGING_RULES=*.debug=true", "QT_DEBUG_PLUGINS=1",
                               "G_MESSAGES_DEBUG=all", "SYSTEMD_LOG_LEVEL=debug", "AV_LOG_FORCE_COLOR=1"})
    session.environment.emplace_back(variable);
  session.start(session.copyOf("basic.mp4"),
                "wait ready\nshare\nactivity ZVPublishToYouTube\nform Title Rain\ntap Publish\nwait alert 90\n"
                "state\nwait file " +
                    (session.folder() / "go").string() + " 90\nalert Close\nwait shared\ntap Done\nwait finished 60\n");
  ASSERT_TRUE(session.waitForOutput("}\n", 90)) << session.errors() << service.log();
  ASSERT_EQ(service.videos().size(), 1U) << service.log() << session.errors();
  const fs::path file = desktop.home("state") / "zevanti/publishing-tokens.json";
  const std::string kept = contentOf(file);
  std::vector<std::string> tokens;
  const std::regex token(R"re(_token\\": *\\"([^\\"]+)\\")re");
  for (std::sregex_iterator at(kept.begin(), kept.end(), token), end; at != end; ++at) {
    const std::string found = (*at)[1];
    tokens.push_back(found.substr(found.rfind('_') + 1));  // what no way of writing it changes
    EXPECT_GE(tokens.back().size(), 16U) << kept;
  }
  ASSERT_EQ(tokens.size(), 2U) << kept;
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  std::map<std::string, std::string> texts;
  for (const pid_t process : family(session)) {
    for (const char* part : {"cmdline", "environ"})
      texts["/proc/" + std::to_string(process) + "/" + part] =
          contentOf("/proc/" + std::to_string(process) + "/" + part);
  }
  EXPECT_GE(texts.size(), 4U);
  std::ofstream(session.folder() / "go").flush();
  EXPECT_EQ(session.wait(), 0) << session.errors();
  // Standard output and error, the calls of the desktop, the library, the person's folders.
  for (const auto& entry : fs::recursive_directory_iterator(session.folder())) {
    if (entry.is_regular_file() && entry.path() != file) texts[entry.path()] = contentOf(entry.path());
  }
  EXPECT_NE(texts[session.folder() / "stderr"].find("debug"), std::string::npos) << "the traces are not on";
  for (const auto& [name, text] : texts) {
    for (const std::string& each : tokens) EXPECT_EQ(text.find(each), std::string::npos) << each << " is in " << name;
  }
}
