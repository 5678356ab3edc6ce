#include "FaultSession.h"

#include "tests/common/Files.h"
#include "tests/end_to_end/MovieReader.h"

#include <gtest/gtest.h>
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

void FaultSession::start(const std::string& before, const std::string& first, const std::string& second) {
  Session::start(movie_, "wait ready 60\n" + before + "time\nwait file " + goOnFile().string() + " 90\n" + first +
                             "wait settled 90\nstate\nanswer OK\nwait file " + (folder() / "again").string() + " 90\n" +
                             second);
}

bool FaultSession::canInject() {
#ifdef ZEVANTI_SANITIZED
  return false;  // the sanitizers' runtime wants to be the first library itself
#else
  return true;
#endif
}

void FaultSession::injectFault(int number, int error, const std::vector<std::string>& more) {
  environment = {std::string("LD_PRELOAD=") + ZEVANTI_FAULT_INJECTOR,
                 "ZEVANTI_FAULT_PROGRAM=ZVVideoEditorExtension",
                 "ZEVANTI_FAULT_FOLDERS=" + library().string() + ":" + cache.string(),
                 "ZEVANTI_FAULT_SWITCH=" + goOnFile().string(),
                 "ZEVANTI_FAULT_NUMBER=" + std::to_string(number),
                 "ZEVANTI_FAULT_ERRNO=" + std::to_string(error),
                 "ZEVANTI_FAULT_LOG=" + (folder() / "faults").string()};
  environment.insert(environment.end(), more.begin(), more.end());
}

std::vector<std::string> FaultSession::injected() const {
  std::vector<std::string> lines;
  std::ifstream log(folder() / "faults");
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  return lines;
}

pid_t FaultSession::editor() const {
  const std::string host = std::to_string(process());
  std::ifstream children("/proc/" + host + "/task/" + host + "/children");
  for (pid_t child; children >> child;) {
    if (contentOf("/proc/" + std::to_string(child) + "/comm").starts_with("ZVVideoEditorE")) return child;
  }
  return 0;
}

bool FaultSession::reachPoint() {
  return waitForOutput("\n", kLongest);
}

void FaultSession::goOn() {
  touch(goOnFile());
}

bool FaultSession::reachFailure() {
  const auto hasEnded = [this] {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(process()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
  };
  EXPECT_TRUE(waitUntil(kLongest, [&] { return !states().empty() || hasEnded(); })) << errors();
  return !states().empty();
}

void FaultSession::tryAgain() {
  touch(folder() / "again");
}

std::string FaultSession::state() const {
  const auto all = states();
  return all.empty() ? "" : all.front();
}

std::string FaultSession::message() const {
  const std::string alert = member(state(), "alert");
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

void FaultSession::expectNothingLeft() const {
  for (const fs::path& file : leftovers()) ADD_FAILURE() << file << " is left";
}
