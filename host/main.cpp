#include "host/HostSession.h"
#include "host/Options.h"
#include "host/ProgramFolder.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ShownText.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

int print(const char* text) {
  if (std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0) return 0;
  std::perror("zevanti: can't write to standard output");
  return 1;
}

/// Gives standard streams that are closed a place, so that no file is opened in their stead and then written to. What
/// is printed to one that was closed fails.
void occupyStandardStreams() {
  for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDERR_FILENO ? O_WRONLY : O_RDONLY);
  }
}

/// `zevanti info` and `zevanti trim` need no editor; a program of its own does them, so that this one stays small.
int runMovieTool(char* argv[]) {
  std::string program = programFolder() + "/zevanti-movie";
  argv[0] = program.data();
  execv(program.c_str(), argv);
  printMessage("can't start '" + program + "': " + std::strerror(errno));
  return 1;
}

}  // namespace

int main(int argc, char* argv[]) {
  occupyStandardStreams();
  if (hasOthersRights()) {
    printMessage(OthersRightsMessage);
    return 1;
  }
  if (argc > 1 && (std::strcmp(argv[1], "info") == 0 || std::strcmp(argv[1], "trim") == 0)) return runMovieTool(argv);
  Options options;
  std::string problem;
  if (!parseOptions(argc, argv, options, problem)) {
    printMessage(problem);
    std::fputs("Usage: zevanti [OPTION]... MOVIE\nTry 'zevanti --help' for more.\n", stderr);
    return 2;
  }
  if (options.request == Options::Request::Help) return print(usageText);
  if (options.request == Options::Request::Version) return print("zevanti " ZEVANTI_VERSION "\n");
  return HostSession(options).run();
}
