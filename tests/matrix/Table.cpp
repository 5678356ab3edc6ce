#include "tests/matrix/Table.h"

#include "tests/matrix/Differences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

std::string listed(const std::vector<std::string>& words) {
  std::string result;
  for (const std::string& word : words) result += (result.empty() ? "" : ", ") + word;
  return result;
}

}  // namespace

matrix::Table& matrix::Table::shared() {
  static Table table;
  return table;
}

matrix::Table::Cell& matrix::Table::cell(const std::string& source, const std::string& player) {
  const auto remember = [](std::vector<std::string>& list, const std::string& name) {
    if (std::find(list.begin(), list.end(), name) == list.end()) list.push_back(name);
  };
  remember(sources_, source);
  remember(players_, player);
  return cells_[source][player];
}

void matrix::Table::add(const std::string& source, const std::string& range, const std::string& player,
                        const Verdict& verdict) {
  Cell& place = cell(source, player);
  ++(verdict.complaints.empty() ? place.passed : place.failed);
  const char* report = std::getenv("ZEVANTI_MATRIX_REPORT");
  for (const std::string& complaint : verdict.complaints) {
    const std::string line = source + " | " + range + " | " + player + " | " + complaint;
    ADD_FAILURE() << line;
    if (report) std::ofstream(report, std::ios::app) << line << '\n';
  }
  for (const std::string& what : verdict.notCompared) {
    remarks_["not compared: " + player + ": " + what].push_back(source + " " + range);
  }
}

void matrix::Table::addNotApplicable(const std::string& source, const std::string& range, const std::string& player,
                                     const std::string& reason) {
  ++cell(source, player).notApplicable;
  remarks_["n/a: " + player + ": " + reason].push_back(source + " " + range);
}

void matrix::Table::addFailedExport(const std::string& source, const std::string& range, const std::string& failure) {
  if (exactnessOf("export", source).mayRefuse) {
    addNotApplicable(source, range, "export", failure);
  } else {
    add(source, range, "export", {{failure}, {}});
  }
}

void matrix::Table::print() const {
  if (sources_.empty()) return;
  std::printf("\n%-16s", "");
  for (const std::string& player : players_) std::printf("  %-12s", player.c_str());
  std::printf("\n");
  for (const std::string& source : sources_) {
    std::printf("%-16s", source.c_str());
    for (const std::string& player : players_) {
      std::string word = "-";
      const auto& row = cells_.at(source);
      if (const auto found = row.find(player); found != row.end()) {
        const Cell& place = found->second;
        if (place.failed) {
          word = "FAIL " + std::to_string(place.failed) + "/" + std::to_string(place.failed + place.passed);
        } else {
          word = place.passed ? "pass " + std::to_string(place.passed) : "";
          if (place.notApplicable) word += (word.empty() ? "n/a " : " n/a ") + std::to_string(place.notApplicable);
        }
      }
      std::printf("  %-12s", word.c_str());
    }
    std::printf("\n");
  }
  for (const auto& [remark, places] : remarks_) std::printf("%s: %s\n", remark.c_str(), listed(places).c_str());
  for (const Difference& difference : differences()) {
    const bool here =
        difference.player.empty() || std::find(players_.begin(), players_.end(), difference.player) != players_.end();
    if (!here) continue;
    std::printf("known: %s, %s: %s\n", difference.player.empty() ? "every player" : difference.player.c_str(),
                difference.sources.empty() ? "every source" : listed(difference.sources).c_str(),
                difference.reason.c_str());
  }
  std::fflush(stdout);
}
