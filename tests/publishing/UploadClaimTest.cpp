#include "plugins/PublishToYouTube/upload/UploadClaim.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

using publishing::UploadClaim;

namespace {

constexpr std::chrono::seconds oldEnough{-10};  ///< any file is, at any moment

class UploadClaimTest : public testing::Test {
 protected:
  /// Another process takes the claim and stays until it is killed.
  pid_t takeElsewhere(const std::string& file) {
    const pid_t child = fork();
    if (child == 0) {
      const auto claim = UploadClaim::take(folder_.path(), file);
      while (claim) pause();
      _exit(1);
    }
    while (!UploadClaim::isTaken(folder_.path(), file)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return child;
  }
  static void kill(pid_t child) {
    ::kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  std::string pathOf(const std::string& file) const { return folder_ / ("uploading/" + file + ".lock"); }
  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_ / "uploading")) names.insert(entry.path().stem());
    return names;
  }

  const ScratchFolder folder_;
};

TEST_F(UploadClaimTest, LeavesOfWhoWasKilledAreSweptAndNothingElse) {
  UploadClaim::sweep(folder_.path());
  const pid_t killed = takeElsewhere("killed"), alive = takeElsewhere("alive");
  kill(killed);
  const auto own = UploadClaim::take(folder_.path(), "own");
  const std::string other = folder_.write("other", "not ours");
  fs::create_symlink(other, pathOf("link"));
  folder_.write("uploading/notes.txt", "not ours");
  UploadClaim::sweep(folder_.path());
  EXPECT_EQ(files(), (std::set<std::string>{"killed", "alive", "own", "link", "notes"})) << "somebody may take it now";
  UploadClaim::sweep(folder_.path(), oldEnough);
  EXPECT_EQ(files(), (std::set<std::string>{"alive", "own", "link", "notes"}));
  EXPECT_TRUE(fs::exists(other));
  EXPECT_TRUE(UploadClaim::isTaken(folder_.path(), "alive"));
  EXPECT_FALSE(UploadClaim::take(folder_.path(), "alive"));
  EXPECT_FALSE(UploadClaim::take(folder_.path(), "own"));
  kill(alive);
  EXPECT_TRUE(UploadClaim::take(folder_.path(), "alive"));
}

TEST_F(UploadClaimTest, SweepingIsInNobodysWay) {
  std::atomic<bool> over{false};
  std::atomic<int> holders{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!over) UploadClaim::sweep(folder_.path(), oldEnough);
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < 100; ++i) {
      const auto alone = UploadClaim::take(folder_.path(), "alone");
      ASSERT_TRUE(alone) << "nobody else wants it";
      EXPECT_TRUE(UploadClaim::isTaken(folder_.path(), "alone"));
    }
    over = true;
  });
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!over) {
        const auto claim = UploadClaim::take(folder_.path(), "wanted");
        if (!claim) continue;
        EXPECT_EQ(++holders, 1);
        std::this_thread::yield();
        --holders;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
