#include "tests/matrix/MpvReader.h"

#include "tests/matrix/LibavReader.h"

#include <mpv/client.h>

#include <clocale>
#include <filesystem>
#include <memory>
#include <stdexcept>

matrix::Reading matrix::readWithMpv(const std::string& path,
                                    const std::vector<std::pair<std::string, std::string>>& options,
                                    const std::string& scratch) {
  Reading reading;
  std::setlocale(LC_NUMERIC, "C");
  mpv_handle* handle = mpv_create();
  if (!handle) {
    reading.error = "mpv can't be started";
    return reading;
  }
  std::vector<std::pair<std::string, std::string>> all = {
      {"config", "no"}, {"terminal", "no"},       {"load-scripts", "no"}, {"ytdl", "no"},          {"osc", "no"},
      {"sid", "no"},    {"vf", "format=yuv420p"}, {"ovc", "rawvideo"},    {"oac", "pcm_s16le"},    {"of", "nut"},
      {"o", scratch},   {"idle", "yes"},          {"cache", "no"},        {"vd-lavc-threads", "1"}};
  all.insert(all.end(), options.begin(), options.end());
  for (const auto& [name, value] : all) {
    const int result = mpv_set_option_string(handle, name.c_str(), value.c_str());
    if (result < 0) reading.error = "mpv's option " + name + ": " + mpv_error_string(result);
  }
  if (mpv_initialize(handle) < 0) reading.error = "mpv can't be initialised";
  mpv_hook_add(handle, 0, "on_preloaded", 0);
  const char* load[] = {"loadfile", path.c_str(), nullptr};
  if (reading.error.empty() && mpv_command(handle, load) < 0) reading.error = "mpv doesn't load it";
  double duration = 0;
  while (reading.error.empty()) {
    const mpv_event* event = mpv_wait_event(handle, 15);
    if (event->event_id == MPV_EVENT_HOOK) {  // it waits here; later the file may have ended already
      mpv_get_property(handle, "duration", MPV_FORMAT_DOUBLE, &duration);
      mpv_hook_continue(handle, static_cast<const mpv_event_hook*>(event->data)->id);
    } else if (event->event_id == MPV_EVENT_END_FILE) {
      const auto* end = static_cast<const mpv_event_end_file*>(event->data);
      if (end->reason == MPV_END_FILE_REASON_ERROR) reading.error = mpv_error_string(end->error);
      break;
    } else if (event->event_id == MPV_EVENT_NONE || event->event_id == MPV_EVENT_SHUTDOWN) {
      reading.error = "mpv came to no end";
    }
  }
  mpv_terminate_destroy(handle);  // writes what is still to be written
  if (reading.error.empty()) reading = readWithLibav(scratch, EditLists::Honoured);
  reading.duration = duration;
  reading.tick = 0;
  std::error_code error;
  std::filesystem::remove(scratch, error);
  return reading;
}

double matrix::zeroInMpv(const std::string& path) {
  std::setlocale(LC_NUMERIC, "C");
  const std::unique_ptr<mpv_handle, void (*)(mpv_handle*)> handle(mpv_create(), mpv_terminate_destroy);
  const std::pair<const char*, const char*> options[] = {
      {"config", "no"},       {"terminal", "no"},
      {"load-scripts", "no"}, {"ytdl", "no"},
      {"vo", "null"},         {"ao", "null"},
      {"pause", "yes"},       {"idle", "yes"},
      {"demuxer", "lavf"},    {"demuxer-lavf-o", "advanced_editlist=1"}};
  for (const auto& [name, value] : options) mpv_set_option_string(handle.get(), name, value);
  const char* load[] = {"loadfile", path.c_str(), nullptr};
  double zero = 0;
  if (mpv_initialize(handle.get()) < 0 || mpv_command(handle.get(), load) < 0) throw std::runtime_error("no mpv");
  for (;;) {
    const mpv_event* event = mpv_wait_event(handle.get(), 15);
    if (event->event_id == MPV_EVENT_FILE_LOADED) break;
    if (event->event_id == MPV_EVENT_END_FILE || event->event_id == MPV_EVENT_NONE)
      throw std::runtime_error(path + ": mpv can't open it");
  }
  if (mpv_get_property(handle.get(), "demuxer-start-time", MPV_FORMAT_DOUBLE, &zero) < 0)
    throw std::runtime_error(path + ": mpv does not say when it begins");
  return zero;
}
