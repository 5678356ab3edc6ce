#pragma once

#include <sys/types.h>
#include <optional>
#include <string>
#include <vector>

/// A program that this one has started. One that still runs when its object goes away is killed.
class ChildProcess {
 public:
  struct Setup {
    std::string program;                 ///< path
    std::vector<std::string> arguments;  ///< without the program's name
    std::vector<std::string> variables;  ///< "NAME=value", added to this process's environment or replacing it there
    int inherited = -1;                  ///< a descriptor that the program gets as `inheritedDescriptor`
    int standardOutput = -1;             ///< a descriptor that the program gets as its standard output
    bool ownGroup = false;               ///< out of reach of the keys that signal the terminal's foreground programs
  };
  static constexpr int inheritedDescriptor = 3;

  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  /// Returns 0 or an errno value.
  int start(const Setup& setup);
  bool isRunning() const { return pid_ > 0; }
  void signal(int number) const;
  /// Notes whether the program has ended; call after SIGCHLD. Returns the wait status once, when it has.
  std::optional<int> reap();
  /// Kills the program and waits for its end.
  void kill();

 private:
  pid_t pid_ = 0;
};
