#include "Session.h"

#include "tests/data/Recordings.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

constexpr double kLongest = 100;  // seconds

std::vector<fs::path> entries(const fs::path& folder, bool deep) {
  std::vector<fs::path> found;
  std::error_code error;
  for (auto entry = fs::recursive_directory_iterator(folder, error); entry != fs::recursive_directory_iterator();
       entry.increment(error)) {
    if (!deep) entry.disable_recursion_pending();
    found.push_back(entry->path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

Session::Session() {
  std::string name = (fs::temp_directory_path() / "zevanti-test.XXXXXX").string();
  if (!mkdtemp(name.data())) std::abort();
  folder_ = name;
  cache = folder_ / "cache";
  fs::create_directories(cache);
}

Session::~Session() {
  if (pid_ > 0) {
    kill(-pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

fs::path Session::copyOf(const std::string& recording, const std::string& name) {
  const fs::path copy = folder_ / (name.empty() ? recording : name);
  fs::copy_file(recordings::path(recording), copy);
  return copy;
}

void Session::start(const fs::path& movie, const std::string& script) {
  const fs::path scriptFile = folder_ / "script";
  std::ofstream(scriptFile) << script;

  std::vector<std::string> arguments = {ZEVANTI_BUILD_DIR "/zevanti", "--offscreen", "--library",
                                        library().string(),           "--script",    scriptFile.string()};
  const auto isSize = [](const std::string& option) { return option == "--size"; };
  if (std::none_of(options.begin(), options.end(), isSize)) arguments.insert(arguments.end(), {"--size", "375x667"});
  arguments.insert(arguments.end(), options.begin(), options.end());
  if (!movie.empty()) arguments.push_back(movie.string());

  constexpr uid_t nobody = 65534;
  const bool drops = unprivileged && geteuid() == 0;
  if (drops) {
    ASSERT_EQ(chown(folder_.c_str(), nobody, nobody), 0);
    for (const fs::path& entry : entries(folder_, true)) ASSERT_EQ(lchown(entry.c_str(), nobody, nobody), 0);
  }
  pid_ = fork();
  ASSERT_GE(pid_, 0);
  if (pid_ == 0) {
    setpgid(0, 0);
    setenv("XDG_CACHE_HOME", cache.c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TZ", "UTC", 1);
    // Without the journal the trace log goes to standard error.
    setenv("ZEVANTI_TRACE", "stderr", 1);
    for (const std::string& variable : environment) putenv(strdup(variable.c_str()));
    const int out = openStandardOutput();
    const int err = open((folder_ / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out >= 0) {
      dup2(out, STDOUT_FILENO);
    } else {
      close(STDOUT_FILENO);
    }
    dup2(err, STDERR_FILENO);
    if (drops && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(126);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  setpgid(pid_, pid_);
}

int Session::openStandardOutput() const {
  switch (standardOutput) {
    case StandardOutput::File:
      return open((folder_ / "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    case StandardOutput::PipeWithoutReader: {
      int ends[2];
      if (pipe(ends) != 0) std::abort();
      close(ends[0]);
      return ends[1];
    }
    case StandardOutput::Full:
      return open("/dev/full", O_WRONLY);
    case StandardOutput::Closed:
      break;
  }
  return -1;
}

bool Session::waitForOutput(const std::string& text, double seconds) {
  return waitUntil(seconds, [&] { return output().find(text) != std::string::npos; });
}

int Session::wait() {
  int status = 0;
  const bool ended = waitUntil(kLongest, [&] { return waitpid(pid_, &status, WNOHANG) == pid_; });
  if (!ended) {
    ADD_FAILURE() << "the program does not end\n" << output() << errors();
    kill(-pid_, SIGKILL);
    waitpid(pid_, &status, 0);
  }
  pid_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int Session::run(const fs::path& movie, const std::string& script) {
  start(movie, script);
  return wait();
}

void Session::signal(int number) {
  kill(pid_, number);
}

std::string Session::output() const {
  return contentOf(folder_ / "stdout");
}
std::string Session::errors() const {
  return contentOf(folder_ / "stderr");
}

std::vector<std::string> Session::states() const {
  std::vector<std::string> found;
  std::istringstream lines(output());
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("{")) found.push_back(line);
  }
  return found;
}

std::vector<fs::path> Session::saved() const {
  return entries(library(), false);
}
std::vector<fs::path> Session::leftovers() const {
  return entries(cache / "zevanti", true);
}

std::string member(const std::string& json, const std::string& key) {
  std::size_t at = json.find("\"" + key + "\": ");
  if (at == std::string::npos) return "(no " + key + ")";
  at += key.size() + 4;
  int depth = 0;
  bool quoted = false;
  for (std::size_t end = at; end < json.size(); ++end) {
    const char c = json[end];
    if (quoted) {
      if (c == '\\') {
        ++end;
      } else if (c == '"') {
        quoted = false;
      }
    } else if (c == '"') {
      quoted = true;
    } else if (c == '[' || c == '{') {
      ++depth;
    } else if ((c == ']' || c == '}') && --depth < 0) {
      return json.substr(at, end - at);
    } else if (c == ',' && depth == 0) {
      return json.substr(at, end - at);
    }
  }
  return json.substr(at);
}

double number(const std::string& json, const std::string& key) {
  const std::string text = member(json, key);
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  EXPECT_EQ(*end, '\0') << key << " is " << text;
  return value;
}

bool waitUntil(double seconds, const std::function<bool()>& reached) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!reached()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // looking takes the processor from the program
  }
  return true;
}
