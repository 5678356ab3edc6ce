/// zevanti-movie COMMAND ...: what can be done with a movie from a script. `zevanti` starts it, and messages begin with
/// that name. Exit status: 0 done, 1 when it could not be done (a line on standard error says why), 2 for wrong use.

#include "movie_tool/InfoCommand.h"
#include "movie_tool/Message.h"
#include "movie_tool/TrimCommand.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ShownText.h"

#include <cstdio>
#include <new>
#include <string>
#include <system_error>

namespace {

int lackOfMemory() {
  return message::fail(
      "there is not enough memory; close other programs, or raise the limit (ulimit -v), and try again");
}

}  // namespace

int main(int argc, char* argv[]) {
  if (hasOthersRights()) {
    printMessage(OthersRightsMessage);
    return 1;
  }
  const std::string command = argc > 1 ? argv[1] : "";
  try {
    if (command == "info") return infoCommand(argc - 1, argv + 1);
    if (command == "trim") return trimCommand(argc - 1, argv + 1);
  } catch (const std::bad_alloc&) {
    return lackOfMemory();
  } catch (const std::system_error&) {  // no further thread
    return lackOfMemory();
  }
  std::fputs("Usage: zevanti info|trim ...\nTry 'zevanti info --help' or 'zevanti trim --help'.\n", stderr);
  return 2;
}
