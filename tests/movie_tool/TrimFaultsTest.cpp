// Each open, write, sync and rename of the tool fails, with all that follow or alone.

#include "tests/faults/Amount.h"
#include "tests/faults/FaultPlan.h"
#include "tests/movie_tool/TrimProgram.h"

#include <cstdio>

namespace fs = std::filesystem;

namespace {

class TrimFaults : public TrimProgram {
 protected:
  /// The arguments of a trim, with a fault in it.
  Outcome trimWith(const Fault& fault, const std::vector<std::string>& arguments) {
    plan_ = {"zevanti-movie", folder_.path(), folder_.path(), logs_ / "faults", fault};
    fs::remove(plan_.log);
    environment_ = plan_.environment();
    const Outcome outcome = trim(arguments);
    environment_.clear();
    return outcome;
  }

  FaultPlan plan_;
};

TEST_F(TrimFaults, AreToldInOneLineAndLeaveEverythingAsItWas) {
  if (!FaultPlan::isPossible()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  constexpr Fault ways[] = {{0, ENOSPC},    {0, EIO},         {0, EROFS},  {0, EDQUOT, true},
                            {0, EIO, true}, {0, EINTR, true}, {0, 0, true}};
  const std::size_t every = amount("ZEVANTI_SOAK_FAULTS", 0) > 0 ? 1 : 3;  // in short one in three
  int faults = 0, told = 0;
  for (const auto& [recording, replaces] : {std::pair{"basic.mp4", false}, {"basic.mkv", true}}) {
    bring(recording, recording);
    const std::string source = contentOf(folder_ / recording);
    std::vector<std::string> arguments{recording, "--from", "3", "--to", "6", "-o", "b.mp4"};
    if (replaces) arguments.emplace_back("--force");
    const auto prepare = [&, replaces = replaces] {
      fs::remove(folder_ / "b.mp4");
      if (replaces) folder_.write("b.mp4", "precious");
    };
    prepare();
    ASSERT_EQ(trimWith({}, arguments).status, 0);
    const std::string whole = contentOf(folder_ / "b.mp4");
    const std::vector<std::string> filesAtLast = files();
    const auto calls = static_cast<int>(plan_.calls().size());
    EXPECT_GT(calls, 4);
    for (int number = 1; number <= calls; ++number) {
      for (std::size_t way = static_cast<std::size_t>(number) % every; way < std::size(ways); way += every) {
        Fault fault = ways[way];
        fault.number = number;
        prepare();
        const auto before = files();
        const Outcome outcome = trimWith(fault, arguments);
        SCOPED_TRACE(std::string(recording) + ", " + std::strerror(fault.error) + " at " +
                     plan_.calls().at(static_cast<std::size_t>(number) - 1) + ": " + outcome.errors);
        ++faults;
        EXPECT_EQ(contentOf(folder_ / recording), source);
        if (outcome.status == 0) {
          EXPECT_EQ(contentOf(folder_ / "b.mp4"), whole);
          EXPECT_EQ(files(), filesAtLast);
          EXPECT_EQ(outcome.errors, "");
          continue;
        }
        ++told;
        EXPECT_TRUE(fault.error != 0 && fault.error != EINTR) << "that is no failure";
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
        EXPECT_NE(outcome.errors.find(std::strerror(fault.error)), std::string::npos);
        EXPECT_EQ(files(), before);
        EXPECT_EQ(contentOf(folder_ / "b.mp4"), replaces ? "precious" : "");
        if (HasFailure()) return;
      }
    }
  }
  std::printf("%d faults survived, %d of them told\n", faults, told);
  EXPECT_GT(told, faults / 3);
}

}  // namespace
