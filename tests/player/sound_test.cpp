// Playback when there is nothing to play sound with: it goes on by the clock.

#include "tests/common/Files.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/player/PlayerFixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// A player that plays sound on what a test gives the machine: nothing to begin with.
class Sound : public PlayerFixture {
 protected:
  void SetUp() override {
    std::signal(SIGPIPE, SIG_IGN);  // as the program does; the player may write for a while after a test
    AVPlayer::setConfiguration({.audio = true, .openGL = false});
    setenv("PIPEWIRE_REMOTE", (folder_ / "no-pipewire").c_str(), 1);
    setenv("PULSE_SERVER", ("unix:" + (folder_ / "server")).c_str(), 1);
    setenv("PULSE_RUNTIME_PATH", folder_.path().c_str(), 1);
    setDevice("");
  }
  void TearDown() override {
    PlayerFixture::TearDown();
    AVPlayer::setConfiguration({.audio = false, .openGL = false});
  }

  /// What the sound library is told of the machine.
  void setDevice(const std::string& description) {
    static int count = 0;
    setenv("ALSA_CONFIG_PATH", folder_.write("alsa" + std::to_string(++count), description).c_str(), 1);
  }

  /// The time goes on as the clock does, and the pictures with it.
  void expectPlays() {
    EXPECT_TRUE(succeedsOnce([&]() -> std::string {
      if (player->rate() != 1) return "the player does not play";
      const auto picture = shown();
      const Run run = playFor(0.7);
      return run.isInRealTime(0.2) && shown() != picture ? "" : run.inWords();
    }));
  }
  void play() {
    ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4"));
    player->play();
    ASSERT_TRUE(waitUntil([&] { return time() > 0.3; })) << time();
  }

  /// The whole process stands still, as when the computer sleeps or somebody stops it in a terminal.
  static void standStill(double seconds) {
    const pid_t waker = fork();
    if (waker == 0) {
      // Only what is safe in a copy of a program with threads.
      const pid_t sleeper = getppid();
      timespec rest{time_t(seconds), long(std::fmod(seconds, 1) * 1e9)};
      kill(sleeper, SIGSTOP);
      while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
      }
      kill(sleeper, SIGCONT);
      _exit(0);
    }
    while (waitpid(waker, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  /// What was not played while everything stood still is played now: nothing of it is skipped, pictures and time agree,
  /// and a pause stands.
  void expectGoesOnAfterStandingStill() {
    EXPECT_TRUE(succeedsOnce([&]() -> std::string {
      const double from = time();
      const auto began = std::chrono::steady_clock::now();
      standStill(kStandstill);
      runFor(0.5);
      const Run run{time() - from, secondsSince(began) - kStandstill};
      return run.isInRealTime(0.3) ? "" : run.inWords() + " beside the standstill";
    }));
    expectPlays();
    EXPECT_TRUE(succeedsOnce([&]() -> std::string {
      const auto picture = shown();
      const double behind = time() - picture.value_or(0) / 30.0;
      return picture && std::abs(behind) < 0.15 ? "" : "the picture is " + std::to_string(behind) + " s behind";
    }));
    player->pause();
    const double stands = time();
    standStill(1);
    runFor(0.2);
    EXPECT_EQ(time(), stands);
    player->play();
    expectPlays();
  }

  static constexpr double kStandstill = 3;  // seconds
  ScratchFolder folder_;
};

TEST_F(Sound, TheMovieGoesOnAfterAStandstillAndToItsEnd) {
  // None, and one that takes what it gets at the speed of sound.
  for (const char* device : {"", "pcm.!default { type null }\n"}) {
    SCOPED_TRACE(device);
    setDevice(device);
    ASSERT_NO_FATAL_FAILURE(play());
    expectGoesOnAfterStandingStill();
    seek(57);
    ASSERT_TRUE(waitForSeek());
    EXPECT_TRUE(waitUntil([&] { return player->rate() == 0; }));
  }
}

// The device is a pipe. A reader of it is the loudspeaker, which is pulled out.
TEST_F(Sound, WithADeviceThatBreaksTheMovieGoesOn) {
  const std::string pipe = folder_ / "loudspeaker";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  setDevice("pcm.!default { type file slave.pcm { type null } file \"" + pipe + "\" format raw }\n");
  int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::size_t heard = 0;
  const auto listen = [&] {
    char bytes[65536];
    for (ssize_t length; (length = read(reader, bytes, sizeof bytes)) > 0;) heard += std::size_t(length);
    return heard > 100'000;
  };
  ASSERT_NO_FATAL_FAILURE(openReady("basic.mp4"));
  player->play();
  ASSERT_TRUE(waitUntil(listen)) << "there is sound at first; bytes: " << heard << ", at " << time();
  testing::internal::CaptureStderr();  // the library complains of each write
  ::close(reader);
  expectPlays();
  seek(30);
  const bool arrived = waitForSeek();
  expectPlays();
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Broken pipe"), std::string::npos);
  EXPECT_TRUE(arrived);
}

TEST_F(Sound, WithASoundServerThatDiesTheMovieGoesOn) {
  if (std::system("command -v pulseaudio >/dev/null") != 0) GTEST_SKIP() << "no sound server is installed";
  const std::string log = folder_ / "log";
  const pid_t server = fork();
  if (server == 0) {
    dup2(::open(log.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
    unsetenv("PULSE_SERVER");
    const std::string protocol = "module-native-protocol-unix auth-anonymous=1 socket=" + (folder_ / "server");
    execlp("pulseaudio", "pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
           "--disable-shm=yes", "-L", "module-null-sink", "-L", protocol.c_str(), "-v", nullptr);
    _exit(127);
  }
  ASSERT_TRUE(waitUntil([&] { return fs::exists(folder_ / "server"); })) << contentOf(log);
  ASSERT_NO_FATAL_FAILURE(play());
  EXPECT_TRUE(waitUntil([&] { return contentOf(log).find("Zevanti") != std::string::npos; })) << contentOf(log);
  expectPlays();
  kill(server, SIGKILL);
  waitpid(server, nullptr, 0);
  expectPlays();
  seek(30);
  ASSERT_TRUE(waitForSeek());
  expectPlays();
}

}  // namespace
