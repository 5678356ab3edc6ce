#include "movie_tool/Message.h"

#include "platform/Foundation/ShownText.h"

#include <cstdio>

std::string message::quoted(const std::string& name) {
  return "“" + name + "”";
}

int message::fail(const std::string& what) {
  printMessage(what);
  return 1;
}

int message::wrongUse(const char* command, const std::string& problem, const char* usage) {
  std::fprintf(stderr, "zevanti %s: %s\n%s", command, printableText(problem).c_str(), usage);
  return 2;
}
