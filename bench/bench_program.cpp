// Measures the whole program, in a real window on a virtual screen, side by side with mpv; prints a table.
//
//   bench_program ZEVANTI MINUTE-RECORDING HOUR-RECORDING
//
// What is on screen is read from the screen's memory: the recording's pictures carry their number as black and white
// blocks (tests/data/FrameCode.h), of which the second row is looked at: it shows the number's low eight bits.

#include "bench/Program.h"
#include "bench/VirtualScreen.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}
void sleepFor(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

double percentile(std::vector<double> values, double part) {
  if (values.empty()) return NAN;
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1, static_cast<std::size_t>(part * static_cast<double>(values.size())))];
}

/// The low bits of the picture on screen, -1 when there is none.
int pictureOnScreen(const VirtualScreen& screen) {
  constexpr int kY = VirtualScreen::kHeight * 3 / 16;  // the middle of the second row of blocks
  int bits = 0;
  bool parityBlocks[2] = {};
  for (int block = 0; block < 10; ++block) {
    const std::uint32_t colour = screen.pixel(VirtualScreen::kWidth * (2 * block + 1) / 20, kY);
    const bool white = (colour >> 8 & 255) > 127;
    if (block < 8) {
      bits = bits * 2 + white;
    } else {
      parityBlocks[block - 8] = white;
    }
  }
  return parityBlocks[0] != parityBlocks[1] ? bits : -1;
}

