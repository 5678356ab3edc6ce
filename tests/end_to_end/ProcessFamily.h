#pragma once

#include <sys/types.h>
#include <string>
#include <vector>

/// Whether it has been stopped, as by SIGSTOP.
bool isStopped(pid_t process);

/// The processes of one start of the program: whoever has an entry in its environment that nobody else has. Groups and
/// parents would not do, as the extension has a group of its own and outlives its parent.
class ProcessFamily {
 public:
  /// `mark` is the entry, "NAME=value"; `leader` the process that was started first.
  ProcessFamily(std::string mark, pid_t leader) : mark_(std::move(mark)), leader_(leader) {}

  /// Those that run now; ended ones that nobody has waited for don't count.
  std::vector<pid_t> members() const;
  /// Whether one of them has been stopped.
  bool standsStill() const;
  /// Ends, with SIGKILL: the leader alone, everybody else, or all. Nothing happens to who has gone already; whether
  /// anybody was there.
  enum class Victim { Leader, Others, All };
  bool kill(Victim victim) const;

 private:
  std::string mark_;
  pid_t leader_;
};
