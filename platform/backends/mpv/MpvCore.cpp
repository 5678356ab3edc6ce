#include "platform/backends/mpv/MpvCore.h"

#include "platform/Foundation/os_trace.h"
#include "platform/backends/ffmpeg/FreedMemory.h"
#include "platform/backends/ffmpeg/PictureSize.h"

#include <algorithm>
#include <clocale>
#include <condition_variable>
#include <thread>
#include <utility>

namespace {

struct Option {
  const char* name;
  const char* value;
};

// What the player is: one local file, no user configuration, no interface of mpv's own.
constexpr Option commonOptions[] = {
    {"config", "no"},
    {"load-scripts", "no"},
    {"load-stats-overlay", "no"},
    {"load-osd-console", "no"},
    {"load-auto-profiles", "no"},
    {"osc", "no"},
    {"ytdl", "no"},
    {"terminal", "no"},
    {"input-default-bindings", "no"},
    {"input-builtin-bindings", "no"},
    {"input-vo-keyboard", "no"},
    {"osd-level", "0"},
    {"idle", "yes"},
    {"pause", "yes"},
    {"resume-playback", "no"},
    {"stop-screensaver", "no"},
    {"autoload-files", "no"},
    {"sid", "no"},
    {"audio-display", "no"},
    {"access-references", "no"},
    // The same demuxer as everything else here, so that times and key frames agree; edit lists as they are meant.
    {"demuxer", "lavf"},
    {"demuxer-lavf-o", "advanced_editlist=1"},
    // A file on disk needs no cache beyond the read-ahead; an hour takes the same memory as a minute.
    {"cache", "no"},
    {"demuxer-max-bytes", "16MiB"},
    {"demuxer-max-back-bytes", "0"},
    // The last picture stays on screen.
    {"keep-open", "yes"},
    {"vo", "libmpv"},
    {"video-timing-offset", "0"},
    {"vd-lavc-dr", "no"},
    {"audio-client-name", "Zevanti"},
    {"audio-fallback-to-null", "yes"},
    // A sound server can take long to answer; the first picture does not wait for it (see AVPlayer.cpp).
    {"ao", "null"},
};

constexpr Option softwareOptions[] = {
    {"hwdec", "no"},
    // Pictures are rendered at exactly the picture's size, and turned by the video output.
    {"keepaspect", "no"},
    {"video-rotate", "no"},
    {"zimg-scaler", "bilinear"},
    {"zimg-fast", "yes"},
};

constexpr Option openGLOptions[] = {
    {"hwdec", "auto-safe"},
};

/// More threads decode faster but hold a picture each before the first comes out; mpv's own choice is one too many.
int usualThreads() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 8U));
}

/// For pictures of a size that a movie promises.
std::string decoderOptions(std::int64_t pixels) {
  return "max_pixels=" + std::to_string(largestDecoded(pixels));
}

/// The core that stands ready, and whether one is being made.
struct Spare {
  std::mutex mutex;
  std::condition_variable made;
  std::shared_ptr<MpvCore> core;
  bool openGL = false;
  bool making = false;
};

Spare& spare() {
  static Spare& instance = *new Spare;
  return instance;
}

}  // namespace

std::shared_ptr<MpvCore> MpvCore::make(const AVPlayer::Configuration& configuration) {
  returnLargeMemoryAtOnce();
  limitPieces();
  mpv_handle* handle = mpv_create();
  if (!handle) {
    // mpv refuses to work where numbers are written with a comma.
    std::setlocale(LC_NUMERIC, "C");
    handle = mpv_create();
  }
  if (!handle) {
    os_trace_error("The player could not be started");
    return nullptr;
  }
  const auto set = [&](const Option& option) {
    const int result = mpv_set_option_string(handle, option.name, option.value);
    if (result < 0) {
      os_trace("Player option %s=%s: %s", option.name, option.value, mpv_error_string(result));
    }
  };
  std::for_each(std::begin(commonOptions), std::end(commonOptions), set);
  if (configuration.openGL) {
    std::for_each(std::begin(openGLOptions), std::end(openGLOptions), set);
  } else {
    std::for_each(std::begin(softwareOptions), std::end(softwareOptions), set);
  }
  set({"vd-lavc-threads", std::to_string(usualThreads()).c_str()});
  set({"vd-lavc-o", decoderOptions(0).c_str()});
  if (const int result = mpv_initialize(handle); result < 0) {
    os_trace_error("The player could not be started: %s", mpv_error_string(result));
    mpv_terminate_destroy(handle);
    return nullptr;
  }
  return std::shared_ptr<MpvCore>(new MpvCore(handle));
}

