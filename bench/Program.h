#pragma once

#include <sys/types.h>
#include <string>
#include <vector>

/// A program under measurement, with everything that it starts. It is ended with this object.
class Program {
 public:
  /// Starts it with DISPLAY set; its output is thrown away.
  Program(const std::vector<std::string>& command, const std::string& display);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// It and its children.
  std::vector<pid_t> processes() const;
  /// Processor time of all of them so far, in seconds.
  double processorSeconds() const;
  struct Memory {
    double resident = 0;      ///< megabytes, pages shared with other programs counted in full
    double proportional = 0;  ///< megabytes, shared pages divided by their users
  };
  Memory memory() const;

 private:
  pid_t pid_;
};
