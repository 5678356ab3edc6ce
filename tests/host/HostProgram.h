#pragma once

#include "tests/foundation/ScratchFolder.h"

#include <sys/types.h>
#include <string>
#include <vector>

/// The real `zevanti` and `zevanti-probe` in a folder of their own, where this test program stands in the extension's
/// place, with a cache folder of their own.
class HostProgram {
 public:
  HostProgram();

  struct Result {
    int status = -1;  ///< exit status; 1000 and the number for a signal
    std::string output, errors;
  };
  /// Runs `zevanti` to its end.
  Result run(const std::string& fakeMode, const std::vector<std::string>& arguments);

  /// One that is still running.
  struct Running {
    pid_t pid = 0;
    std::string name;  ///< its files' common path
  };
  Running start(const std::string& fakeMode, const std::vector<std::string>& arguments);
  Result wait(const Running& running);
  /// What the fake extension was given, line by line; waits for it.
  std::vector<std::string> values(const Running& running);
  std::vector<std::string> lastValues() { return values(last_); }

  /// From now on everything runs as a user without privileges, where this one has any.
  void dropPrivileges();

  /// Writes a movie and returns its path.
  std::string movie(const std::string& name = "My recording.mp4");

  std::string cacheFolder() const { return folder_ / "cache"; }
  std::string temporaryDirectory() const { return cacheFolder() + "/zevanti"; }
  /// The names of what is in the temporary directory.
  std::vector<std::string> temporaryFiles() const;
  const ScratchFolder& folder() const { return folder_; }

 private:
  ScratchFolder folder_;
  Running last_;
  int count_ = 0;
  bool unprivileged_ = false;
};

/// Waits until a file is there; false after a long time.
bool waitForFile(const std::string& path);
