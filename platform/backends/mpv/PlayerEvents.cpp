#include "platform/backends/mpv/PlayerEvents.h"

#include <utility>

namespace {
enum Property : std::uint64_t { TimePosition = 1, EndReached, CoreIdle, DisplayWidth, DisplayHeight };
}  // namespace

void PlayerEvents::listenTo(const std::shared_ptr<MpvCore>& core) {
  mpv_handle* handle = core->handle();
  mpv_observe_property(handle, TimePosition, "time-pos", MPV_FORMAT_DOUBLE);
  mpv_observe_property(handle, EndReached, "eof-reached", MPV_FORMAT_FLAG);
  mpv_observe_property(handle, CoreIdle, "core-idle", MPV_FORMAT_FLAG);
  mpv_observe_property(handle, DisplayWidth, "dwidth", MPV_FORMAT_INT64);
  mpv_observe_property(handle, DisplayHeight, "dheight", MPV_FORMAT_INT64);
  core->setEventHandler(
      [self = shared_from_this(), raw = core.get()](const mpv_event& event) { self->handle(*raw, event); });
}

template <class Change>
void PlayerEvents::publish(Change change) {
  const std::lock_guard lock(mutex_);
  change(news_);
  if (std::exchange(deliveryPending_, true)) {
    return;
  }
  dispatch_async(dispatch_get_main_queue(), [self = shared_from_this()] {
    PlayerNews news;
    {
      const std::lock_guard delivery(self->mutex_);
      news = std::exchange(self->news_, {});
      self->deliveryPending_ = false;
    }
    self->deliver_(news);
  });
}

void PlayerEvents::handle(MpvCore& core, const mpv_event& event) {
  switch (event.event_id) {
    case MPV_EVENT_PROPERTY_CHANGE: {
      const auto& property = *static_cast<const mpv_event_property*>(event.data);
      if (property.format != MPV_FORMAT_NONE) {
        handleProperty(event.reply_userdata, property);
      }
      break;
    }
    case MPV_EVENT_FILE_LOADED:
      handleOpened(core);
      break;
    case MPV_EVENT_END_FILE: {
      const auto& end = *static_cast<const mpv_event_end_file*>(event.data);
      if (end.reason == MPV_END_FILE_REASON_ERROR) {
        publish([&](PlayerNews& news) { news.failure = mpv_error_string(end.error); });
      }
      break;
    }
    case MPV_EVENT_SEEK:
      publish([](PlayerNews& news) { news.steps.push_back({PlayerStep::Kind::SeekBegan}); });
      break;
    case MPV_EVENT_PLAYBACK_RESTART:
      publish([](PlayerNews& news) { news.steps.push_back({PlayerStep::Kind::PictureShown}); });
      break;
    case MPV_EVENT_COMMAND_REPLY:
    case MPV_EVENT_SET_PROPERTY_REPLY:
      if (event.reply_userdata != 0) {
        publish([&](PlayerNews& news) { news.steps.push_back({PlayerStep::Kind::Reply, event.reply_userdata}); });
      }
      break;
    default:
      break;
  }
}

void PlayerEvents::handleProperty(std::uint64_t property, const mpv_event_property& value) {
  const auto flag = [&] { return *static_cast<const int*>(value.data) != 0; };
  const auto number = [&] { return static_cast<int>(*static_cast<const std::int64_t*>(value.data)); };
  switch (property) {
    case TimePosition:
      publish([&](PlayerNews& news) {
        news.time = *static_cast<const double*>(value.data);
        news.timeKnown = std::chrono::steady_clock::now();
      });
      break;
    case EndReached:
      publish([&](PlayerNews& news) { news.atEnd = flag(); });
      break;
    case CoreIdle:
      publish([&](PlayerNews& news) {
        news.idle = flag();
        news.idleKnown = std::chrono::steady_clock::now();
      });
      break;
    case DisplayWidth:
    case DisplayHeight:
      (property == DisplayWidth ? width_ : height_) = number();
      if (const auto output = output_.lock(); output && width_ > 0 && height_ > 0) {
        output->setSource(width_, height_, rotation_);
      }
      break;
    default:
      break;
  }
}

void PlayerEvents::handleOpened(MpvCore& core) {
  MovieFacts facts;
  facts.startTime = core.getDouble("demuxer-start-time", 0);
  facts.videoStream = static_cast<int>(core.getLong("current-tracks/video/ff-index", -1));
  facts.rotation = static_cast<int>(core.getLong("current-tracks/video/demux-rotation", 0));
  if (facts.rotation % 90 != 0) {
    facts.rotation = 0;
  }
  rotation_ = facts.rotation;
  publish([&](PlayerNews& news) { news.opened = facts; });
}
