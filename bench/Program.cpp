#include "bench/Program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

Program::Program(const std::vector<std::string>& command, const std::string& display) {
  pid_ = fork();
  if (pid_ != 0) return;
  setenv("DISPLAY", display.c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
  const int nothing = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

Program::~Program() {
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

std::vector<pid_t> Program::processes() const {
  std::vector<pid_t> found = {pid_};
  for (std::size_t i = 0; i < found.size(); ++i) {
    const std::string id = std::to_string(found[i]);
    std::ifstream children("/proc/" + id + "/task/" + id + "/children");
    for (pid_t child; children >> child;) found.push_back(child);
  }
  return found;
}

double Program::processorSeconds() const {
  double ticks = 0;
  for (const pid_t process : processes()) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    // The name, in brackets, may hold anything; user and system time are the 12th and 13th field after it.
    std::istringstream fields(line.substr(std::min(line.rfind(')') + 2, line.size())));
    std::string field;
    for (int i = 0; i < 11; ++i) fields >> field;
    double user = 0, system = 0;
    if (fields >> user >> system) ticks += user + system;
  }
  return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

Program::Memory Program::memory() const {
  Memory memory;
  for (const pid_t process : processes()) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("Rss:")) memory.resident += std::atof(line.c_str() + 4) / 1024;
      if (line.starts_with("Pss:")) memory.proportional += std::atof(line.c_str() + 4) / 1024;
    }
  }
  return memory;
}
