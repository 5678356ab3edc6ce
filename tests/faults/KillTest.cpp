#include "Amount.h"
#include "ProcessFamily.h"
#include "WholeMovie.h"
#include "tests/common/FileIdentity.h"
#include "tests/end_to_end/Desktop.h"
#include "tests/end_to_end/Session.h"
#include "tests/end_to_end/VideoService.h"

#include <gtest/gtest.h>
#include <chrono>
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
  double savedLength;  ///< seconds of the movie that ends in the library; 0: none
};

constexpr Scenario scenarios[] = {
    {"opening", "basic.mp4", "wait ready\ntap Cancel\nwait finished 10\n", 0},
    {"opening what is copied", "basic.mkv", "wait ready\ntap Cancel\nwait finished 10\n", 0},
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
  explicit ScenarioRun(const Scenario& scenario)
      : scenario_(scenario), movie_(session_.copyOf(scenario.recording)), before_(movie_) {
    if (std::string(scenario.name) != "publishing") return;
    desktop_ = std::make_unique<Desktop>(session_);
    desktop_->tell("browser", "");
    service_ = std::make_unique<VideoService>(session_, *desktop_);
  }

  void start() { session_.start(movie_, scenario_.script); }
  int wait() { return session_.wait(); }
  void kill(Victim victim) { family(session_.process()).kill(victim); }
  std::string errors() const { return session_.errors(); }

  /// After the end, whatever it was.
  void expectNothingIsLost(pid_t leader) {
    EXPECT_TRUE(waitUntil(120, [&] { return family(leader).members().empty(); })) << "a process is left";
    EXPECT_TRUE(FileIdentity(movie_) == before_);

    EXPECT_LE(session_.saved().size(), scenario_.savedLength > 0 ? 1U : 0U);
    for (const fs::path& saved : session_.saved()) expectWhole(saved, scenario_.savedLength);
    if (service_) {
      for (const fs::path& video : service_->videos()) expectWhole(video, movieDuration(movie_));
    }

    EXPECT_EQ(session_.run(movie_, "wait ready\ntap Cancel\nwait finished 10\n"), 0) << session_.errors();
    for (const fs::path& left : session_.leftovers()) ADD_FAILURE() << left << " is left";
  }

  pid_t process() const { return session_.process(); }

 private:
  ProcessFamily family(pid_t leader) const { return {"XDG_CACHE_HOME=" + session_.cache.string(), leader}; }
  const Scenario& scenario_;
  Session session_;
  fs::path movie_;
  const FileIdentity before_;
  std::unique_ptr<Desktop> desktop_;
  std::unique_ptr<VideoService> service_;
};

double seconds(std::chrono::steady_clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

/// How long a scenario takes when nobody interferes, measured at its first use.
double usualLength(const Scenario& scenario) {
  static std::map<const Scenario*, double> lengths;
  const auto known = lengths.find(&scenario);
  if (known != lengths.end()) return known->second;
  ScenarioRun run(scenario);
  const auto begin = std::chrono::steady_clock::now();
  run.start();
  const pid_t leader = run.process();
  EXPECT_EQ(run.wait(), 0) << run.errors();
  const double length = seconds(std::chrono::steady_clock::now() - begin);
  run.expectNothingIsLost(leader);
  return lengths[&scenario] = length;
}

}  // namespace

// Whoever is killed, and whenever: the recording is untouched, the library holds whole movies, nothing stays.
TEST(Kill, AtAnyMomentLosesNothing) {
  const auto seed = static_cast<unsigned>(amount("ZEVANTI_SOAK_SEED", 1));
  const int runs = amount("ZEVANTI_SOAK_KILLS", 8);
  const int onlyOne = amount("ZEVANTI_SOAK_KILL", 0);  // one run again, by its number
  std::mt19937 random(seed);
  std::map<std::string, int> killed;
  for (int number = 1; number <= runs; ++number) {
    // All of them before any comes again, in another order each time round.
    static std::vector<const Scenario*> order;
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
    if (onlyOne != 0 && number != onlyOne) continue;
    const double moment = part * usualLength(scenario);
    if (testing::Test::HasFailure()) return;

    std::printf("kill %3d of %d, seed %u: %-26s %-9s at %3.0f %%, %.3f s\n", number, runs, seed, scenario.name,
                names[which], part * 100, moment);
    std::fflush(stdout);
    SCOPED_TRACE(number);
    ScenarioRun run(scenario);
    run.start();
    const pid_t leader = run.process();
    std::this_thread::sleep_for(std::chrono::duration<double>(moment));
    run.kill(victims[which]);
    run.wait();
    run.expectNothingIsLost(leader);
    ++killed[names[which]];
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << run.errors();
      return;
    }
  }
  for (const auto& [name, count] : killed) RecordProperty(name, count);
}
