#include "platform/Foundation/Environment.h"

#include <cstdlib>

#include <pwd.h>
#include <sys/auxv.h>
#include <unistd.h>

std::string environmentVariable(const char* name) {
  const char* value = secure_getenv(name);
  return value ? value : "";
}

std::string environmentFolder(const char* name) {
  std::string folder = environmentVariable(name);
  return folder.starts_with('/') ? folder : "";
}

std::string homeFolder() {
  if (std::string home = environmentFolder("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user && user->pw_dir ? user->pw_dir : "/nonexistent";
}

bool hasOthersRights() {
  return getauxval(AT_SECURE) != 0;
}
