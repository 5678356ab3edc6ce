// Loaded into a program in front of the C library: makes opens, writes and what else changes files in certain folders
// fail, from a certain call on. It is told what to do by the environment:
//
//   ZEVANTI_FAULT_PROGRAM  the name of the program that it is meant for; others are left alone
//   ZEVANTI_FAULT_FOLDERS  the folders, with a colon between them
//   ZEVANTI_FAULT_SWITCH   calls count, and fail, while this file is there
//   ZEVANTI_FAULT_NUMBER   the first call to fail, from 1; 0 for none
//   ZEVANTI_FAULT_ERRNO    the error
//   ZEVANTI_FAULT_STOPS    set: the program stops at that call instead, as by SIGSTOP, and all calls go well
//   ZEVANTI_FAULT_READ     opens for reading of files whose names begin so fail, and nothing else does
//   ZEVANTI_FAULT_LOG      gets a line for each call that counts
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* kRead = "open to read";

struct Plan {
  bool isMeant = false;
  std::vector<std::string> folders;
  std::string switchFile, log, readPrefix;
  bool stops = false;
  int number = 0, error = EIO;
};

std::string setting(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

const Plan& plan() {
  static const Plan* const made = [] {
    auto* plan = new Plan;  // calls still come when static objects are destroyed
    plan->isMeant = setting("ZEVANTI_FAULT_PROGRAM") == program_invocation_short_name;
    const std::string folders = setting("ZEVANTI_FAULT_FOLDERS");
    for (std::size_t at = 0; at < folders.size();) {
      const std::size_t end = std::min(folders.find(':', at), folders.size());
      plan->folders.push_back(folders.substr(at, end - at));
      at = end + 1;
    }
    plan->switchFile = setting("ZEVANTI_FAULT_SWITCH");
    plan->log = setting("ZEVANTI_FAULT_LOG");
    plan->stops = !setting("ZEVANTI_FAULT_STOPS").empty();
    plan->readPrefix = setting("ZEVANTI_FAULT_READ");
    plan->number = std::atoi(setting("ZEVANTI_FAULT_NUMBER").c_str());
    if (const int error = std::atoi(setting("ZEVANTI_FAULT_ERRNO").c_str()); error > 0) plan->error = error;
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

/// Counts a call on `path`; whether it is to fail, with errno set then.
bool fails(const char* call, const std::string& path) {
  const Plan& plan = ::plan();
  const auto isBelow = [&path](const std::string& folder) {
    return path.compare(0, folder.size(), folder) == 0 && (path.size() == folder.size() || path[folder.size()] == '/');
  };
  bool counts = false;
  const bool reads = std::strcmp(call, kRead) == 0;
  if (reads == plan.readPrefix.empty()) return false;
  for (const std::string& folder : plan.folders) counts = counts || isBelow(folder);
  if (!counts || access(plan.switchFile.c_str(), F_OK) != 0) return false;

  static std::atomic<int> calls{0};
  const int number = ++calls;
  const bool fail = plan.number > 0 && number >= plan.number && !plan.stops;
  const std::string line = std::to_string(number) + " " + call + " " + path + (fail ? " fails" : "") + "\n";
  const auto log =
      static_cast<int>(syscall(SYS_openat, AT_FDCWD, plan.log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
  if (log >= 0) {
    syscall(SYS_write, log, line.data(), line.size());
    syscall(SYS_close, log);
  }
  if (plan.stops && number == plan.number) raise(SIGSTOP);
  if (fail) errno = plan.error;
  return fail;
}

bool fails(const char* call, int descriptor) {
  return plan().isMeant && fails(call, pathOf(descriptor));
}
bool fails(const char* call, int folder, const char* name) {
  return plan().isMeant && fails(call, pathOf(folder, name));
}
/// What is shown meanwhile is still read: only opens that lead to a new file fail, its folder's included.
bool openFails(int folder, const char* name, int flags) {
  const bool writes = (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0;
  const std::string& prefix = plan().readPrefix;
  if (!prefix.empty()) {
    const std::string path = pathOf(folder, name);
    return !writes && path.compare(path.rfind('/') + 1, prefix.size(), prefix) == 0 && fails(kRead, path);
  }
  if (!writes && (flags & O_DIRECTORY) == 0) return false;
  return fails(writes ? "open to write" : "open", folder, name);
}

template <class Function>
Function real(const char* name, Function) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

mode_t modeAmong(int flags, va_list arguments) {
  const bool makes = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return makes ? static_cast<mode_t>(va_arg(arguments, unsigned)) : 0;
}

}  // namespace

// NOLINTBEGIN(cert-dcl50-cpp,bugprone-reserved-identifier)
#define REAL(name) static const auto next = real(#name, &(name))

#define OPEN(name)                                   \
  int name(const char* path, int flags, ...) {       \
    REAL(name);                                      \
    va_list arguments;                               \
    va_start(arguments, flags);                      \
    const mode_t mode = modeAmong(flags, arguments); \
    va_end(arguments);                               \
    if (openFails(AT_FDCWD, path, flags)) return -1; \
    return next(path, flags, mode);                  \
  }
#define OPENAT(name)                                       \
  int name(int folder, const char* path, int flags, ...) { \
    REAL(name);                                            \
    va_list arguments;                                     \
    va_start(arguments, flags);                            \
    const mode_t mode = modeAmong(flags, arguments);       \
    va_end(arguments);                                     \
    if (openFails(folder, path, flags)) return -1;         \
    return next(folder, path, flags, mode);                \
  }
#define FOPEN(name)                                                           \
  FILE* name(const char* path, const char* mode) {                            \
    REAL(name);                                                               \
    const bool reads = mode[0] == 'r' && !std::strchr(mode, '+');             \
    if (openFails(AT_FDCWD, path, reads ? O_RDONLY : O_RDWR)) return nullptr; \
    return next(path, mode);                                                  \
  }

extern "C" {

OPEN(open)
OPEN(open64)
OPENAT(openat)
OPENAT(openat64)
FOPEN(fopen)
FOPEN(fopen64)

ssize_t write(int file, const void* bytes, size_t size) {
  REAL(write);
  return fails("write", file) ? -1 : next(file, bytes, size);
}
ssize_t pwrite(int file, const void* bytes, size_t size, off_t at) {
  REAL(pwrite);
  return fails("write", file) ? -1 : next(file, bytes, size, at);
}
ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t at) {
  REAL(pwrite64);
  return fails("write", file) ? -1 : next(file, bytes, size, at);
}
ssize_t writev(int file, const iovec* parts, int count) {
  REAL(writev);
  return fails("write", file) ? -1 : next(file, parts, count);
}
ssize_t copy_file_range(int from, off64_t* in, int to, off64_t* out, size_t size, unsigned flags) {
  REAL(copy_file_range);
  return fails("copy", to) ? -1 : next(from, in, to, out, size, flags);
}
int ftruncate(int file, off_t size) noexcept {
  REAL(ftruncate);
  return fails("resize", file) ? -1 : next(file, size);
}
int ftruncate64(int file, off64_t size) noexcept {
  REAL(ftruncate64);
  return fails("resize", file) ? -1 : next(file, size);
}
int fsync(int file) {
  REAL(fsync);
  return fails("sync", file) ? -1 : next(file);
}
int fdatasync(int file) {
  REAL(fdatasync);
  return fails("sync", file) ? -1 : next(file);
}
int sync_file_range(int file, off64_t from, off64_t size, unsigned flags) {
  REAL(sync_file_range);
  return fails("sync", file) ? -1 : next(file, from, size, flags);
}
int rename(const char* from, const char* to) noexcept {
  REAL(rename);
  return fails("rename", AT_FDCWD, to) ? -1 : next(from, to);
}
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  REAL(renameat);
  return fails("rename", toFolder, to) ? -1 : next(fromFolder, from, toFolder, to);
}
int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
  REAL(renameat2);
  return fails("rename", toFolder, to) ? -1 : next(fromFolder, from, toFolder, to, flags);
}
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  REAL(linkat);
  return fails("link", toFolder, to) ? -1 : next(fromFolder, from, toFolder, to, flags);
}
int mkdir(const char* path, mode_t mode) noexcept {
  REAL(mkdir);
  return fails("make folder", AT_FDCWD, path) ? -1 : next(path, mode);
}
}
// NOLINTEND(cert-dcl50-cpp,bugprone-reserved-identifier)
