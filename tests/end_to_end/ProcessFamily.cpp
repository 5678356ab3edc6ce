#include "ProcessFamily.h"

#include "tests/common/Files.h"

#include <algorithm>
#include <csignal>

std::vector<pid_t> ProcessFamily::members() const {
  const std::string entry = '\0' + mark_ + '\0';
  std::vector<pid_t> found;
  std::error_code error;
  for (std::filesystem::directory_iterator process("/proc", error), end; process != end; process.increment(error)) {
    const std::string name = process->path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    // What has ended has no environment.
    if (('\0' + contentOf(process->path() / "environ")).find(entry) != std::string::npos)
      found.push_back(static_cast<pid_t>(std::stol(name)));
  }
  return found;
}

bool isStopped(pid_t process) {
  return contentOf("/proc/" + std::to_string(process) + "/status").find("\nState:\tT") != std::string::npos;
}

bool ProcessFamily::standsStill() const {
  const auto all = members();
  return std::any_of(all.begin(), all.end(), isStopped);
}

bool ProcessFamily::kill(Victim victim) const {
  bool isHit = false;
  const auto program = [](pid_t process) {
    std::error_code gone;
    return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", gone);
  };
  const auto leaders = program(leader_);
  // A process with the leader's program is a part of it: one that is about to run another, or one that looks for leaks
  // at its end, and for which a leader would wait for ever.
  const auto isLeader = [&](pid_t process) { return process == leader_ || program(process) == leaders; };
  // Whoever is just being started is found the second time.
  for (int round = 0; round < 2; ++round) {
    for (const pid_t process : members()) {
      if (victim == Victim::All || isLeader(process) == (victim == Victim::Leader))
        isHit |= ::kill(process, SIGKILL) == 0;
    }
  }
  return isHit;
}
