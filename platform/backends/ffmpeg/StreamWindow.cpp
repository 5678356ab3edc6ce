#include "platform/backends/ffmpeg/StreamWindow.h"

#include <algorithm>

namespace {

constexpr int kReordering = 32;  // no picture is decoded longer before its time than this many others
constexpr int kBehind = 8;       // packets read behind what is shown first, for decoders that are late

bool isShown(const AVIndexEntry* entry) {
  return (entry->flags & AVINDEX_DISCARD_FRAME) == 0;
}

bool isShown(const AVPacket& packet) {
  return (packet.flags & AV_PKT_FLAG_DISCARD) == 0;
}

/// Which entry of the stream's index a packet is, looked for around `near`; -1 for none. An edit list may show the same
/// sample twice, at different times.
int entryOf(AVStream* stream, const AVPacket& packet, int near) {
  const int count = avformat_index_get_entries_count(stream);
  const auto is = [&](int i) {
    if (i < 0 || i >= count) return false;
    const AVIndexEntry* entry = avformat_index_get_entry(stream, i);
    return entry->pos == packet.pos && entry->timestamp == packet.dts;
  };
  for (int distance = 0; distance < count; ++distance) {
    if (is(near - distance)) return near - distance;
    if (is(near + distance)) return near + distance;
  }
  return -1;
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

void copyParameters(const AVPacket* from, AVPacket* to) {
  std::size_t size = 0;
  const std::uint8_t* data = from ? av_packet_get_side_data(from, AV_PKT_DATA_NEW_EXTRADATA, &size) : nullptr;
  if (!data || size == 0 || av_packet_get_side_data(to, AV_PKT_DATA_NEW_EXTRADATA, nullptr)) return;
  std::uint8_t* copy = av_packet_new_side_data(to, AV_PKT_DATA_NEW_EXTRADATA, size);
  if (copy) std::copy_n(data, size, copy);
}

StreamWindowReader::StreamWindowReader(AVFormatContext* format, AVStream* stream) : format_(format), stream_(stream) {
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    format->streams[i]->discard = format->streams[i] == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
}

/// The next packet of the stream; null at the end.
Packet StreamWindowReader::readNext() {
  Packet packet(av_packet_alloc());
  while (av_read_frame(format_, packet.get()) >= 0) {
    if (packet->stream_index == stream_->index) {
      if (av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, nullptr)) {
        parameters_.reset(av_packet_alloc());
        av_packet_copy_props(parameters_.get(), packet.get());
      }
      return packet;
    }
    av_packet_unref(packet.get());
  }
  return nullptr;
}

/// Moves to an entry of the stream's index and reads it; null when that is not possible.
///
/// The demuxer finds its place by time, and where an edit list has several entries the index does not rise: each begins
/// with pictures that are only decoded, whose times lie before what the entry in front of it shows. So a place is
/// accepted when it is not behind the wanted one, and the rest is read over.
Packet StreamWindowReader::readEntry(int wanted) {
  constexpr std::int64_t kBeforeAll = std::int64_t(1) << 40;  // ticks
  for (int step = 0;; step = 2 * step + 1) {
    const int from = std::max(0, wanted - step);
    const std::int64_t time = avformat_index_get_entry(stream_, from)->timestamp - (from == 0 ? kBeforeAll : 0);
    if (av_seek_frame(format_, stream_->index, time, AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY) >= 0) {
      Packet packet = readNext();
      const int place = packet ? entryOf(stream_, *packet, from) : -1;
      if (place >= 0 && place <= wanted) {
        for (int i = place; packet && i < wanted; ++i) packet = readNext();
        return packet;
      }
    }
    if (from == 0) return nullptr;
  }
}

/// Reads the stream's packets from an entry of its index on, until `enough`, the end or a great many.
void StreamWindowReader::read(StreamWindow& window, int entry, int limit,
                              const std::function<bool(const AVPacket&)>& enough) {
  window.packets.clear();
  window.firstEntry = entry;
  window.untilEnd = false;
  for (Packet packet = readEntry(entry); packet; packet = readNext()) {
    if (packet->pts == AV_NOPTS_VALUE) packet->pts = packet->dts;
    if (window.packets.empty()) copyParameters(parameters_.get(), packet.get());
    window.packets.push_back(std::move(packet));
    if (int(window.packets.size()) >= limit || enough(*window.packets.back())) return;
  }
  window.untilEnd = true;
}

StreamWindow StreamWindowReader::first(std::size_t lead) {
  StreamWindow window;
  const int count = avformat_index_get_entries_count(stream_);
  int entry = 0;
  while (entry < count && !isShown(avformat_index_get_entry(stream_, entry))) ++entry;
  if (entry == count) return window;
  const int from = std::max(0, entry - int(lead));
  std::int64_t earliest = INT64_MAX;
  int behind = 0;
  read(window, from, entry - from + 2 * kReordering, [&](const AVPacket& packet) {
    if (isShown(packet)) earliest = std::min(earliest, packet.pts);
    const bool known = earliest != INT64_MAX && packet.dts != AV_NOPTS_VALUE && packet.dts > earliest;
    return known && ++behind > kBehind;
  });
  findShown(window, true);
  return window;
}

StreamWindow StreamWindowReader::last(std::size_t lead) {
  StreamWindow window;
  int entry = avformat_index_get_entries_count(stream_) - 1;
  while (entry >= 0 && !isShown(avformat_index_get_entry(stream_, entry))) --entry;
  if (entry < 0) return window;
  const bool pictures = stream_->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  const auto readFrom = [&](int from) {
    read(window, from, entry - from + 3 * kReordering, [](const AVPacket&) { return false; });
    window.found = false;
    findShown(window, false);
  };
  readFrom(std::max(0, entry - (pictures ? kReordering : 0)));
  if (window.found && lead > window.shown) {
    readFrom(std::max(0, window.firstEntry - int(lead - window.shown)));
  }
  return window;
}

StreamWindow StreamWindowReader::key(int entry) {
  StreamWindow window;
  while (entry > 0 && (avformat_index_get_entry(stream_, entry)->flags & AVINDEX_KEYFRAME) == 0) --entry;
  read(window, entry, 1, [](const AVPacket&) { return true; });
  window.found = !window.packets.empty();
  return window;
}
