#include "platform/backends/ffmpeg/MovieOutput.h"

#include <cerrno>
#include <numeric>
#include <utility>

MovieOutput::MovieOutput(int descriptor, std::function<bool()> isCancelled)
    : descriptor_(descriptor), isCancelled_(std::move(isCancelled)) {
  avformat_alloc_output_context2(&format_, nullptr, "mp4", nullptr);
}

MovieOutput::~MovieOutput() {
  if (!format_) return;
  avio_closep(&format_->pb);
  avformat_free_context(format_);
}

AVStream* MovieOutput::addStream() {
  return format_ ? avformat_new_stream(format_, nullptr) : nullptr;
}

void MovieOutput::setMetadata(const AVDictionary* metadata) {
  if (!format_) return;
  av_dict_copy(&format_->metadata, metadata, 0);
  for (const char* key : {"major_brand", "minor_version", "compatible_brands", "encoder"}) {
    av_dict_set(&format_->metadata, key, nullptr, 0);
  }
}

int MovieOutput::streamIsReady() {
  const std::lock_guard lock(mutex_);
  if (++ready_ < format_->nb_streams) return 0;
  if (const int result = begin(); result < 0) return result;
  hasBegun_ = true;
  for (Held& held : std::exchange(held_, {})) {
    if (const int result = send(*held.packet, held.timeBase); result < 0) return result;
  }
  return 0;
}

/// Ticks a second in which the start of every track can be told exactly.
int MovieOutput::movieScale() const {
  std::int64_t common = 1;
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    const std::int64_t next = std::lcm<std::int64_t>(common, std::max(1, format_->streams[i]->time_base.den));
    if (next < (1 << 30)) common = next;
  }
  while (common < 10'000) common *= 2;
  return int(common);
}

int MovieOutput::begin() {
  const std::string url = "file:/proc/self/fd/" + std::to_string(descriptor_);
  format_->url = av_strdup(url.c_str());
  format_->interrupt_callback.callback = [](void* self) {
    return int(static_cast<MovieOutput*>(self)->isCancelled_());
  };
  format_->interrupt_callback.opaque = this;
  int result = avio_open2(&format_->pb, url.c_str(), AVIO_FLAG_WRITE, &format_->interrupt_callback, nullptr);
  if (result < 0) return result;
  format_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
  format_->flags |= AVFMT_FLAG_BITEXACT;  // no mark of the library's own in the metadata
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", "+disable_chpl+write_colr", 0);
  av_dict_set(&options, "write_tmcd", "0", 0);
  av_dict_set_int(&options, "movie_timescale", movieScale(), 0);
  result = avformat_write_header(format_, &options);
  av_dict_free(&options);
  return result;
}

int MovieOutput::write(AVPacket& packet, const AVStream* stream, AVRational timeBase) {
  const std::lock_guard lock(mutex_);
  packet.stream_index = stream->index;
  packet.pos = -1;
  if (hasBegun_) return send(packet, timeBase);
  Packet held(av_packet_alloc());
  if (!held) return AVERROR(ENOMEM);
  av_packet_move_ref(held.get(), &packet);
  held_.push_back({std::move(held), timeBase});
  return 0;
}

int MovieOutput::send(AVPacket& packet, AVRational timeBase) {
  av_packet_rescale_ts(&packet, timeBase, format_->streams[packet.stream_index]->time_base);
  return av_interleaved_write_frame(format_, &packet);
}

int MovieOutput::finish() {
  const std::lock_guard lock(mutex_);
  if (!hasBegun_) return AVERROR_INVALIDDATA;
  int result = av_write_trailer(format_);
  avio_flush(format_->pb);
  if (result >= 0) result = format_->pb->error;
  const int closed = avio_closep(&format_->pb);
  return result < 0 ? result : closed;
}
