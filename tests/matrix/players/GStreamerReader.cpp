#include "tests/matrix/players/GStreamerReader.h"

#ifndef ZEVANTI_HAVE_GSTREAMER

std::string matrix::whyNoGStreamer() {
  return "GStreamer's development files are not installed";
}

matrix::Reading matrix::readWithGStreamer(const std::string&) {
  Reading reading;
  reading.error = whyNoGStreamer();
  return reading;
}

#else

#include "tests/data/FrameCode.h"

#include <gst/app/gstappsink.h>
#include <gst/audio/audio.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cmath>
#include <mutex>

namespace {

using namespace matrix;

struct Listener {
  std::mutex mutex;
  Reading reading;
  GstElement* pipeline = nullptr;
};

/// The time at which a sink would show or sound it; the buffer as far as the segment lets it through, or null.
GstBuffer* clipped(GstSample* sample, double* time) {
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  const GstSegment* segment = gst_sample_get_segment(sample);
  const GstCaps* caps = gst_sample_get_caps(sample);
  GstAudioInfo audio;
  if (gst_structure_has_name(gst_caps_get_structure(caps, 0), "audio/x-raw") &&
      gst_audio_info_from_caps(&audio, caps)) {
    buffer = gst_audio_buffer_clip(gst_buffer_ref(buffer), segment, audio.rate, audio.bpf);
    if (!buffer) return nullptr;
    *time = double(gst_segment_to_running_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer))) / GST_SECOND;
    return buffer;
  }
  const GstClockTime start = GST_BUFFER_PTS(buffer);
  const GstClockTime length = GST_BUFFER_DURATION(buffer);
  guint64 from = 0, to = 0;
  if (!gst_segment_clip(segment, GST_FORMAT_TIME, start,
                        GST_CLOCK_TIME_IS_VALID(length) ? start + length : GST_CLOCK_TIME_NONE, &from, &to)) {
    return nullptr;
  }
  *time = double(gst_segment_to_running_time(segment, GST_FORMAT_TIME, from)) / GST_SECOND;
  return gst_buffer_ref(buffer);
}

void addPicture(Listener& listener, GstAppSink*, const GstCaps* caps, GstBuffer* buffer, double time) {
  GstVideoInfo info;
  GstVideoFrame frame;
  if (!gst_video_info_from_caps(&info, caps) || !gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ)) return;
  // Turning the picture is the sink's business; so it may come in any position.
  int number = -1;
  for (int quarters = 0; quarters < 4 && number < 0; ++quarters) {
    number = frame_code::read(static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)),
                              GST_VIDEO_FRAME_WIDTH(&frame), GST_VIDEO_FRAME_HEIGHT(&frame),
                              std::size_t(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)), quarters)
                 .value_or(-1);
  }
  gst_video_frame_unmap(&frame);
  const std::lock_guard lock(listener.mutex);
  listener.reading.pictures.push_back({number, time});
}

void addSound(Listener& listener, GstAppSink* sink, const GstCaps* caps, GstBuffer* buffer, double time) {
  GstAudioInfo info;
  GstMapInfo map;
  if (!gst_audio_info_from_caps(&info, caps) || !gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
  const auto index = std::size_t(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(sink), "track")));
  {
    const std::lock_guard lock(listener.mutex);
    Sound& sound = listener.reading.sounds[index];
    if (sound.samples.empty()) sound.rate = info.rate, sound.start = time;
    const double hole = time - sound.end();
    if (hole > 0.005) sound.samples.resize(sound.samples.size() + std::size_t(std::lround(hole * sound.rate)));
    const auto* values = reinterpret_cast<const float*>(map.data);
    const std::size_t channels = std::size_t(info.channels), count = map.size / sizeof(float) / channels;
    for (std::size_t i = 0; i < count; ++i) sound.samples.push_back(values[i * channels]);
  }
  gst_buffer_unmap(buffer, &map);
}

