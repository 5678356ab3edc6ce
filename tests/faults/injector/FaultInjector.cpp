// Loaded into a program in front of the C library: makes opens, writes and what else changes files in certain folders
// fail, from a certain call on. It is told what to do by the environment:
//
//   ZEVANTI_FAULT_PROGRAM  the name of the program that it is meant for; others are left alone
//   ZEVANTI_FAULT_FOLDERS  the folders, with a colon between them
//   ZEVANTI_FAULT_SWITCH   calls count, and fail, while this file is there
//   ZEVANTI_FAULT_NUMBER   the first call to fail, from 1; 0 for none
//   ZEVANTI_FAULT_ERRNO    the error; 0: nothing fails, but writes take only half of what they are given
//   ZEVANTI_FAULT_ONCE     set: only that call fails
//   ZEVANTI_FAULT_STOPS    set: the program stops at that call instead, as by SIGSTOP, and all calls go well
//   ZEVANTI_FAULT_READ     opens for reading of files whose names begin so fail, and nothing else does; with a second
//                          beginning behind a colon, those of the second kind from then on, too; "*": all opens do, in
//                          whatever folder
//   ZEVANTI_FAULT_LINKS    set: files can't have a second name, as between two disks; that doesn't count
//   ZEVANTI_FAULT_LOG      gets a line for each call that counts
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace {

struct Plan {
  bool isMeant = false;
  std::vector<std::string> folders, readPrefixes;
  std::string switchFile, log;
  bool stops = false, once = false, anyOpen = false, refusesLinks = false;
  int number = 0, error = 0;
};

std::string setting(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::vector<std::string> settings(const char* name) {
  const std::string list = setting(name);
  std::vector<std::string> parts;
  for (std::size_t at = 0; at < list.size();) {
    const std::size_t end = std::min(list.find(':', at), list.size());
    parts.push_back(list.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

const Plan& plan() {
  static const Plan* const made = [] {
    auto* plan = new Plan;  // calls still come when static objects are destroyed
    plan->isMeant = setting("ZEVANTI_FAULT_PROGRAM") == program_invocation_short_name;
    plan->folders = settings("ZEVANTI_FAULT_FOLDERS");
    plan->switchFile = setting("ZEVANTI_FAULT_SWITCH");
    plan->log = setting("ZEVANTI_FAULT_LOG");
    plan->stops = !setting("ZEVANTI_FAULT_STOPS").empty();
    plan->once = !setting("ZEVANTI_FAULT_ONCE").empty();
    plan->refusesLinks = !setting("ZEVANTI_FAULT_LINKS").empty();
    plan->readPrefixes = settings("ZEVANTI_FAULT_READ");
    plan->anyOpen = setting("ZEVANTI_FAULT_READ") == "*";
    plan->number = std::atoi(setting("ZEVANTI_FAULT_NUMBER").c_str());
    plan->error = std::atoi(setting("ZEVANTI_FAULT_ERRNO").c_str());
    return plan;
  }();
  return *made;
}

std::string pathOf(int descriptor) {
  char link[64], path[PATH_MAX];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const ssize_t length = readlink(link, path, sizeof path);
  return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

std::string pathOf(int folder, const char* name) {
  if (!name) return {};
  if (std::strncmp(name, "/proc/self/fd/", 14) == 0) return pathOf(std::atoi(name + 14));
  if (name[0] == '/') return name;
  return (folder == AT_FDCWD ? std::string(".") : pathOf(folder)) + "/" + name;
}

bool isWatched(const std::string& path) {
  for (const std::string& folder : plan().folders) {
    if (path.compare(0, folder.size(), folder) == 0 && (path.size() == folder.size() || path[folder.size()] == '/'))
      return true;
  }
  return false;
}

/// Counts a call on `path`; whether it is to fail, with errno set then. `amount`: what it is to write, which may become
/// less.
bool fails(const char* call, const std::string& path, std::size_t* amount) {
  const Plan& plan = ::plan();
  if (access(plan.switchFile.c_str(), F_OK) != 0) return false;
  static std::atomic<int> calls{0};
  const int number = ++calls;
  const bool isHit = plan.number > 0 && !plan.stops && (plan.once ? number == plan.number : number >= plan.number);
  const bool halves = isHit && plan.error == 0 && amount && *amount > 1;
  // Only what takes time is interrupted.
  const bool fail = isHit && plan.error != 0 && (plan.error != EINTR || amount);
  const std::string line = std::to_string(number) + " " + call + " " + path +
                           (fail     ? " fails"
                            : halves ? " is cut short"
                                     : "") +
                           "\n";
  const auto log =
      static_cast<int>(syscall(SYS_openat, AT_FDCWD, plan.log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
  if (log >= 0) {
    syscall(SYS_write, log, line.data(), line.size());
    syscall(SYS_close, log);
  }
  if (halves) *amount /= 2;
  if (plan.stops && number == plan.number) raise(SIGSTOP);
  if (fail) errno = plan.error;
  return fail;
}

bool changeFails(const char* call, const std::string& path, std::size_t* amount = nullptr) {
  return plan().readPrefixes.empty() && isWatched(path) && fails(call, path, amount);
}
bool fails(const char* call, int descriptor, std::size_t* amount = nullptr) {
  return plan().isMeant && changeFails(call, pathOf(descriptor), amount);
}
bool fails(const char* call, int folder, const char* name) {
  return plan().isMeant && changeFails(call, pathOf(folder, name));
}
bool linkFails(int folder, const char* name) {
  if (plan().isMeant && plan().refusesLinks) {
    errno = EXDEV;
    return true;
  }
  return fails("link", folder, name);
}

/// What is shown meanwhile is still read: only opens that lead to a new file fail, its folder's included.
bool openFails(int folder, const char* name, int flags) {
  const Plan& plan = ::plan();
  if (!plan.isMeant) return false;
  const bool writes = (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0;
  const std::string path = pathOf(folder, name);
  if (plan.anyOpen) return fails("open", path, nullptr);
  if (plan.readPrefixes.empty())
    return (writes || (flags & O_DIRECTORY) != 0) && changeFails(writes ? "open to write" : "open", path);
  if (writes || !isWatched(path) || access(plan.switchFile.c_str(), F_OK) != 0) return false;
  const std::string file = path.substr(path.rfind('/') + 1);
  const auto begins = [&](const std::string& prefix) { return file.rfind(prefix, 0) == 0; };
  static std::atomic<bool> hasBegun = false;
  if (begins(plan.readPrefixes.front())) hasBegun = true;
  return hasBegun && std::any_of(plan.readPrefixes.begin(), plan.readPrefixes.end(), begins) &&
         fails("open to read", path, nullptr);
}
int flagsOf(const char* mode) {
  return mode[0] == 'r' && !std::strchr(mode, '+') ? O_RDONLY : O_RDWR | O_CREAT;
}

template <class Result>
Result failed() {
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    return Result(-1);
  }
}

}  // namespace

/// A function of the library's name, and under another one here: its own declaration may have no fixed parameters.
#define WRAP(result, name, parameters, arguments, fault)                                      \
  extern "C" result wrapped_##name parameters asm(#name);                                     \
  result wrapped_##name parameters {                                                          \
    static const auto next = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
    return (fault) ? failed<result>() : next arguments;                                       \
  }

WRAP(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode), openFails(AT_FDCWD, path, flags))
WRAP(int, open64, (const char* path, int flags, mode_t mode), (path, flags, mode), openFails(AT_FDCWD, path, flags))
WRAP(int, openat, (int folder, const char* path, int flags, mode_t mode), (folder, path, flags, mode),
     openFails(folder, path, flags))
WRAP(int, openat64, (int folder, const char* path, int flags, mode_t mode), (folder, path, flags, mode),
     openFails(folder, path, flags))
WRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode), openFails(AT_FDCWD, path, flagsOf(mode)))
WRAP(FILE*, fopen64, (const char* path, const char* mode), (path, mode), openFails(AT_FDCWD, path, flagsOf(mode)))
WRAP(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size), fails("write", file, &size))
WRAP(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t at), (file, bytes, size, at),
     fails("write", file, &size))
WRAP(ssize_t, pwrite64, (int file, const void* bytes, size_t size, off64_t at), (file, bytes, size, at),
     fails("write", file, &size))
WRAP(ssize_t, writev, (int file, const iovec* parts, int count), (file, parts, count), fails("write", file))
WRAP(ssize_t, copy_file_range, (int from, off64_t* in, int to, off64_t* out, size_t size, unsigned flags),
     (from, in, to, out, size, flags), fails("copy", to, &size))
WRAP(int, ftruncate, (int file, off_t size), (file, size), fails("resize", file))
WRAP(int, ftruncate64, (int file, off64_t size), (file, size), fails("resize", file))
WRAP(int, fsync, (int file), (file), fails("sync", file))
WRAP(int, fdatasync, (int file), (file), fails("sync", file))
WRAP(int, sync_file_range, (int file, off64_t from, off64_t size, unsigned flags), (file, from, size, flags),
     fails("sync", file))
WRAP(int, rename, (const char* from, const char* to), (from, to), fails("rename", AT_FDCWD, to))
WRAP(int, renameat, (int fromFolder, const char* from, int toFolder, const char* to), (fromFolder, from, toFolder, to),
     fails("rename", toFolder, to))
WRAP(int, renameat2, (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags),
     (fromFolder, from, toFolder, to, flags), fails("rename", toFolder, to))
WRAP(int, linkat, (int fromFolder, const char* from, int toFolder, const char* to, int flags),
     (fromFolder, from, toFolder, to, flags), linkFails(toFolder, to))
WRAP(int, mkdir, (const char* path, mode_t mode), (path, mode), fails("make folder", AT_FDCWD, path))
WRAP(char*, mkdtemp, (char* pattern), (pattern), fails("make folder", AT_FDCWD, pattern))
