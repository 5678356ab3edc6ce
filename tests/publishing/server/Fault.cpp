#include "tests/publishing/server/Fault.h"

#include <regex>

namespace publishing_test {

std::optional<Fault> Fault::parse(const std::string& text) {
  static const std::regex form(R"((authorize|token|start|chunk|query|cancel):([a-z-]+)(=(\d{1,15}))?(\*(\d{1,6}))?)");
  std::smatch parts;
  if (!std::regex_match(text, parts, form)) return std::nullopt;
  Fault fault;
  fault.place = parts[1];
  fault.what = parts[2];
  if (parts[4].matched) fault.value = std::stoll(parts[4]);
  if (parts[6].matched) fault.times = std::stoi(parts[6]);
  return fault;
}

}  // namespace publishing_test
