#include "tests/host/HostProgram.h"

#include "tests/common/Files.h"
#include "tests/data/Recordings.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace {
constexpr uid_t kNobody = 65534;
}

HostProgram::HostProgram() {
  fs::create_directories(folder_ / "bin/ZVVideoEditorExtension.appex");
  for (const char* program : {"zevanti", "zevanti-probe"})
    fs::copy_file(std::string(ZEVANTI_BUILD_DIR) + "/" + program, folder_ / "bin/" + program);
  fs::create_symlink(fs::read_symlink("/proc/self/exe"),
                     folder_ / "bin/ZVVideoEditorExtension.appex/ZVVideoEditorExtension");
}

HostProgram::Running HostProgram::start(const std::string& fakeMode, const std::vector<std::string>& arguments) {
  Running running;
  running.name = folder_ / "run" + std::to_string(++count_);
  std::vector<std::string> words{folder_ / "bin/zevanti", "--offscreen"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  running.pid = fork();
  if (running.pid == 0) {
    setenv("XDG_CACHE_HOME", cacheFolder().c_str(), 1);
    setenv("FAKE_MODE", fakeMode.c_str(), 1);
    setenv("FAKE_OUTPUT", (running.name + ".values").c_str(), 1);
    int flags = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(open((running.name + ".out").c_str(), flags, 0600), STDOUT_FILENO);
    dup2(open((running.name + ".err").c_str(), flags, 0600), STDERR_FILENO);
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (unprivileged_ && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(126);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  last_ = running;
  return running;
}

void HostProgram::dropPrivileges() {
  if (geteuid() != 0) return;
  unprivileged_ = true;
  if (chown(folder_.path().c_str(), kNobody, kNobody) != 0) std::abort();
}

HostProgram::Result HostProgram::wait(const Running& running) {
  int status = 0;
  waitpid(running.pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contentOf(running.name + ".out"),
          contentOf(running.name + ".err")};
}

HostProgram::Result HostProgram::run(const std::string& fakeMode, const std::vector<std::string>& arguments) {
  return wait(start(fakeMode, arguments));
}

std::vector<std::string> HostProgram::values(const Running& running) {
  std::vector<std::string> lines;
  if (!waitForFile(running.name + ".values")) return {"", "", "", "", ""};
  std::istringstream stream(contentOf(running.name + ".values"));
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string HostProgram::movie(const std::string& name) {
  fs::copy_file(recordings::path("one_frame.mp4"), folder_ / name, fs::copy_options::overwrite_existing);
  return folder_ / name;
}

std::vector<std::string> HostProgram::temporaryFiles() const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(temporaryDirectory(), error))
    names.push_back(entry.path().filename().string());
  return names;
}

bool waitForFile(const std::string& path) {
  for (int i = 0; i < 3000; ++i) {
    if (fs::exists(path)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}
