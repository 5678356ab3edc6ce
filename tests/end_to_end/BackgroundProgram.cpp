#include "BackgroundProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <cstring>

BackgroundProgram::BackgroundProgram(std::vector<std::string> arguments, const std::vector<std::string>& environment,
                                     const std::filesystem::path& output) {
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ < 0) {
    ADD_FAILURE() << "no process for " << arguments[0];
    return;
  }
  if (pid_ > 0) return;
  setpgid(0, 0);
  for (const std::string& variable : environment) putenv(strdup(variable.c_str()));
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  execv(argv[0], argv.data());
  _exit(127);
}

BackgroundProgram::~BackgroundProgram() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}
