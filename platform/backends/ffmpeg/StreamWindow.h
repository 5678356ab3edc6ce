#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

#include <functional>
#include <vector>

/// The packets at one end of a stream of a movie file with an index, found without reading what lies between.
struct StreamWindow {
  std::vector<Packet> packets;  ///< in decode order
  std::size_t shown = 0;        ///< which of them is shown first or last; only when `found`
  int firstEntry = 0;           ///< the place of the first packet in the stream's index
  bool found = false;
  bool untilEnd = false;  ///< nothing comes behind the packets

  const AVPacket& shownPacket() const { return *packets[shown]; }
};

/// Gives a packet the parameters that another carries, unless it has some itself. `from` may be null.
void copyParameters(const AVPacket* from, AVPacket* to);

/// Reads windows of one stream, whatever has been read of it before. The first packet of each carries the parameters
/// that hold there: the demuxer itself only tells where they change.
class StreamWindowReader {
 public:
  /// All other streams are read over from now on. `format` must outlive this object, and nobody else read it meanwhile.
  StreamWindowReader(AVFormatContext* format, AVStream* stream);

  /// The packet with the earliest time among those that are shown, up to `lead` packets in front of it, and some
  /// behind.
  StreamWindow first(std::size_t lead);
  /// The packet with the latest time among those that are shown, `lead` packets in front of it, and what comes behind.
  StreamWindow last(std::size_t lead);
  /// The last key frame at or before `entry` of the stream's index, alone.
  StreamWindow key(int entry);

 private:
  Packet readNext();
  Packet readEntry(int wanted);
  void read(StreamWindow& window, int entry, int limit, const std::function<bool(const AVPacket&)>& enough);

  AVFormatContext* format_;
  AVStream* stream_;
  Packet parameters_;  // of the packet read last, as side data; null while they are the stream's own
};
