#pragma once

#include "tests/matrix/Judge.h"

#include <map>
#include <string>
#include <vector>

namespace matrix {

/// The outcome of each source in each player, printed as one table when all is done.
class Table {
 public:
  static Table& shared();

  /// Notes the outcome of one range; a source passes in a player when all its ranges do. Complaints are printed at
  /// once as failures of the running test.
  void add(const std::string& source, const std::string& range, const std::string& player, const Verdict& verdict);
  /// The range is not judged in that player, and why.
  void addNotApplicable(const std::string& source, const std::string& range, const std::string& player,
                        const std::string& reason);
  /// The table, what was not judged or not compared, and the known differences that hold for what is in the table.
  void print() const;

 private:
  struct Cell {
    int passed = 0, failed = 0, notApplicable = 0;
  };
  std::vector<std::string> sources_, players_;  ///< in the order in which they came
  std::map<std::string, std::map<std::string, Cell>> cells_;
  std::map<std::string, std::vector<std::string>> remarks_;  ///< player and remark: the places

  Cell& cell(const std::string& source, const std::string& player);
};

}  // namespace matrix
