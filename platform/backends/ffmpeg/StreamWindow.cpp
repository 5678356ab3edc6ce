#include "platform/backends/ffmpeg/StreamWindow.h"

#include <algorithm>

namespace {

constexpr int kReordering = 32;  // no picture is decoded longer before its time than this many others

bool isShown(const AVIndexEntry* entry) {
  return (entry->flags & AVINDEX_DISCARD_FRAME) == 0;
}

bool isShown(const AVPacket& packet) {
  return (packet.flags & AV_PKT_FLAG_DISCARD) == 0;
}

/// Reads the stream's packets from an entry of its index on, until `enough`, the end or a great many.
void read(AVFormatContext* format, AVStream* stream, StreamWindow& window, int entry, int limit,
          const std::function<bool(const AVPacket&)>& enough) {
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    format->streams[i]->discard = format->streams[i] == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  window.packets.clear();
  window.firstEntry = entry;
  const std::int64_t time = avformat_index_get_entry(stream, entry)->timestamp;
  if (av_seek_frame(format, stream->index, time, AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY) < 0) return;
  while (int(window.packets.size()) < limit) {
    Packet packet(av_packet_alloc());
    if (av_read_frame(format, packet.get()) < 0) return;
    if (packet->stream_index != stream->index) continue;
    // The demuxer may go further back than it was asked to, as far as the key frame.
    if (packet->dts != AV_NOPTS_VALUE && packet->dts < time && window.packets.empty()) continue;
    if (packet->pts == AV_NOPTS_VALUE) packet->pts = packet->dts;
    window.packets.push_back(std::move(packet));
    if (enough(*window.packets.back())) return;
  }
}

void findShown(StreamWindow& window, bool first) {
  for (std::size_t i = 0; i < window.packets.size(); ++i) {
    const AVPacket& packet = *window.packets[i];
    if (!isShown(packet)) continue;
    const bool better = !window.found || (first ? packet.pts < window.shownPacket().pts  //
                                                : packet.pts >= window.shownPacket().pts);
    if (better) window.shown = i;
    window.found = true;
  }
}

}  // namespace

StreamWindow StreamWindow::first(AVFormatContext* format, AVStream* stream, std::size_t lead) {
  StreamWindow window;
  const int count = avformat_index_get_entries_count(stream);
  int entry = 0;
  while (entry < count && !isShown(avformat_index_get_entry(stream, entry))) ++entry;
  if (entry == count) return window;
  const int from = std::max(0, entry - int(lead));
  std::int64_t earliest = INT64_MAX;
  read(format, stream, window, from, entry - from + 2 * kReordering, [&earliest](const AVPacket& packet) {
    if (isShown(packet)) earliest = std::min(earliest, packet.pts);
    return earliest != INT64_MAX && packet.dts != AV_NOPTS_VALUE && packet.dts > earliest;
  });
  findShown(window, true);
  return window;
}

StreamWindow StreamWindow::last(AVFormatContext* format, AVStream* stream, std::size_t lead) {
  StreamWindow window;
  int entry = avformat_index_get_entries_count(stream) - 1;
  while (entry >= 0 && !isShown(avformat_index_get_entry(stream, entry))) --entry;
  if (entry < 0) return window;
  const bool pictures = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  const auto readFrom = [&](int from) {
    read(format, stream, window, from, entry - from + 3 * kReordering, [](const AVPacket&) { return false; });
    window.found = false;
    findShown(window, false);
  };
  readFrom(std::max(0, entry - (pictures ? kReordering : 0)));
  if (window.found && lead > window.shown) {
    readFrom(std::max(0, window.firstEntry - int(lead - window.shown)));
  }
  return window;
}

StreamWindow StreamWindow::key(AVFormatContext* format, AVStream* stream, int entry) {
  StreamWindow window;
  while (entry > 0 && (avformat_index_get_entry(stream, entry)->flags & AVINDEX_KEYFRAME) == 0) --entry;
  read(format, stream, window, entry, 1, [](const AVPacket&) { return true; });
  window.found = !window.packets.empty();
  return window;
}
