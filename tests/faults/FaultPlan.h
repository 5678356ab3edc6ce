#pragma once

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

/// Which of a program's calls fail, and how: for the injector that is loaded into it, see FaultInjector.cpp.
struct Fault {
  int number = 0;     ///< of the call, from 1; 0 for none
  int error = EIO;    ///< 0: writes take only half of what they are given
  bool once = false;  ///< only that call; else all from there on
};

struct FaultPlan {
  std::string program;
  std::string folders;  ///< with a colon between them
  std::filesystem::path switchFile, log;
  Fault fault;

  static bool isPossible() {
#ifdef ZEVANTI_SANITIZED
    return false;  // the sanitizers' runtime wants to be the first library itself
#else
    return true;
#endif
  }

  std::vector<std::string> environment() const {
    std::vector<std::string> variables = {"LD_PRELOAD=" ZEVANTI_FAULT_INJECTOR,
                                          "ZEVANTI_FAULT_PROGRAM=" + program,
                                          "ZEVANTI_FAULT_FOLDERS=" + folders,
                                          "ZEVANTI_FAULT_SWITCH=" + switchFile.string(),
                                          "ZEVANTI_FAULT_NUMBER=" + std::to_string(fault.number),
                                          "ZEVANTI_FAULT_ERRNO=" + std::to_string(fault.error),
                                          "ZEVANTI_FAULT_LOG=" + log.string()};
    if (fault.once) variables.emplace_back("ZEVANTI_FAULT_ONCE=1");
    return variables;
  }

  /// The calls that counted, a line each.
  std::vector<std::string> calls() const {
    std::vector<std::string> lines;
    std::ifstream file(log);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }
};
