// Measures the whole program, in a real window on a virtual screen, side by side with mpv; prints a table.
//
//   bench_program ZEVANTI MINUTE-RECORDING HOUR-RECORDING [PART]
//
// What is on screen is read from the screen's memory: the recording's pictures carry their number as black and white
// blocks (tests/data/FrameCode.h), of which the second row is looked at: it shows the number's low eight bits.

#include "bench/Program.h"
#include "bench/Report.h"
#include "bench/VirtualScreen.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

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

std::unique_ptr<VirtualScreen> startScreen() {
  auto screen = VirtualScreen::start();
  if (!screen) {
    std::fputs("error: Xvfb can't be started\n", stderr);
    std::exit(1);
  }
  return screen;
}

/// A program on a screen of its own, ours or mpv for comparison.
class Run {
 public:
  Run(std::vector<std::string> command, bool isOurs)
      : isOurs_(isOurs), start_(Clock::now()), program_(std::move(command), screen_->display()) {}

  const VirtualScreen& screen() const { return *screen_; }
  const Program& program() const { return program_; }

  /// Waits for the recording's first picture; how long that took since the start, in seconds, NAN when it never came.
  double waitForFirstPicture() const {
    return waitUntil([&] { return pictureOnScreen(*screen_) == 0; }, 10) ? secondsSince(start_) : NAN;
  }
  /// Lets it play; false when the pictures stand still. mpv is started so that it plays by itself.
  bool play() const {
    if (isOurs_) {
      if (std::isnan(waitForFirstPicture())) return false;
      sleepFor(1);
      Pointer pointer(*screen_);
      pointer.move(VirtualScreen::kWidth / 2, VirtualScreen::kHeight / 2);
      pointer.press();
      pointer.release();
      pointer.move(0, VirtualScreen::kHeight / 2);
    }
    return waitUntil([&] { return pictureOnScreen(*screen_) > 0; }, 10);
  }

 private:
  bool isOurs_;
  std::unique_ptr<VirtualScreen> screen_ = startScreen();
  Clock::time_point start_;
  Program program_;
};

class Bench {
 public:
  Bench(std::string zevanti, std::string minute, std::string hour)
      : zevanti_(std::move(zevanti)), minute_(std::move(minute)), hour_(std::move(hour)) {}

  void start();
  void drag(const std::string& name, const std::string& movie);
  void playback();
  void paused();
  void share();
  void memory();
  int finish() const { return report_.finish(); }

  /// The part with this name, or all of them for an empty name; false when there is none.
  bool run(const std::string& name) {
    const std::pair<const char*, std::function<void()>> parts[] = {
        {"start", [this] { start(); }},
        {"drag",
         [this] {
           drag("minute", minute_);
           drag("hour", hour_);
         }},
        {"playback", [this] { playback(); }},
        {"paused", [this] { paused(); }},
        {"share", [this] { share(); }},
        {"memory", [this] { memory(); }},
    };
    bool any = false;
    for (const auto& [known, measure] : parts) {
      if (!name.empty() && name != known) continue;
      measure();
      any = true;
    }
    return any;
  }

 private:
  Run run(bool ours, const std::string& movie, bool paused) const {
    if (ours) return {{zevanti_, movie}, true};
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
    return {command, false};
  }

  std::string zevanti_, minute_, hour_;
  Report report_{"mpv --vo=x11"};
};

void Bench::start() {
  std::vector<double> times[2];
  for (int i = 0; i < 7; ++i) {
    for (const bool ours : {true, false}) times[ours].push_back(run(ours, minute_, true).waitForFirstPicture() * 1000);
  }
  // A start without a picture is no measurement, however good the others are.
  const auto median = [](const std::vector<double>& values) {
    for (const double value : values) {
      if (std::isnan(value)) return value;
    }
    return percentile(values, 0.5);
  };
  report_.ratio("start to first picture, median of 7", "ms", median(times[true]), median(times[false]), 1.5);
}

void Bench::drag(const std::string& name, const std::string& movie) {
  const Run subject = run(true, movie, true);
  const VirtualScreen& screen = subject.screen();
  std::vector<double> times;
  constexpr int kMoves = 200;
  if (!std::isnan(subject.waitForFirstPicture())) {
    sleepFor(1);
    Pointer pointer(screen);
    constexpr int kX = 200, kY = VirtualScreen::kHeight - 19;
    pointer.move(kX, kY);
    pointer.press();
    sleepFor(0.3);
    for (int i = 0; i < kMoves; ++i) {
      const int before = pictureOnScreen(screen);
      const auto start = Clock::now();
      pointer.move(kX + 4 * (i + 1), kY);
      const auto changed = [&] {
        const int now = pictureOnScreen(screen);
        return now >= 0 && now != before;
      };
      if (waitUntil(changed, 0.25)) times.push_back(secondsSince(start) * 1000);
      sleepFor(0.016);
    }
    pointer.release();
  }
  const bool any = !times.empty();
  report_.figure("drag to new picture, " + name + ", median", "ms", percentile(times, 0.5), {}, 20);
  report_.figure("drag to new picture, " + name + ", 95th percentile", "ms", percentile(times, 0.95), {}, 40);
  report_.figure("moves without a new picture, " + name, "of 200", any ? kMoves - double(times.size()) : NAN, {}, 0);
}

