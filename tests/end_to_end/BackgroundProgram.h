#pragma once

#include <sys/types.h>
#include <filesystem>
#include <string>
#include <vector>

/// A program that runs beside the one that is tested, until this object goes.
class BackgroundProgram {
 public:
  /// `environment` is "NAME=value", beside this process's own; the output goes to a file.
  BackgroundProgram(std::vector<std::string> arguments, const std::vector<std::string>& environment,
                    const std::filesystem::path& output);
  ~BackgroundProgram();
  BackgroundProgram(const BackgroundProgram&) = delete;
  BackgroundProgram& operator=(const BackgroundProgram&) = delete;

 private:
  pid_t pid_ = 0;
};
