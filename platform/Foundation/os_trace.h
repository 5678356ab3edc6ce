#pragma once

#include <cstdarg>
#include <string>
#include <vector>

/// The trace log: short texts at two levels, to the journal where there is one, else to standard error when
/// ZEVANTI_TRACE is set in the environment to anything but 0 (errors always go there). Safe from any thread.

enum class TraceLevel { Default, Error };

/// printf-style; `%i` and `%d` take an int.
void os_trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
void os_trace_error(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// A longer text for whoever reads the log.
void NSLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// One message that was written.
struct TraceMessage {
  TraceLevel level;
  std::string text;  ///< with the placeholders filled in
  bool onMainQueue;  ///< whether it was written on the main queue's thread
};

namespace trace_log {
/// Copies of the latest messages of this process, oldest first (at most 1000), so that a test can read them back.
std::vector<TraceMessage> messages();
void clear();
}  // namespace trace_log