bool waitUntil(const std::function<bool()>& reached, double seconds) {
  const auto start = Clock::now();
  while (!reached()) {
    if (secondsSince(start) > seconds) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return true;
}

/// Sends pointer events to the screen. One process for all of them, so that an event costs no start.
class Pointer {
 public:
  explicit Pointer(const VirtualScreen& screen) {
    const std::string command = "DISPLAY=" + screen.display() + " exec xdotool -";
    pipe_ = popen(command.c_str(), "w");
  }
  ~Pointer() { pclose(pipe_); }
  void move(int x, int y) { send("mousemove " + std::to_string(x) + " " + std::to_string(y)); }
  void press() { send("mousedown 1"); }
  void release() { send("mouseup 1"); }

 private:
  void send(const std::string& line) {
    std::fputs((line + "\n").c_str(), pipe_);
    std::fflush(pipe_);
  }
  FILE* pipe_;
};

struct Bench {
  std::string zevanti, minute, hour;

  std::vector<std::string> ours(const std::string& movie) const { return {zevanti, movie}; }
  std::vector<std::string> mpv(const std::string& movie, bool paused) const {
    std::vector<std::string> command = {"mpv",
                                        "--no-config",
                                        "--vo=x11",
                                        "--no-osc",
                                        "--no-border",
                                        "--hwdec=no",
                                        "--geometry=1280x720+0+0",
                                        "--audio-fallback-to-null=yes"};
    if (paused) command.emplace_back("--pause");
    command.push_back(movie);
    return command;
  }

  double secondsToFirstPicture(const std::vector<std::string>& command) const {
    const auto screen = VirtualScreen::start();
    const auto start = Clock::now();
    Program program(command, screen->display());
    if (!waitUntil([&] { return pictureOnScreen(*screen) == 0; }, 10)) return NAN;
    return secondsSince(start);
  }

  void start() const;
  void drag() const;
  void playback() const;
  void paused() const;
  void memory() const;
};

void row(const char* what, double ours, double theirs, double limit, const char* unit) {
  std::printf("%-44s %9.2f %9.2f %7.2f  (at most %.2f)  %s\n", what, ours, theirs, ours / theirs, limit, unit);
}

void Bench::start() const {
  std::vector<double> ourTimes, theirTimes;
  for (int i = 0; i < 7; ++i) {
    ourTimes.push_back(secondsToFirstPicture(ours(minute)) * 1000);
    theirTimes.push_back(secondsToFirstPicture(mpv(minute, true)) * 1000);
  }
  row("start to first picture in the window", percentile(ourTimes, 0.5), percentile(theirTimes, 0.5), 1.5,
      "ms, median of 7; mpv --vo=x11");
}

void Bench::drag() const {
  for (const std::string& movie : {minute, hour}) {
    const auto screen = VirtualScreen::start();
    Program program(ours(movie), screen->display());
    waitUntil([&] { return pictureOnScreen(*screen) == 0; }, 10);
    sleepFor(1);
    Pointer pointer(*screen);
    constexpr int kY = VirtualScreen::kHeight - 19;
    pointer.move(200, kY);
    pointer.press();
    sleepFor(0.3);
    std::vector<double> times;
    int missed = 0;
    for (int i = 0; i < 200; ++i) {
      const int before = pictureOnScreen(*screen);
      const auto start = Clock::now();
      pointer.move(200 + 4 * (i + 1), kY);
      if (waitUntil(
              [&] {
                const int now = pictureOnScreen(*screen);
                return now >= 0 && now != before;
              },
              0.25)) {
        times.push_back(secondsSince(start) * 1000);
      } else {
        ++missed;
      }
      sleepFor(0.016);
    }
    pointer.release();
    std::printf(
        "drag to new picture on screen, %-13s %9.2f median %.2f 95th percentile  (at most 20 and 40)  ms, %d of 200 "
        "moves without a new picture\n",
        movie == minute ? "one minute" : "one hour", percentile(times, 0.5), percentile(times, 0.95), missed);
  }
}

void Bench::playback() const {
  double cost[2] = {};
  int shown[2] = {};
  constexpr double kSeconds = 10;
  for (const int theirs : {0, 1}) {
    const auto screen = VirtualScreen::start();
    Program program(theirs ? mpv(minute, false) : ours(minute), screen->display());
    waitUntil([&] { return pictureOnScreen(*screen) >= 0; }, 10);
    if (!theirs) {
      sleepFor(1);
      Pointer pointer(*screen);
      pointer.move(VirtualScreen::kWidth / 2, VirtualScreen::kHeight / 2);
      pointer.press();
      pointer.release();
      pointer.move(0, VirtualScreen::kHeight / 2);
      sleepFor(0.2);
    }
    sleepFor(1.5);
    const double before = program.processorSeconds();
    const auto start = Clock::now();
    int last = -1;
    while (secondsSince(start) < kSeconds) {
      const int now = pictureOnScreen(*screen);
      shown[theirs] += now != last;
      last = now;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    cost[theirs] = program.processorSeconds() - before;
  }
  row("processor time of playback", cost[0] * 100 / kSeconds, cost[1] * 100 / kSeconds, 1.5,
      "percent of one processor, 1280x720 in software");
  std::printf("%-44s %9d %9d          of %d pictures in %g s\n", "pictures seen on screen", shown[0], shown[1],
              static_cast<int>(kSeconds * 60), kSeconds);
}

void Bench::paused() const {
  double cost[2] = {};
  for (const int theirs : {0, 1}) {
    const auto screen = VirtualScreen::start();
    Program program(theirs ? mpv(minute, true) : ours(minute), screen->display());
    waitUntil([&] { return pictureOnScreen(*screen) >= 0; }, 10);
    sleepFor(3);
    const double before = program.processorSeconds();
    sleepFor(10);
    cost[theirs] = program.processorSeconds() - before;
  }
  std::printf("%-44s %9.2f %9.2f          (0)  s of processor time in 10 s\n", "paused", cost[0], cost[1]);
}

void Bench::memory() const {
  for (const std::string& movie : {minute, hour}) {
    Program::Memory used[2];
    for (const int theirs : {0, 1}) {
      const auto screen = VirtualScreen::start();
      Program program(theirs ? mpv(movie, false) : ours(movie), screen->display());
      waitUntil([&] { return pictureOnScreen(*screen) >= 0; }, 10);
      if (!theirs) {
        sleepFor(1);
        Pointer pointer(*screen);
        pointer.move(VirtualScreen::kWidth / 2, VirtualScreen::kHeight / 2);
        pointer.press();
        pointer.release();
        sleepFor(0.2);
      }
      sleepFor(5);
      used[theirs] = program.memory();
    }
    const char* length = movie == minute ? "one minute" : "one hour";
    std::printf(
        "memory while playing, %-22s %9.1f %9.1f %7.2f  (at most 250)  MB, shared pages divided; resident: %.1f "
        "and %.1f\n",
        length, used[0].proportional, used[1].proportional, used[0].proportional / used[1].proportional,
        used[0].resident, used[1].resident);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: bench_program ZEVANTI MINUTE-RECORDING HOUR-RECORDING\n");
    return 2;
  }
  if (!VirtualScreen::start()) {
    std::fprintf(stderr, "Xvfb can't be started\n");
    return 1;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const Bench bench{argv[1], argv[2], argv[3]};
  std::printf("%-44s %9s %9s %7s\n", "", "zevanti", "mpv", "ratio");
  bench.start();
  bench.drag();
  bench.playback();
  bench.paused();
  bench.memory();
}
