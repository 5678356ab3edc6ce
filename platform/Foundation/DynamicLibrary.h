#pragma once

#include <string>

/// Libraries that are loaded while the program runs. What they define is added to the classes that can be found by
/// name; a library is never unloaded.

/// Where a path of the system lies: "/System/Library/..." is looked for under the program's own prefix, the folder that
/// holds the running program's `.appex` bundle (for a program outside of one, the program's folder), whatever the
/// environment says. Other paths stay as they are.
std::string systemPath(const std::string& path);

/// Loads the library at `path` (see systemPath) with all its references resolved at once (RTLD_NOW), and has its
/// classes registered as coming from the bundle that holds it. Null when that fails; `dlerror_text` then says why. The
/// same library again gives the same handle. Main queue.
void* dlopen_now(const std::string& path);

/// The loader's words for the latest failure on this thread; empty when there was none since the last call.
std::string dlerror_text();

/// Ends the process with a report, for a fault that no code after it could live with: writes the text to standard error
/// and, as an error, to the trace log, and aborts. printf-style.
[[noreturn]] void abort_report_np(const char* format, ...) __attribute__((format(printf, 1, 2)));
