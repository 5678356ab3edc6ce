#include "tests/movie_tool/TrimProgram.h"

#include <cstdlib>
#include <thread>

namespace {

/// How often a moment that a stalled machine has missed is looked for again.
constexpr int kAttempts = 20;

class TrimSignals : public TrimProgram {
 protected:
  /// What a pseudo terminal has been sent so far.
  static std::string received(int terminal) {
    std::string text;
    char part[4096];
    for (ssize_t count; (count = read(terminal, part, sizeof part)) > 0;) text.append(part, std::size_t(count));
    return text;
  }
};

}  // namespace

TEST_F(TrimSignals, InterruptedWhileWriting) {
  bring("basic.mp4", "a.mp4");
  folder_.write("b.mp4", "precious");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    bool interrupted = false;
    for (int attempt = 0; attempt < kAttempts && !interrupted; ++attempt) {
      const pid_t pid = start({"a.mp4", "--from", "1", "--to", "59", "-o", "c.mp4"});
      if (stopWhileWriting(pid, "c.mp4")) {
        kill(pid, signal);
        kill(pid, SIGCONT);
        const Outcome outcome = wait(pid);
        interrupted = outcome.status != 0;  // else the file got its name before the signal was noticed
        if (interrupted) {
          EXPECT_EQ(outcome.status, 128 + signal);
          EXPECT_EQ(outcome.errors, "zevanti: interrupted; nothing was written\n");
          EXPECT_EQ(outcome.output, "");
          EXPECT_EQ(files(), (std::vector<std::string>{"a.mp4", "b.mp4"}));
        }
      }
      std::filesystem::remove(folder_ / "c.mp4");
    }
    EXPECT_TRUE(interrupted) << signal;
  }
  EXPECT_EQ(contentOf(folder_ / "b.mp4"), "precious");
}

TEST_F(TrimSignals, InterruptedAtAnyMoment) {
  bring("basic.mp4", "a.mp4");
  for (const int milliseconds : {0, 5, 20, 40, 60, 80, 120}) {
    const pid_t pid = start({"a.mp4", "--from", "1", "--to", "59", "-o", "b.mp4"});
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    kill(pid, SIGINT);
    const Outcome outcome = wait(pid);
    if (outcome.status == 0) {
      EXPECT_NEAR(length("b.mp4"), 58, 1e-3);
      std::filesystem::remove(folder_ / "b.mp4");
      continue;
    }
    // Before the work begins it has nothing to tidy up.
    EXPECT_TRUE(outcome.status == 128 + SIGINT || outcome.status == 1000 + SIGINT) << outcome.status;
    EXPECT_EQ(files(), std::vector<std::string>{"a.mp4"});
  }
}

TEST_F(TrimSignals, ShowsProgressOnATerminalAndTakesItAway) {
  bring("basic.mp4", "a.mp4");
  std::string shown;
  for (int attempt = 0; attempt < kAttempts && shown.empty(); ++attempt) {
    const FileDescriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(terminal && grantpt(terminal.get()) == 0 && unlockpt(terminal.get()) == 0);
    FileDescriptor screen(open(ptsname(terminal.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(screen);
    const pid_t pid = start({"a.mp4", "--to", "50", "-o", "b.mp4"}, screen.get());
    if (stopWhileWriting(pid, "b.mp4")) {
      std::this_thread::sleep_for(std::chrono::milliseconds(600));
      kill(pid, SIGCONT);
      const Outcome outcome = wait(pid);
      EXPECT_EQ(outcome.status, 0);
      EXPECT_EQ(outcome.output, "b.mp4: 50.000 s, from 0.000 to 50.000\n");
      shown = received(terminal.get());  // empty when all was done at once
    }
    std::filesystem::remove(folder_ / "b.mp4");
  }
  EXPECT_TRUE(shown.starts_with("\rTrimming: ")) << shown;
  EXPECT_TRUE(shown.ends_with(" %\r\x1b[K")) << shown;
  EXPECT_EQ(shown.find('\n'), std::string::npos);

  const pid_t pid = start({"a.mp4", "--to", "50", "-o", "b.mp4"});
  if (stopWhileWriting(pid, "b.mp4")) {
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    kill(pid, SIGCONT);
    EXPECT_EQ(wait(pid).errors, "");
  }
}
