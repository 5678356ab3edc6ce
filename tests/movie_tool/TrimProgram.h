#pragma once

#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

/// `zevanti trim`, or another of the program's commands, in a folder of its own.
class TrimProgram : public testing::Test {
 protected:
  struct Outcome {
    int status = -1;  ///< 1000 and the number for a signal
    std::string output, errors;
  };

  /// `terminal`: what it gets for standard error; else a file.
  pid_t start(const std::vector<std::string>& arguments, int terminal = -1, const char* command = "trim") {
    std::vector<std::string> words{ZEVANTI_BUILD_DIR "/zevanti", command};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const pid_t pid = fork();
    if (pid != 0) return pid;
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(open((logs_ / "output").c_str(), flags, 0600), STDOUT_FILENO);
    dup2(terminal >= 0 ? terminal : open((logs_ / "errors").c_str(), flags, 0600), STDERR_FILENO);
    for (const std::string& variable : environment_) putenv(strdup(variable.c_str()));
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (chdir(folder_.path().c_str()) == 0) execv(pointers[0], pointers.data());
    _exit(127);
  }

  Outcome wait(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contentOf(logs_ / "output"),
            contentOf(logs_ / "errors")};
  }

  Outcome trim(const std::vector<std::string>& arguments) { return wait(start(arguments)); }
  Outcome info(const std::vector<std::string>& arguments) { return wait(start(arguments, -1, "info")); }

  /// Lets the program come to where it has begun to write, and stops it (SIGSTOP) there. False when it has ended before
  /// that was noticed, or the new file has its name already; then it has been waited for.
  bool stopWhileWriting(pid_t pid, const std::string& output) {
    int status = 0;
    while (!hasUnfinishedFile(pid)) {
      if (waitpid(pid, &status, WNOHANG) == pid) return false;
    }
    kill(pid, SIGSTOP);
    if (waitpid(pid, &status, WUNTRACED) != pid || !WIFSTOPPED(status)) return false;
    if (!std::filesystem::exists(folder_ / output)) return true;
    kill(pid, SIGCONT);
    waitpid(pid, &status, 0);
    return false;
  }

  /// A copy of a recording in the folder.
  void bring(const std::string& recording, const std::string& name) {
    std::filesystem::copy_file(recordings::path(recording), folder_ / name);
  }

  std::vector<std::string> files() const { return namesIn(folder_.path()); }

  double length(const std::string& name) const {
    const FileDescriptor file(open((folder_ / name).c_str(), O_RDONLY));
    NSErrorPtr error;
    const auto movie = isobmff::readMovie(file.get(), name, &error);
    return movie ? isobmff::playerDuration(*movie) : 0;
  }

  ScratchFolder folder_, logs_;
  std::vector<std::string> environment_;  ///< "NAME=value"

 private:
  /// Whether the program has a file open in the folder that has no name there, or a hidden one.
  bool hasUnfinishedFile(pid_t pid) const {
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", gone)) {
      const std::string name = std::filesystem::read_symlink(entry.path(), gone).string();
      if (name.starts_with(folder_ / "#") || name.starts_with(folder_ / ".zevanti-")) return true;
    }
    return false;
  }
};
