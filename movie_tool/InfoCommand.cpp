#include "movie_tool/InfoCommand.h"

#include "movie_tool/Arguments.h"
#include "movie_tool/Message.h"
#include "movie_tool/MovieReport.h"
#include "movie_tool/ReportPrinter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

const std::string kUsageLine = "Usage: zevanti info [--json] MOVIE\n";
const char* const kHelp =
    R"(Print what is in a movie: its tracks, how long they are, how far their key frames
are apart, and their edit lists.

      --json    as JSON, for programs; times in seconds, sizes in bytes
      --help    show this help

Put -- before a MOVIE whose name begins with a dash.

Exit status: 0, 1 when the movie can't be read, 2 for wrong options.
)";

int print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return 0;
  return message::fail(std::string("can't write to standard output: ") + std::strerror(errno));
}

}  // namespace

int infoCommand(int argc, char* argv[]) {
  const option options[] = {
      {"json", no_argument, nullptr, 'j'}, {"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
  Arguments arguments(options, "");
  bool json = false, help = false;
  std::string problem;
  const auto handle = [&](int found, const std::string&) {
    (found == 'h' ? help : json) = true;
    return !help;
  };
  arguments.read(argc, argv, handle, problem);
  if (help) return print(kUsageLine + kHelp);
  const std::string path = problem.empty() ? arguments.movie(problem) : "";
  if (!problem.empty()) return message::wrongUse("info", problem, kUsageLine.c_str());

  NSErrorPtr error;
  const auto report = MovieReport::read(path, &error);
  if (!report) return message::fail(error->localizedDescription());
  return print(json ? reportAsJSON(*report) : reportAsTable(*report));
}
