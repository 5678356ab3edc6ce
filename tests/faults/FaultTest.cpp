// Each open for writing, write, sync and rename below the library and the temporary directory fails once, and with it
// all that follow, until the first try to save is over.

#include "Amount.h"
#include "FaultSession.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Scenario {
  const char* name;
  const char *before, *first, *second;
  double savedLength;  // seconds
};

constexpr Scenario scenarios[] = {
    {"trim", "drag end 25\nwait editing\ndrag start 10\n", "tap Done\n", "wait ready\nkey Control+S\nwait saved 90\n",
     15},
    {"save", "", "tap Save\n", "key Control+S\nwait saved 90\n", 60},
};

struct Errno {
  int number;
  const char* name;
};
constexpr Errno errors[] = {{ENOSPC, "ENOSPC"}, {EACCES, "EACCES"}, {EROFS, "EROFS"}, {EDQUOT, "EDQUOT"}, {EIO, "EIO"}};

/// How many calls there are in the first try when none fails.
int countCalls(const Scenario& scenario) {
  FaultSession session("basic.mp4");
  session.injectFault(0, EIO);
  session.start(scenario.before, scenario.first, "");
  EXPECT_TRUE(session.reachPoint()) << session.errors();
  session.goOn();
  session.reachFailure();
  const auto count = static_cast<int>(session.injected().size());
  session.tryAgain();
  session.wait();
  EXPECT_EQ(session.wholeMoviesInLibrary(scenario.savedLength), 1U) << session.errors();
  return count;
}

/// Whether the first try to save has failed.
bool runWithFault(const Scenario& scenario, int number, const Errno& error) {
  FaultSession session("basic.mp4");
  session.injectFault(number, error.number);
  session.start(scenario.before, scenario.first, scenario.second);
  EXPECT_TRUE(session.reachPoint()) << session.errors();
  session.goOn();
  const bool stays = session.reachFailure();
  const auto lines = session.injected();
  const auto failed =
      std::find_if(lines.begin(), lines.end(), [](const auto& line) { return line.ends_with(" fails"); });
  const std::string message = session.message();
  std::printf("%-4s %-6s %s: %s\n", scenario.name, error.name, failed == lines.end() ? "none" : failed->c_str(),
              message.empty() ? "saved all the same" : message.c_str());
  std::fflush(stdout);

  // Whoever is not told of a failure has the movie.
  EXPECT_EQ(session.wholeMoviesInLibrary(scenario.savedLength), message.empty() ? 1U : 0U);
  session.expectWholeFilesOnly(scenario.savedLength, 0);
  fs::remove(session.goOnFile());
  session.tryAgain();
  const int status = session.wait();
  constexpr int kScriptGoesOn = 3;  // which is for an editor that stays
  EXPECT_EQ(status, stays ? 0 : kScriptGoesOn);
  session.expectWholeFilesOnly(scenario.savedLength, 1);
  session.expectNothingLeft();
  session.expectMovieUntouched();
  if (testing::Test::HasFailure()) {
    ADD_FAILURE() << session.errors();
    for (const std::string& line : lines) std::printf("  %s\n", line.c_str());
  }
  return !message.empty();
}

}  // namespace

TEST(Faults, AtEachOpenAndWriteAreToldAndLoseNothing) {
  if (!FaultSession::canInject()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  struct Fault {
    const Scenario* scenario;
    int number;
    const Errno* error;
  };
  // Every call with every error, those of a short run from all over.
  std::vector<Fault> faults;
  for (const Scenario& scenario : scenarios) {
    const int calls = countCalls(scenario);
    EXPECT_GT(calls, 5) << scenario.name;
    for (int number = 1; number <= calls; ++number) {
      for (const Errno& error : errors) faults.push_back({&scenario, number, &error});
    }
  }
  if (testing::Test::HasFailure()) return;
  const auto seed = static_cast<unsigned>(amount("ZEVANTI_SOAK_SEED", 1));
  std::mt19937 random(seed);
  std::shuffle(faults.begin(), faults.end(), random);
  const auto runs = std::min(faults.size(), static_cast<std::size_t>(amount("ZEVANTI_SOAK_FAULTS", 8)));
  std::printf("%zu of %zu faults, seed %u\n", runs, faults.size(), seed);
  int told = 0;
  for (std::size_t at = 0; at < runs; ++at) {
    SCOPED_TRACE(at);
    if (runWithFault(*faults[at].scenario, faults[at].number, *faults[at].error)) ++told;
    if (testing::Test::HasFailure()) return;
  }
  std::printf("%zu faults survived, %d of them told\n", runs, told);
  RecordProperty("faults", static_cast<int>(runs));
  EXPECT_GT(told, 0);
}
