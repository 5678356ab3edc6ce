#include "MovieMutator.h"
#include "MovieTrial.h"
#include "Seeds.h"
#include "tests/common/Files.h"
#include "tests/faults/Amount.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// Those that once did harm are tried again each time.
struct Harmful {
  unsigned seed;
  int number;
  const char* what;  ///< as it was made then
};
constexpr Harmful kHarmful[] = {{231126, 8560, "quicktime.mov (dimensions, 200 tracks, bits)"}};

}  // namespace

// Whatever a file says of itself: no crash, no hang, no flood of memory, nothing written beside the trimmed copy. One
// that breaks this is kept in the folder that ZEVANTI_SOAK_FINDINGS names.
TEST(BadMovies, AreOpenedScrubbedAndTrimmedWithoutHarm) {
  std::vector<fs::path> movies;
  for (const auto& entry : fs::directory_iterator(seeds())) {
    if (entry.path().filename().string().front() != '.') movies.push_back(entry.path());
  }
  ASSERT_GT(movies.size(), 20U);
  std::sort(movies.begin(), movies.end());

  const auto usualSeed = static_cast<unsigned>(amount("ZEVANTI_SOAK_SEED", 1));
#ifdef ZEVANTI_SANITIZED  // slow, and each movie is a process to look through
  constexpr int kCount = 40;
#else
  constexpr int kCount = 100;
#endif
  const int count = amount("ZEVANTI_SOAK_MOVIES", kCount);
  const int onlyOne = amount("ZEVANTI_SOAK_MOVIE", 0);
  const char* findings = std::getenv("ZEVANTI_SOAK_FINDINGS");
  int opened = 0, shown = 0, trimmed = 0, faults = 0;
  double slowest = 0, largest = 0;
  std::mutex mutex;  // guards these, and the findings
  std::atomic<int> next{1};
  const auto work = [&] {
    const ScratchFolder scratch;
    const MovieTrial trial(scratch.path());
    const int all = count + static_cast<int>(onlyOne == 0 ? std::size(kHarmful) : 0);
    for (int turn = next++; turn <= all; turn = next++) {
      if (onlyOne != 0 && turn != onlyOne) continue;
      const auto [seed, number, what] = turn <= count ? Harmful{usualSeed, turn, nullptr} : kHarmful[turn - count - 1];
      // Each by itself, so that one can be tried again alone.
      MovieMutator mutator(seed * 1'000'003 + static_cast<unsigned>(number));
      const fs::path& original = movies[static_cast<std::size_t>(number) % movies.size()];
      std::string done;
      const std::string bytes = mutator.damaged(contentOf(original), &done);
      const fs::path movie = fs::path(scratch.path()) / ("bad" + original.extension().string());
      std::ofstream(movie, std::ios::binary | std::ios::trunc) << bytes;

      const MovieTrial::Result result = trial.run(movie);
      const std::lock_guard lock(mutex);
      if (what) {
        EXPECT_EQ(original.filename().string() + " (" + done + ")", what) << "is made in another way now";
      }
      opened += result.opened, shown += result.shown, trimmed += result.trimmed;
      slowest = std::max(slowest, result.seconds), largest = std::max(largest, result.megabytes);
      if (!result.fault.empty()) {
        ++faults;
        ADD_FAILURE() << "movie " << number << " of seed " << seed << ", " << original.filename() << " (" << done
                      << "): " << result.fault;
        if (findings) {
          const std::string name = std::to_string(seed) + "-" + std::to_string(number);
          fs::create_directories(findings);
          fs::copy_file(movie, fs::path(findings) / (name + original.extension().string()),
                        fs::copy_options::overwrite_existing);
        }
      }
      EXPECT_EQ(contentOf(movie), bytes);
      fs::remove(movie);
      if (turn % 500 == 0) {
        std::printf("%d movies\n", turn);
        std::fflush(stdout);
      }
    }
  };
  // A trial waits more than it computes. One at a time with a sanitizer: its runtime's locks don't outlive a fork
  // beside other threads.
#ifdef ZEVANTI_SANITIZED
  std::vector<std::thread> workers;
#else
  std::vector<std::thread> workers(2 * std::max(1U, std::thread::hardware_concurrency()) - 1);
#endif
  for (std::thread& worker : workers) worker = std::thread(work);
  work();
  for (std::thread& worker : workers) worker.join();
  std::printf("bad movies: %d, seed %u: %d opened, %d shown, %d trimmed; %d faults; at most %.2f s, %.0f MB\n", count,
              usualSeed, opened, shown, trimmed, faults, slowest, largest);
  if (count >= kCount && onlyOne == 0) {
    // Otherwise nothing but the front door was tried.
    EXPECT_GT(opened, count / 10);
    EXPECT_GT(trimmed, count / 20);
  }
}
