#include "tests/matrix/MpvReader.h"

#include "tests/matrix/LibavReader.h"

#include <mpv/client.h>

#include <clocale>
#include <filesystem>

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
  reading.videoDuration = 0;
  reading.tick = 0;
  std::error_code error;
  std::filesystem::remove(scratch, error);
  return reading;
}
