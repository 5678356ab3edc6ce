#include "FaultSession.h"

#include "tests/common/Files.h"
#include "tests/end_to_end/MovieReader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <cmath>
#include <fstream>

namespace fs = std::filesystem;

namespace {

constexpr double kLongest = 90;  // seconds

void touch(const fs::path& file) {
  std::ofstream(file).flush();
}

}  // namespace

FaultSession::FaultSession(const std::string& recording) : movie_(copyOf(recording)), content_(contentOf(movie_)) {}

void FaultSession::start(const std::string& before, const std::string& first, const std::string& second,
                         const std::string& answers) {
  Session::start(movie_, "wait ready 60\n" + before + "time\nwait file " + goOnFile().string() + " 90\n" + first +
                             "wait settled 90\nstate\n" + answers + "wait file " + (folder() / "again").string() +
                             " 90\n" + second);
  EXPECT_TRUE(waitForOutput("\n", kLongest)) << errors();
}

void FaultSession::injectFault(const Fault& fault, const std::vector<std::string>& more, const std::string& program) {
  plan_ = {
      program,
      library().string() + ":" + cache.string() + ":" + copies().string() + ":" + (folder() / "desktop/state").string(),
      goOnFile(), folder() / "faults", fault};
  for (const auto& variables : {plan_.environment(), more})
    environment.insert(environment.end(), variables.begin(), variables.end());
}

pid_t FaultSession::editor() const {
  const std::string host = std::to_string(process());
  std::ifstream children("/proc/" + host + "/task/" + host + "/children");
  for (pid_t child; children >> child;) {
    if (contentOf("/proc/" + std::to_string(child) + "/comm").starts_with("ZVVideoEditorE")) return child;
  }
  return 0;
}

void FaultSession::goOn() {
  touch(goOnFile());
}

bool FaultSession::hasEnded() const {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(process()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

bool FaultSession::reachFailure() {
  EXPECT_TRUE(waitUntil(kLongest, [&] { return !states().empty() || hasEnded(); })) << errors();
  return !states().empty();
}

void FaultSession::expectFailure() {
  goOn();
  EXPECT_TRUE(reachFailure()) << errors();
}

void FaultSession::tryAgain() {
  touch(folder() / "again");
}

std::string FaultSession::state() const {
  const auto all = states();
  return all.empty() ? "" : all.front();
}

std::string FaultSession::message() const {
  const std::string now = state(), alert = now.empty() ? "null" : member(now, "alert");
  return alert == "null" ? "" : member(alert, "message");
}

void FaultSession::expectMovieUntouched() const {
  EXPECT_EQ(contentOf(movie_), content_);
}

std::size_t FaultSession::wholeMoviesInLibrary(double seconds) const {
  std::size_t whole = 0;
  for (const fs::path& file : saved()) {
    const bool shown = file.filename().string()[0] != '.';
    if (shown && std::abs(movieDuration(file) - seconds) < 0.1) ++whole;
  }
  return whole;
}

void FaultSession::expectWholeFilesOnly(double seconds, std::size_t least) const {
  EXPECT_EQ(wholeMoviesInLibrary(seconds), saved().size());
  EXPECT_GE(saved().size(), least);
  for (const fs::path& file : leftovers()) {
    if (fs::is_directory(file) || file.filename() == movie_.filename()) continue;
    EXPECT_TRUE(file.filename().string().starts_with("ZVZevanti_Trim")) << file;
    EXPECT_NEAR(movieDuration(file), seconds, 0.1) << file;
  }
}

std::uint64_t FaultSession::bytesWithoutName() const {
  std::uint64_t bytes = 0;
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(editor()) + "/fd", gone)) {
    struct stat status {};
    const bool isOurs = fs::read_symlink(entry.path(), gone).string().starts_with(folder().string());
    if (isOurs && stat(entry.path().c_str(), &status) == 0 && status.st_nlink == 0)
      bytes += static_cast<std::uint64_t>(status.st_size);
  }
  return bytes;
}

void FaultSession::expectNothingLeft() const {
  for (const fs::path& file : leftovers()) ADD_FAILURE() << file << " is left";
}
