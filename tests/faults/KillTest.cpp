#include "Amount.h"
#include "FaultSession.h"
#include "WholeMovie.h"
#include "tests/common/FileIdentity.h"
#include "tests/end_to_end/Desktop.h"
#include "tests/end_to_end/ProcessFamily.h"
#include "tests/end_to_end/VideoService.h"

#include <gtest/gtest.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <thread>

namespace fs = std::filesystem;

namespace {

using Victim = ProcessFamily::Victim;

/// What somebody does with a recording, from the start to the end of the program.
struct Scenario {
  const char* name;
  const char* recording;
  const char* script;
  double savedLength;           ///< seconds of the movie that ends in the library; 0: none
  bool isTheHostsWork = false;  ///< else the extension is who changes files
};

constexpr const char* kOpen = "wait ready\ntap Cancel\nwait finished 10\n";
constexpr Scenario scenarios[] = {
    {"opening", "basic.mp4", kOpen, 0, true},
    {"opening what is copied", "basic.mkv", kOpen, 0, true},
    {"playing", "two_audio.mp4",
     "wait ready\ndrag playhead 16\ntap overlay\nwait playing\nwait paused 90\ntap Cancel\nwait finished 10\n", 0},
    {"exporting", "basic.mp4",
     "wait ready\ndrag start 10\nwait editing\ndrag end 25\ntap Done\nwait saved 90\nwait ready\ntap Done\n"
     "wait finished 10\n",
     15},
    {"exporting from a container", "basic.mkv",
     "wait ready\ndrag end 3\nwait editing\ntap Done\nwait saved 90\nwait ready\ntap Done\nwait finished 10\n", 3},
    {"saving", "basic.mp4", "wait ready\ntap Save\nwait saved 60\n", 60},
    {"publishing", "two_audio.mp4",
     "wait ready\nshare\nactivity YouTube\nform Title Rain\ntap Publish\nwait alert 90\nalert Close\nwait shared\n"
     "tap Done\nwait finished 10\n",
     0},
};

/// One start of the program, with a person's file that must stay as it is.
class ScenarioRun {
 public:
  /// Stands still at the call that is named, of those that change files; 0: at none.
  explicit ScenarioRun(const Scenario& scenario, int call = 0)
      : scenario_(scenario), session_(scenario.recording), before_(session_.movie()) {
    if (FaultPlan::isPossible()) {
      std::vector<std::string> more = {"ZEVANTI_FAULT_STOPS=1"};
      if (scenario.name == std::string("opening what is copied")) more.emplace_back("ZEVANTI_FAULT_LINKS=1");
      session_.injectFault({call}, more, scenario.isTheHostsWork ? "zevanti" : "ZVVideoEditorExtension");
      session_.goOn();
    }
    if (std::string(scenario.name) != "publishing") return;
    desktop_ = std::make_unique<Desktop>(session_);
    desktop_->tell("browser", "");
    service_ = std::make_unique<VideoService>(session_, *desktop_);
  }

  void start() {
    session_.Session::start(session_.movie(), scenario_.script);
    leader_ = session_.process();
  }
  int wait() { return session_.wait(); }
  /// Whether there was anybody to kill. Whoever stands still and isn't killed goes on.
  bool kill(Victim victim) {
    const bool isHit = family().kill(victim);
    // Nobody else: what looks for leaks at an end waits for a stop that this would take away.
    for (const pid_t process : family().members()) {
      if (isStopped(process)) ::kill(process, SIGCONT);
    }
    return isHit;
  }
  /// Waits until it stands still at its call, or is over.
  void awaitCall() {
    EXPECT_TRUE(waitUntil(100, [&] { return session_.hasEnded() || family().standsStill(); })) << errors();
  }
  std::vector<std::string> calls() const { return session_.injected(); }
  std::string errors() const { return session_.errors(); }

  /// After the end, whatever it was.
  void expectNothingIsLost() {
    EXPECT_TRUE(waitUntil(120, [&] { return family().members().empty(); })) << "a process is left";
    EXPECT_TRUE(FileIdentity(session_.movie()) == before_);

    EXPECT_LE(session_.saved().size(), scenario_.savedLength > 0 ? 1U : 0U);
    for (const fs::path& saved : session_.saved()) expectWhole(saved, scenario_.savedLength);
    if (service_) {
      for (const fs::path& video : service_->videos()) expectWhole(video, movieDuration(session_.movie()));
    }

    fs::remove(session_.goOnFile());  // which lets all calls be
    EXPECT_EQ(session_.run(session_.movie(), kOpen), 0) << session_.errors();
    session_.expectNothingLeft();
  }

