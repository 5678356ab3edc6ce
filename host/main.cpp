#include "host/HostSession.h"
#include "host/Options.h"

#include <cstdio>

int main(int argc, char* argv[]) {
  Options options;
  std::string problem;
  if (!parseOptions(argc, argv, options, problem)) {
    std::fprintf(stderr, "zevanti: %s\nUsage: zevanti [OPTION]... MOVIE\nTry 'zevanti --help' for more.\n",
                 problem.c_str());
    return 2;
  }
  if (options.request == Options::Request::Help) {
    std::fputs(usageText, stdout);
    return 0;
  }
  if (options.request == Options::Request::Version) {
    std::puts("zevanti " ZEVANTI_VERSION);
    return 0;
  }
  return HostSession(options).run();
}
