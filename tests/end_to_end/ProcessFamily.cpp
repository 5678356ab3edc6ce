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
  // Whoever is just being started is found the second time.
  for (int round = 0; round < 2; ++round) {
    for (const pid_t process : members()) {
      if (victim == Victim::All || (process == leader_) == (victim == Victim::Leader))
        isHit |= ::kill(process, SIGKILL) == 0;
    }
  }
  return isHit;
}