 private:
  ProcessFamily family() const { return {"XDG_CACHE_HOME=" + session_.cache.string(), leader_}; }
  const Scenario& scenario_;
  FaultSession session_;
  const FileIdentity before_;
  pid_t leader_ = 0;
  std::unique_ptr<Desktop> desktop_;
  std::unique_ptr<VideoService> service_;
};

/// What a scenario is when nobody interferes.
struct Course {
  double length = 0;  ///< seconds
  int calls = 0;      ///< that change files; 0 where they can't be counted
};

/// Measured at its first use.
const Course& courseOf(const Scenario& scenario) {
  static std::map<const Scenario*, Course> courses;
  const auto known = courses.find(&scenario);
  if (known != courses.end()) return known->second;
  ScenarioRun run(scenario);
  const auto begin = std::chrono::steady_clock::now();
  run.start();
  EXPECT_EQ(run.wait(), 0) << run.errors();
  const std::chrono::duration<double> length = std::chrono::steady_clock::now() - begin;
  const auto calls = static_cast<int>(run.calls().size());
  EXPECT_EQ(calls > 0, FaultPlan::isPossible()) << scenario.name;
  run.expectNothingIsLost();
  return courses[&scenario] = {length.count(), calls};
}

}  // namespace

// Whoever is killed, and whenever: the recording is untouched, the library holds whole movies, nothing stays. Half of
// the kills are at some moment, half at one of the calls that change files, as these are over in no time.
TEST(Kill, AtAnyMomentLosesNothing) {
  const auto seed = static_cast<unsigned>(amount("ZEVANTI_SOAK_SEED", 1));
  const int runs = amount("ZEVANTI_SOAK_KILLS", 8);
  const int onlyOne = amount("ZEVANTI_SOAK_KILL", 0);  // one run again, by its number
  std::mt19937 random(seed);
  std::map<std::string, int> killed;
  std::vector<const Scenario*> order;
  for (int number = 1; number <= runs; ++number) {
    // All of them before any comes again, in another order each time round.
    if (order.empty()) {
      for (const Scenario& scenario : scenarios) order.push_back(&scenario);
      std::shuffle(order.begin(), order.end(), random);
    }
    const Scenario& scenario = *order.back();
    order.pop_back();
    constexpr Victim victims[] = {Victim::Leader, Victim::Others, Victim::All};
    constexpr const char* names[] = {"host", "extension", "both"};
    const std::size_t which = std::uniform_int_distribution<std::size_t>(0, 2)(random);
    const double part = std::uniform_real_distribution<double>(0, 1)(random);
    const bool isAtCall = std::bernoulli_distribution()(random) && FaultPlan::isPossible();
    if (onlyOne != 0 && number != onlyOne) continue;
    const Course& course = courseOf(scenario);
    if (testing::Test::HasFailure()) return;

    SCOPED_TRACE(number);
    // It may be quicker than usual, or have fewer calls, or the victim isn't there yet: another moment, then.
    constexpr int kTries = 10;
    std::mt19937 again(seed + static_cast<unsigned>(number));  // the next run is the same however many it takes
    bool isHit = false;
    for (int i = 0; i < kTries && !isHit; ++i) {
      const double moment = i == 0 ? part : std::uniform_real_distribution<double>(0, 1)(again);
      const int call = isAtCall ? 1 + static_cast<int>(moment * course.calls) : 0;
      ScenarioRun run(scenario, call);
      run.start();
      if (isAtCall)
        run.awaitCall();
      else
        std::this_thread::sleep_for(std::chrono::duration<double>(moment * course.length));
      const auto calls = run.calls();
      const bool anyKilled = run.kill(victims[which]);
      const bool killsTheHost = victims[which] != Victim::Others;
      const int status = run.wait();
      isHit = killsTheHost ? status == 128 + SIGKILL : anyKilled;
      std::printf("%s %3d of %d, seed %u: %-26s %-9s at %3.0f %%, %s\n", isHit ? "kill" : "missed", number, runs, seed,
                  scenario.name, names[which], moment * 100,
                  isAtCall && !calls.empty() ? calls.back().c_str() : "of the time");
      std::fflush(stdout);
      run.expectNothingIsLost();
      if (testing::Test::HasFailure()) {
        ADD_FAILURE() << run.errors();
        return;
      }
    }
    ASSERT_TRUE(isHit) << "nobody was there to be killed";
    ++killed[std::string(names[which]) + (isAtCall ? "AtACall" : "")];
  }
  for (const auto& [name, count] : killed) RecordProperty(name, count);
}