/// What a sink calls for each sample; `add` takes what the segment lets through.
template <void (*add)(Listener&, GstAppSink*, const GstCaps*, GstBuffer*, double)>
GstFlowReturn sampleCame(GstAppSink* sink, gpointer data) {
  GstSample* sample = gst_app_sink_pull_sample(sink);
  if (!sample) return GST_FLOW_OK;
  double time = 0;
  if (GstBuffer* buffer = clipped(sample, &time)) {
    add(*static_cast<Listener*>(data), sink, gst_sample_get_caps(sample), buffer, time);
    gst_buffer_unref(buffer);
  }
  gst_sample_unref(sample);
  return GST_FLOW_OK;
}

void padAdded(GstElement*, GstPad* pad, gpointer data) {
  auto* listener = static_cast<Listener*>(data);
  GstCaps* caps = gst_pad_get_current_caps(pad);
  const std::string name = caps ? gst_structure_get_name(gst_caps_get_structure(caps, 0)) : "";
  if (caps) gst_caps_unref(caps);
  const bool video = name.starts_with("video/"), audio = name.starts_with("audio/");
  GError* error = nullptr;
  GstElement* branch = gst_parse_bin_from_description(
      video   ? "queue max-size-time=0 max-size-bytes=0 max-size-buffers=0 ! videoconvert ! "
                "video/x-raw,format=BGRx ! appsink name=sink sync=false"
      : audio ? "queue max-size-time=0 max-size-bytes=0 max-size-buffers=0 ! audioconvert ! audio/x-raw,format=F32LE,"
                "layout=interleaved ! appsink name=sink sync=false"
              : "fakesink sync=false",
      TRUE, &error);
  if (!branch) {
    g_clear_error(&error);
    return;
  }
  if (video || audio) {
    GstElement* sink = gst_bin_get_by_name(GST_BIN(branch), "sink");
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = video ? sampleCame<addPicture> : sampleCame<addSound>;
    if (audio) {
      const std::lock_guard lock(listener->mutex);
      g_object_set_data(G_OBJECT(sink), "track", GINT_TO_POINTER(int(listener->reading.sounds.size())));
      listener->reading.sounds.emplace_back();
    }
    gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, listener, nullptr);
    gst_object_unref(sink);
  }
  gst_bin_add(GST_BIN(listener->pipeline), branch);
  gst_element_sync_state_with_parent(branch);
  GstPad* target = gst_element_get_static_pad(branch, "sink");
  gst_pad_link(pad, target);
  gst_object_unref(target);
}

}  // namespace

std::string matrix::whyNoGStreamer() {
  gst_init(nullptr, nullptr);
  for (const char* element : {"qtdemux", "decodebin", "avdec_h264", "videoconvert", "appsink"}) {
    GstElementFactory* factory = gst_element_factory_find(element);
    if (!factory) return std::string("GStreamer's element ") + element + " is not installed";
    gst_object_unref(factory);
  }
  return "";
}

matrix::Reading matrix::readWithGStreamer(const std::string& path) {
  gst_init(nullptr, nullptr);
  Listener listener;
  GstElement* pipeline = gst_pipeline_new(nullptr);
  listener.pipeline = pipeline;
  GstElement* source = gst_element_factory_make("filesrc", nullptr);
  GstElement* decoder = gst_element_factory_make("decodebin", nullptr);
  g_object_set(source, "location", path.c_str(), nullptr);
  gst_bin_add_many(GST_BIN(pipeline), source, decoder, nullptr);
  gst_element_link(source, decoder);
  g_signal_connect(decoder, "pad-added", G_CALLBACK(padAdded), &listener);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);

  GstBus* bus = gst_element_get_bus(pipeline);
  std::string failure;
  GstMessage* message =
      gst_bus_timed_pop_filtered(bus, 30 * GST_SECOND, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  if (!message) {
    failure = "GStreamer came to no end";
  } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    failure = error ? error->message : "an error without words";
    g_clear_error(&error);
  }
  if (message) gst_message_unref(message);
  gint64 duration = 0;
  gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(pipeline);

  listener.reading.error = failure;
  listener.reading.duration = double(duration) / GST_SECOND;
  return listener.reading;
}

#endif
