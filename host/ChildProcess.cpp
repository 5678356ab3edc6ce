#include "host/ChildProcess.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace {

std::vector<std::string> environmentWith(const std::vector<std::string>& variables) {
  std::vector<std::string> environment = variables;
  for (char** entry = environ; *entry; ++entry) {
    std::string_view name(*entry, static_cast<std::size_t>(std::strcspn(*entry, "=")));
    bool replaced = std::any_of(variables.begin(), variables.end(), [&](const std::string& variable) {
      return variable.size() > name.size() && variable.compare(0, name.size(), name) == 0 &&
             variable[name.size()] == '=';
    });
    if (!replaced) environment.emplace_back(*entry);
  }
  return environment;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

ChildProcess::~ChildProcess() {
  kill();
}

int ChildProcess::start(const Setup& setup) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (setup.standardOutput >= 0) posix_spawn_file_actions_adddup2(&actions, setup.standardOutput, STDOUT_FILENO);
  if (setup.inherited >= 0) posix_spawn_file_actions_adddup2(&actions, setup.inherited, inheritedDescriptor);

  // This process takes its signals from a descriptor; the program is to start as usual.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none, standard;
  sigemptyset(&none);
  sigemptyset(&standard);
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&standard, number);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &standard);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                           (setup.ownGroup ? POSIX_SPAWN_SETPGROUP : 0)));

  std::vector<std::string> arguments{setup.program};
  arguments.insert(arguments.end(), setup.arguments.begin(), setup.arguments.end());
  std::vector<std::string> environment = environmentWith(setup.variables);
  int failure = posix_spawn(&pid_, setup.program.c_str(), &actions, &attributes, pointers(arguments).data(),
                            pointers(environment).data());
  if (failure != 0) pid_ = 0;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

void ChildProcess::signal(int number) const {
  if (pid_ > 0) ::kill(pid_, number);
}

std::optional<int> ChildProcess::reap() {
  int status = 0;
  if (pid_ <= 0 || waitpid(pid_, &status, WNOHANG) != pid_) return {};
  pid_ = 0;
  return status;
}

void ChildProcess::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = 0;
}
