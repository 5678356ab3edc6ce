#include "tests/matrix/Table.h"

#include "tests/matrix/Differences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

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
  for (const std::string& complaint : verdict.complaints)
    ADD_FAILURE() << source << " | " << range << " | " << player << " | " << complaint;
  for (const std::string& what : verdict.notCompared) {
    remarks_["not compared: " + player + ": " + what].push_back(source + " " + range);
  }
}

void matrix::Table::addNotApplicable(const std::string& source, const std::string& range, const std::string& player,
                                     const std::string& reason) {
  ++cell(source, player).notApplicable;
  remarks_["n/a: " + player + ": " + reason].push_back(source + " " + range);
}

void matrix::Table::print() const {
  if (sources_.empty()) return;
  std::printf("\n%-16s", "");
  for (const std::string& player : players_) std::printf("  %-12s", player.c_str());
  std::printf("\n");
  for (const std::string& source : sources_) {
    std::printf("%-16s", source.c_str());
    for (const std::string& player : players_) {
      const auto& row = cells_.at(source);
      const auto found = row.find(player);
      const Cell place = found == row.end() ? Cell() : found->second;
      std::string word = place.passed ? "pass " + std::to_string(place.passed) : "";
      if (place.failed)
        word = "FAIL " + std::to_string(place.failed) + "/" + std::to_string(place.failed + place.passed);
      if (place.notApplicable) word += (word.empty() ? "n/a " : " n/a ") + std::to_string(place.notApplicable);
      if (word.empty()) word = "-";
      std::printf("  %-12s", word.c_str());
    }
    std::printf("\n");
  }
  for (const auto& [remark, places] : remarks_) std::printf("%s: %s\n", remark.c_str(), listed(places).c_str());
  for (const Difference& difference : differences()) {
    const std::string& player = difference.player;
    if (!player.empty() && std::find(players_.begin(), players_.end(), player) == players_.end()) continue;
    std::printf("known: %s, %s: %s\n", player.empty() ? "every player" : player.c_str(),
                difference.sources.empty() ? "every source" : listed(difference.sources).c_str(),
                difference.reason.c_str());
  }
  std::fflush(stdout);
}
