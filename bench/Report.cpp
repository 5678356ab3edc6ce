#include "bench/Report.h"

#include <cmath>
#include <cstdio>

namespace {

std::string number(double value, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

}  // namespace

Report::Report(const std::string& theirs) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::printf("%-50s %10s %18s %7s  %s\n", "", "zevanti", theirs.c_str(), "ratio", "target");
}

void Report::figure(const std::string& what, const std::string& unit, double ours, std::optional<double> theirs,
                    std::optional<double> most) {
  if (most) {
    const std::string target = *most == 0 ? "none" : "at most " + number(*most, *most < 10 ? 2 : 0) + " " + unit;
    line(what, unit, ours, theirs, {}, target, std::round(ours * 100) / 100 <= *most);
  } else {
    line(what, unit, ours, theirs, {}, "", {});
  }
}

void Report::ratio(const std::string& what, const std::string& unit, double ours, double theirs, double limit,
                   bool atLeast) {
  const double ratio = atLeast ? theirs / ours : ours / theirs;
  line(what, unit, ours, theirs, ratio, (atLeast ? "ratio at least " : "ratio at most ") + number(limit, 2),
       atLeast ? ratio >= limit : ratio <= limit);
}

void Report::line(const std::string& what, const std::string& unit, double ours, std::optional<double> theirs,
                  std::optional<double> ratio, const std::string& target, std::optional<bool> met) {
  if (!std::isfinite(ours) || !std::isfinite(theirs.value_or(0)) || !std::isfinite(ratio.value_or(0))) {
    ++missing_;
    std::fprintf(stderr, "error: no measurement of: %s\n", what.c_str());
    return;
  }
  if (met == false) ++missed_;
  std::printf("%-50s %10s %18s %7s  %-24s %s\n", (what + ", " + unit).c_str(), number(ours, 2).c_str(),
              theirs ? number(*theirs, 2).c_str() : "", ratio ? number(*ratio, 2).c_str() : "", target.c_str(),
              !met   ? ""
              : *met ? "met"
                     : "MISSED");
}

int Report::finish() const {
  std::printf("%s\n", missed_ == 0 ? "Every target is met." : (std::to_string(missed_) + " missed.").c_str());
  if (missing_ > 0) std::fprintf(stderr, "error: %d measurements are missing\n", missing_);
  return missing_ == 0 ? 0 : 1;
}
