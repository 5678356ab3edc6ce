#include "platform/Foundation/os_trace.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ShownText.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>
#include <unistd.h>

namespace {

constexpr std::size_t kKeptMessages = 1000;

struct Kept {
  std::mutex mutex;
  std::deque<TraceMessage> messages;
};

Kept& kept() {
  static Kept* instance = new Kept;  // also used while the process ends
  return *instance;
}

std::string formatted(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length < 0) return format;
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

/// `alwaysShown`: to standard error also where there is a journal.
void write(TraceLevel level, std::string text, bool alwaysShown = false) {
  static const bool journal = access("/run/systemd/journal/socket", W_OK) == 0;
  static const bool wanted = [] {
    const std::string value = environmentVariable("ZEVANTI_TRACE");
    return !value.empty() && value != "0";
  }();
  const bool isError = level == TraceLevel::Error;
  if (journal)
    sd_journal_send("SYSLOG_IDENTIFIER=zevanti", "PRIORITY=%i", isError ? 3 : 5, "MESSAGE=%s", text.c_str(), nullptr);
  if (wanted || alwaysShown || (isError && !journal)) printMessage(text);
  bool onMain = dispatch_is_current(dispatch_get_main_queue());
  Kept& store = kept();
  std::lock_guard lock(store.mutex);
  store.messages.push_back({level, std::move(text), onMain});
  if (store.messages.size() > kKeptMessages) store.messages.pop_front();
}

}  // namespace

void os_trace(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(TraceLevel::Default, formatted(format, arguments));
  va_end(arguments);
}

void os_trace_error(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(TraceLevel::Error, formatted(format, arguments));
  va_end(arguments);
}

void NSLog(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(TraceLevel::Default, formatted(format, arguments));
  va_end(arguments);
}

void abort_report_np(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(TraceLevel::Error, formatted(format, arguments), true);
  va_end(arguments);
  std::fflush(nullptr);
  std::abort();
}

namespace trace_log {

std::vector<TraceMessage> messages() {
  Kept& store = kept();
  std::lock_guard lock(store.mutex);
  return {store.messages.begin(), store.messages.end()};
}

void clear() {
  Kept& store = kept();
  std::lock_guard lock(store.mutex);
  store.messages.clear();
}

}  // namespace trace_log
