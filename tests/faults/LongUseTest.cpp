#include "Amount.h"
#include "host/HostSession.h"
#include "tests/end_to_end/MovieReader.h"
#include "tests/end_to_end/ProcessFamily.h"
#include "tests/end_to_end/Session.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

namespace {

/// What a process holds.
struct Holdings {
  double megabytes = 0;  ///< of memory that is its own alone
  long descriptors = 0, threads = 0, processes = 0;
};

long entriesIn(const char* folder) {
  return static_cast<long>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

Holdings holdings(const ProcessFamily& family) {
  Holdings result;
  std::ifstream pages("/proc/self/statm");
  double total = 0, resident = 0, shared = 0;
  pages >> total >> resident >> shared;
  result.megabytes = (resident - shared) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
  result.descriptors = entriesIn("/proc/self/fd");
  result.threads = entriesIn("/proc/self/task");
  result.processes = static_cast<long>(family.members().size());
  return result;
}

}  // namespace

// One host that opens, trims, saves and is done again and again holds no more at the end than near the beginning.
TEST(LongUse, LeavesMemoryDescriptorsThreadsAndProcessesAsTheyWere) {
  const int cycles = amount("ZEVANTI_SOAK_CYCLES", 6);
  constexpr int kSettled = 3;  // what is set up once is there by then
  Session session;
  setenv("XDG_CACHE_HOME", session.cache.c_str(), 1);
  Options options;
  options.movie = session.copyOf("two_audio.mp4");
  options.appName = "Rain";
  options.launch.offscreen = true;
  options.launch.size = {375, 667};
  options.launch.library = session.library();
  options.launch.script = session.folder() / "cycle.script";
  std::ofstream(options.launch.script)
      << "wait ready\ndrag start 5\nwait editing\ndrag end 12\ntap Done\nwait saved 90\nwait ready\ntap Done\n"
         "wait finished 20\n";
  // This process itself had another environment when it was started.
  const ProcessFamily family("XDG_CACHE_HOME=" + session.cache.string(), 0);

  Holdings before;
  for (int cycle = 1; cycle <= cycles; ++cycle) {
    ASSERT_EQ(HostSession(options).run(), 0) << "in cycle " << cycle;
    ASSERT_EQ(session.saved().size(), 1U);
    if (cycle == 1) {
      EXPECT_NEAR(movieDuration(session.saved()[0]), 7, 0.1);
    }
    fs::remove_all(session.library());
    ASSERT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
    const Holdings now = holdings(family);
    if (cycle == kSettled) before = now;
    if (cycle <= kSettled) continue;
    EXPECT_EQ(now.descriptors, before.descriptors) << "in cycle " << cycle;
    EXPECT_EQ(now.threads, before.threads) << "in cycle " << cycle;
    EXPECT_EQ(now.processes, 0) << "in cycle " << cycle;
#ifndef ZEVANTI_SANITIZED  // a sanitizer keeps what was given back for a while
    EXPECT_LT(now.megabytes, before.megabytes + 1) << "in cycle " << cycle;
#endif
    if (testing::Test::HasFailure()) break;
    if (cycle == cycles) {
      std::printf(
          "long use: %d cycles; %.2f MB, %ld descriptors, %ld threads, %ld processes after %d, %.2f MB, %ld, "
          "%ld, %ld at the end\n",
          cycles, before.megabytes, before.descriptors, before.threads, before.processes, kSettled, now.megabytes,
          now.descriptors, now.threads, now.processes);
    }
  }
  unsetenv("XDG_CACHE_HOME");
}
