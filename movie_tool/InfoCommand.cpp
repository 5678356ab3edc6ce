#include "movie_tool/InfoCommand.h"

#include "movie_tool/MovieReport.h"
#include "movie_tool/ReportPrinter.h"

#include <getopt.h>
#include <cstdio>
#include <string>

namespace {

const char* const kUsage =
    R"(Usage: zevanti info [--json] MOVIE
Print what is in a movie: its tracks, how long they are, how far their key frames
are apart, and their edit lists.

      --json    as JSON, for programs; times in seconds, sizes in bytes
      --help    show this help
)";

int wrongUse(const std::string& problem) {
  std::fprintf(stderr, "zevanti info: %s\nUsage: zevanti info [--json] MOVIE\n", problem.c_str());
  return 2;
}

}  // namespace

int infoCommand(int argc, char* argv[]) {
  bool json = false;
  const option options[] = {
      {"json", no_argument, nullptr, 'j'}, {"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
  optind = 0;
  opterr = 0;
  for (int found; (found = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
    if (found == 'h') {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (found != 'j') return wrongUse(std::string("unknown option '") + argv[optind - 1] + "'");
    json = true;
  }
  if (optind >= argc) return wrongUse("no movie given");
  if (optind + 1 < argc) return wrongUse(std::string("one movie at a time: '") + argv[optind + 1] + "' is too many");

  NSErrorPtr error;
  const auto report = MovieReport::read(argv[optind], &error);
  if (!report) {
    std::fprintf(stderr, "zevanti: %s\n", error->localizedDescription().c_str());
    return 1;
  }
  const std::string text = json ? reportAsJSON(*report) : reportAsTable(*report);
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return 0;
  std::perror("zevanti: can't write to standard output");
  return 1;
}