std::shared_ptr<MpvCore> MpvCore::take(const AVPlayer::Configuration& configuration) {
  {
    std::unique_lock lock(spare().mutex);
    spare().made.wait(lock, [] { return !spare().making; });
    if (spare().core && spare().openGL == configuration.openGL) {
      return std::exchange(spare().core, nullptr);
    }
  }
  return make(configuration);
}

void MpvCore::prewarm(const AVPlayer::Configuration& configuration) {
  {
    const std::lock_guard lock(spare().mutex);
    if (spare().making || (spare().core && spare().openGL == configuration.openGL)) {
      return;
    }
    spare().making = true;
  }
  // A thread of its own, not a queue: players wait for it, and the queues' threads may be taken by those.
  std::thread([configuration] {
    auto core = make(configuration);
    const std::lock_guard lock(spare().mutex);
    spare().core = std::move(core);
    spare().openGL = configuration.openGL;
    spare().making = false;
    spare().made.notify_all();
  }).detach();
}

MpvCore::MpvCore(mpv_handle* handle) : handle_(handle), eventQueue_(dispatch_queue_create("player events")) {}

MpvCore::~MpvCore() {
  mpv_set_wakeup_callback(handle_, nullptr, nullptr);
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [handle = handle_] { mpv_terminate_destroy(handle); });
}

void MpvCore::setEventHandler(EventHandler handler) {
  eventHandler_ = std::move(handler);
  self_ = weak_from_this();
  mpv_hook_add(handle_, 0, "on_preloaded", 0);
  mpv_set_wakeup_callback(handle_, &MpvCore::onWakeup, this);
}

void MpvCore::onWakeup(void* context) {
  auto* core = static_cast<MpvCore*>(context);
  if (!core->drainPending_.exchange(true)) {
    dispatch_async(core->eventQueue_, [weak = core->self_] {
      if (const auto self = weak.lock()) {
        self->drainEvents();
      }
    });
  }
}

void MpvCore::drainEvents() {
  drainPending_ = false;
  while (true) {
    const mpv_event* event = mpv_wait_event(handle_, 0);
    if (event->event_id == MPV_EVENT_NONE) {
      return;
    }
    if (event->event_id == MPV_EVENT_HOOK) {
      fitDecoder();
      mpv_hook_continue(handle_, static_cast<const mpv_event_hook*>(event->data)->id);
      continue;
    }
    eventHandler_(*event);
  }
}

/// Sets what the decoder may take by the size of the movie's pictures, before there is a decoder.
void MpvCore::fitDecoder() {
  std::int64_t pixels = 0;
  const long count = getLong("track-list/count", 0);
  for (long i = 0; i < count; ++i) {
    const std::string track = "track-list/" + std::to_string(i);
    pixels = std::max(pixels, static_cast<std::int64_t>(getLong((track + "/demux-w").c_str(), 0)) *
                                  getLong((track + "/demux-h").c_str(), 0));
  }
  const int threads = decodingThreads(pixels, usualThreads());
  if (threads < usualThreads()) {
    mpv_set_property_string(handle_, "vd-lavc-threads", std::to_string(threads).c_str());
  }
  if (largestDecoded(pixels) > largestDecoded(0)) {
    mpv_set_property_string(handle_, "vd-lavc-o", decoderOptions(pixels).c_str());
  }
}

void MpvCore::command(std::initializer_list<std::string> words, std::uint64_t reply) {
  std::vector<const char*> arguments;
  for (const auto& word : words) {
    arguments.push_back(word.c_str());
  }
  arguments.push_back(nullptr);
  mpv_command_async(handle_, reply, arguments.data());
}

void MpvCore::setFlag(const char* name, bool value, std::uint64_t reply) {
  int flag = value ? 1 : 0;
  mpv_set_property_async(handle_, reply, name, MPV_FORMAT_FLAG, &flag);
}

void MpvCore::setProperty(const char* name, const std::string& value) {
  const char* text = value.c_str();
  mpv_set_property_async(handle_, 0, name, MPV_FORMAT_STRING, &text);
}

bool MpvCore::getFlag(const char* name) const {
  int value = 0;
  return mpv_get_property(handle_, name, MPV_FORMAT_FLAG, &value) >= 0 && value != 0;
}

long MpvCore::getLong(const char* name, long otherwise) const {
  std::int64_t value = 0;
  return mpv_get_property(handle_, name, MPV_FORMAT_INT64, &value) >= 0 ? static_cast<long>(value) : otherwise;
}

double MpvCore::getDouble(const char* name, double otherwise) const {
  double value = 0;
  return mpv_get_property(handle_, name, MPV_FORMAT_DOUBLE, &value) >= 0 ? value : otherwise;
}