void Bench::playback() {
  constexpr double kSeconds = 10;
  double cost[2] = {NAN, NAN}, leftOut[2] = {NAN, NAN};
  for (const bool ours : {true, false}) {
    const Run subject = run(ours, minute_, false);
    if (!subject.play()) continue;
    sleepFor(1.5);
    const double before = subject.program().processorSeconds();
    const auto start = Clock::now();
    int last = pictureOnScreen(subject.screen()), seen = last, gaps = 0;
    while (secondsSince(start) < kSeconds) {
      // Counts when it is there twice: one reading may fall into the drawing.
      const int now = pictureOnScreen(subject.screen());
      if (now >= 0 && now == seen && now != last) {
        gaps += last >= 0 ? (now - last + 255) % 256 : 0;
        last = now;
      }
      seen = now;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    cost[ours] = (subject.program().processorSeconds() - before) * 100 / kSeconds;
    leftOut[ours] = gaps;
  }
  report_.ratio("processor time of playback, 1280x720", "%", cost[true], cost[false], 1.5);
  report_.figure("pictures dropped in playback on screen", "of 600", leftOut[true], leftOut[false], 0);
}

void Bench::paused() {
  double cost[2] = {NAN, NAN};
  for (const bool ours : {true, false}) {
    const Run subject = run(ours, minute_, true);
    if (std::isnan(subject.waitForFirstPicture())) continue;
    sleepFor(3);
    const double before = subject.program().processorSeconds();
    sleepFor(10);
    cost[ours] = (subject.program().processorSeconds() - before) * 1000;
  }
  report_.figure("processor time in 10 s of pause", "ms", cost[true], cost[false], 0);
}

void Bench::share() {
  // A catalogue that knows the application, so that the store answers.
  const std::filesystem::path catalogue = std::filesystem::temp_directory_path() / "zevanti-bench-catalogue";
  std::filesystem::create_directories(catalogue / "xml");
  std::ofstream(catalogue / "xml/bench.xml")
      << R"(<?xml version="1.0" encoding="UTF-8"?><components version="0.14" origin="bench">
<component type="desktop-application"><id>org.example.Bench</id><name>Bench</name><summary>Bench</summary>
<developer_name>Bench</developer_name><url type="homepage">https://bench.example.org/</url></component></components>)";
  setenv("ZEVANTI_STORE_CATALOGUE", catalogue.c_str(), 1);
  std::vector<double> begun, inPlace;
  {
    const Run subject({zevanti_, "--bundle-id", "org.example.Bench", minute_}, true);
    // The Share button in the top bar, and a place in the popover's head.
    constexpr int kShareX = 1191, kShareY = 27, kSheetX = 1180, kSheetY = 74;
    if (!std::isnan(subject.waitForFirstPicture())) {
      sleepFor(3);
      Pointer pointer(subject.screen());
      for (int i = 0; i < 9; ++i) {
        pointer.move(kShareX, kShareY);
        sleepFor(0.2);
        const std::uint32_t before = subject.screen().pixel(kSheetX, kSheetY);
        std::uint32_t last = before;
        pointer.press();
        const auto start = Clock::now();
        pointer.release();
        double first = NAN, end = NAN;
        while (secondsSince(start) < 1) {
          const std::uint32_t now = subject.screen().pixel(kSheetX, kSheetY);
          if (now != last) {
            end = secondsSince(start) * 1000;
            if (last == before) first = end;
            last = now;
          }
          std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        begun.push_back(first);
        inPlace.push_back(end);
        pointer.move(40, VirtualScreen::kHeight / 2);  // beside it: closes it
        pointer.press();
        pointer.release();
        sleepFor(0.6);
      }
    }
  }
  unsetenv("ZEVANTI_STORE_CATALOGUE");
  std::filesystem::remove_all(catalogue);
  const auto worst = [](const std::vector<double>& values) {
    double most = values.empty() ? NAN : 0;
    for (const double value : values) most = std::isnan(value) || std::isnan(most) ? NAN : std::max(most, value);
    return most;
  };
  report_.figure("Share tap to sheet on screen, worst of 9", "ms", worst(begun), {}, 100);
  report_.figure("Share tap to sheet in place, after its fade, worst of 9", "ms", worst(inPlace), {}, 350);
}

void Bench::memory() {
  double used[2][2] = {{NAN, NAN}, {NAN, NAN}};
  for (const bool hour : {false, true}) {
    for (const bool ours : {true, false}) {
      const Run subject = run(ours, hour ? hour_ : minute_, false);
      if (!subject.play()) continue;
      sleepFor(5);
      used[hour][ours] = subject.program().memory().proportional;
    }
    report_.figure(std::string("memory while playing, ") + (hour ? "hour" : "minute"), "MB", used[hour][true],
                   used[hour][false], 250);
  }
  // The same, within what the index of an hour takes.
  report_.figure("memory, hour over minute", "times", used[true][true] / used[false][true],
                 used[true][false] / used[false][false], 1.1);
}

}  // namespace

int main(int argc, char* argv[]) {
  Bench bench(argc > 1 ? argv[1] : "", argc > 2 ? argv[2] : "", argc > 3 ? argv[3] : "");
  if (argc < 4 || argc > 5 || !bench.run(argc > 4 ? argv[4] : "")) {
    std::fprintf(stderr,
                 "usage: bench_program ZEVANTI MINUTE-RECORDING HOUR-RECORDING "
                 "[start|drag|playback|paused|share|memory]\n");
    return 2;
  }
  return bench.finish();
}
