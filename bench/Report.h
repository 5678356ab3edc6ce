#pragma once

#include <optional>
#include <string>

/// The table that a measurement prints: a line for each figure, with the target that it is held against and whether
/// it is met. A figure that could not be measured is an error.
class Report {
 public:
  /// Prints the table's head. `theirs` names the program beside us; empty for none.
  explicit Report(const std::string& theirs);

  /// A figure with the most that it may be; nothing for no target. `theirs` is shown for comparison.
  void figure(const std::string& what, const std::string& unit, double ours, std::optional<double> theirs,
              std::optional<double> most);
  /// Two figures whose ratio has a target: at most, or, with `atLeast`, at least.
  void ratio(const std::string& what, const std::string& unit, double ours, double theirs, double limit,
             bool atLeast = false);

  /// The exit status: 0, or 1 when a measurement is missing. Targets that are missed are counted on standard output.
  int finish() const;

 private:
  void line(const std::string& what, const std::string& unit, double ours, std::optional<double> theirs,
            std::optional<double> ratio, const std::string& target, std::optional<bool> met);
  int missing_ = 0, missed_ = 0;
};
