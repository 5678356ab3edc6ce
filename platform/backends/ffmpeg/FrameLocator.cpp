#include "platform/backends/ffmpeg/FrameLocator.h"

#include "platform/backends/ffmpeg/FreedMemory.h"
#include "platform/backends/ffmpeg/PacketGroup.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <map>
#include <utility>
#include <vector>

namespace {

// Two times that lie nearer together are the same; the times that come in are rounded to ticks.
constexpr double sameTime = 1e-5;
// Shows as "first picture at or after the target, less this"; see SeekCoordinator.
constexpr double largestMargin = 0.005;
// Reading stops this long after the picture that was asked for, even in the middle of a long group of pictures.
constexpr double readAhead = 2.0;
constexpr std::size_t keptGroups = 4096;
// A file that nobody asks about for so long is closed. Seconds.
constexpr double idleTime = 3;
// Packets are kept of this many groups, unless a group has more than so many bytes.
constexpr std::size_t keptPacketGroups = 2;
constexpr std::size_t largestPacketGroup = 24U << 20U;

/// The pictures from one key frame up to the next: all that are shown in [begin, end).
struct Group {
  double end = 0;
  double lastEnd = 0;          ///< when the last picture ends; not a number when unknown
  double hiddenKeyFrame = 0;   ///< the key frame's own time: before `begin` where an edit list hides it
  std::vector<double> frames;  ///< when each begins, ascending; never empty
  bool packetsTooLarge = false;
};

}  // namespace

/// The file, on the locator's queue only.
class FrameLocator::Reader {
 public:
  Reader(std::string path, int stream, double startTime)
      : path_(std::move(path)), stream_(stream), startTime_(startTime) {}
  ~Reader() { close(); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  void open();
  std::optional<FrameLocation> locate(double time);

  /// Closes the file when the time for it has come; calls itself again until then.
  static void closeLater(const std::shared_ptr<Reader>& reader, const dispatch_queue_t& queue);

 private:
  void close();
  struct Read {
    double presentation;
    double end;  ///< not a number when unknown
    std::optional<double> decode;
    bool key;
    bool hidden;
    Packet packet;
  };
  std::optional<Read> next();
  bool readGroups(double time);
  std::optional<std::int64_t> lastKeyFrameInFile(std::int64_t before) const;
  std::optional<FrameLocation> find(double time) const;
  const Group* groupAt(double time) const;
  std::shared_ptr<PacketGroup> packetsOf(const Group& group) const;
  void keepPackets(Group& group, std::vector<Packet> packets);
  double seconds(std::int64_t timestamp) const { return static_cast<double>(timestamp) * tick_ - startTime_; }

  unsigned uses_ = 0;
  bool closePending_ = false;
  std::string path_;
  int stream_;
  double startTime_;
  double tick_ = 0;
  AVFormatContext* format_ = nullptr;
  AVPacket* packet_ = nullptr;
  std::shared_ptr<AVCodecParameters> codec_;
  std::map<double, Group> groups_;  // by the begin of the first picture shown
  struct KeptPackets {
    double begin;
    std::shared_ptr<PacketGroup> packets;
  };
  std::deque<KeptPackets> packets_;  // the latest last
};

void FrameLocator::Reader::close() {
  avformat_close_input(&format_);
  av_packet_free(&packet_);
  packets_.clear();
}

/// An hour's index is large, and the player has one of its own.
void FrameLocator::Reader::closeLater(const std::shared_ptr<Reader>& reader, const dispatch_queue_t& queue) {
  if (!reader->format_ || reader->closePending_) {
    return;
  }
  reader->closePending_ = true;
  dispatch_after(idleTime, queue,
                 [weak = std::weak_ptr(reader), weakQueue = std::weak_ptr(queue), uses = reader->uses_] {
                   const auto self = weak.lock();
                   const auto own = weakQueue.lock();
                   if (!self || !own) {
                     return;
                   }
                   self->closePending_ = false;
                   if (self->uses_ != uses) {
                     closeLater(self, own);
                     return;
                   }
                   self->close();
                   returnFreedMemory();
                 });
}

void FrameLocator::Reader::open() {
  if (format_) {
    return;
  }
  AVDictionary* options = nullptr;
  av_dict_set(&options, "advanced_editlist", "1", 0);
  const int result = avformat_open_input(&format_, path_.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (result < 0) {
    format_ = nullptr;
    return;
  }
  if (format_->nb_streams == 0) {
    avformat_find_stream_info(format_, nullptr);
  }
  if (stream_ < 0 || static_cast<unsigned>(stream_) >= format_->nb_streams) {
    avformat_close_input(&format_);
    return;
  }
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    format_->streams[i]->discard = static_cast<int>(i) == stream_ ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  tick_ = av_q2d(format_->streams[stream_]->time_base);
  packet_ = av_packet_alloc();
  if (!codec_) {
    codec_ = std::shared_ptr<AVCodecParameters>(avcodec_parameters_alloc(), CodecParametersDeleter());
    avcodec_parameters_copy(codec_.get(), format_->streams[stream_]->codecpar);
  }
}

std::optional<FrameLocator::Reader::Read> FrameLocator::Reader::next() {
  while (av_read_frame(format_, packet_) >= 0) {
    const bool ours = packet_->stream_index == stream_;
    const std::int64_t presentation = packet_->pts != AV_NOPTS_VALUE ? packet_->pts : packet_->dts;
    std::optional<Read> read;
    if (ours && presentation != AV_NOPTS_VALUE) {
      const double end = packet_->duration > 0 ? seconds(presentation + packet_->duration) : NAN;
      read = Read{seconds(presentation),
                  end,
                  std::nullopt,
                  (packet_->flags & AV_PKT_FLAG_KEY) != 0,
                  (packet_->flags & AV_PKT_FLAG_DISCARD) != 0,
                  nullptr};
      if (packet_->dts != AV_NOPTS_VALUE) {
        read->decode = seconds(packet_->dts);
      }
      read->packet.reset(av_packet_alloc());
      av_packet_move_ref(read->packet.get(), packet_);
    }
    av_packet_unref(packet_);
    if (read) {
      return read;
    }
  }
  return std::nullopt;
}

/// The last key frame before a time that the index promises and the file is long enough to hold. Ticks.
std::optional<std::int64_t> FrameLocator::Reader::lastKeyFrameInFile(std::int64_t before) const {
  AVStream* stream = format_->streams[stream_];
  const std::int64_t size = avio_size(format_->pb);
  for (int i = avformat_index_get_entries_count(stream) - 1; i >= 0; --i) {
    const AVIndexEntry* entry = avformat_index_get_entry(stream, i);
    if ((entry->flags & AVINDEX_KEYFRAME) != 0 && entry->timestamp < before && entry->pos + entry->size <= size) {
      return entry->timestamp;
    }
  }
  return std::nullopt;
}

/// Reads the groups around `time` from the file; whether anything was read.
bool FrameLocator::Reader::readGroups(double time) {
  // The demuxer looks for key frames by decode time, which comes before the presentation time: a first landing may be
  // after the picture on screen.
  double target = time + sameTime;
  std::optional<Read> read;
  for (int attempt = 0; attempt < 6; ++attempt) {
    const auto timestamp = static_cast<std::int64_t>(std::floor((target + startTime_) / tick_));
    if (av_seek_frame(format_, stream_, timestamp, AVSEEK_FLAG_BACKWARD) < 0 &&
        av_seek_frame(format_, stream_, timestamp, 0) < 0) {
      return false;
    }
    read = next();
    while (read && !read->key) {
      read = next();
    }
    if (!read) {
      // Nothing can be read there: the file has been cut off before.
      const auto last = lastKeyFrameInFile(timestamp);
      if (!last) {
        return false;
      }
      target = seconds(*last);
      continue;
    }
    if (read->presentation <= time + sameTime) {
      break;
    }
    const double before = read->decode.value_or(read->presentation) - tick_;
    target = std::min(before, target - tick_);
  }
  if (!read) {
    return false;
  }

  Group group;
  double key = read->presentation;
  std::vector<double> ofNextGroup;  // read while pictures of this group may still come
  std::vector<Packet> packets;      // all of this group and what was read behind it
  std::size_t nextKeyPacket = 0;
  bool any = false;
  double latest = -INFINITY;  // the last picture that was read, and its end
  double latestEnd = NAN;
  const auto close = [&](double end, std::vector<Packet> groupPackets) {
    std::sort(group.frames.begin(), group.frames.end());
    if (!group.frames.empty()) {
      if (groups_.size() >= keptGroups) {
        groups_.clear();
      }
      group.hiddenKeyFrame = std::min(key, group.frames.front());
      group.end = end;
      group.lastEnd = std::isfinite(end) ? end : group.frames.back() == latest ? latestEnd : NAN;
      keepPackets(group, std::move(groupPackets));
      groups_[group.frames.front()] = group;
      any = true;
    }
    group = {};
  };

  std::optional<double> nextKey;
  int packetsPastKey = 0;
  while (read) {
    if (!read->hidden && read->presentation > latest) {
      latest = read->presentation;
      latestEnd = read->end;
    }
    if (read->key && read->presentation > key && !nextKey) {
      nextKey = read->presentation;
      nextKeyPacket = packets.size();
    }
    if (nextKey) {
      // What still comes may belong before the key frame, in an open group; decode times tell when no more can.
      if (read->decode ? *read->decode >= *nextKey : ++packetsPastKey > 32) {
        std::vector<Packet> fromNextKey;
        for (std::size_t i = nextKeyPacket; i < packets.size(); ++i) {
          fromNextKey.emplace_back(av_packet_clone(packets[i].get()));
        }
        close(*nextKey, std::exchange(packets, std::move(fromNextKey)));
        if (*nextKey > time + sameTime) {
          return true;
        }
        // The demuxer landed one group early (its index has gaps): go on with the next one, from this packet.
        key = *nextKey;
        nextKey.reset();
        packetsPastKey = 0;
        group.frames = std::exchange(ofNextGroup, {});
        continue;
      }
      if (!read->hidden) {
        if (read->presentation >= *nextKey) {
          ofNextGroup.push_back(read->presentation);
        } else if (read->presentation >= key) {
          group.frames.push_back(read->presentation);
        }
      }
    } else {
      if (!read->hidden && read->presentation >= key) {
        group.frames.push_back(read->presentation);
      }
      if (read->decode && *read->decode > time + readAhead) {
        packets.push_back(std::move(read->packet));
        close(*read->decode, std::move(packets));
        return true;
      }
    }
    packets.push_back(std::move(read->packet));
    read = next();
  }
  if (nextKey) {
    std::vector<Packet> fromNextKey;
    for (std::size_t i = nextKeyPacket; i < packets.size(); ++i) {
      fromNextKey.emplace_back(av_packet_clone(packets[i].get()));
    }
    close(*nextKey, std::exchange(packets, std::move(fromNextKey)));
    key = *nextKey;
    group.frames = std::move(ofNextGroup);
  }
  close(INFINITY, std::move(packets));
  return any;
}

void FrameLocator::Reader::keepPackets(Group& group, std::vector<Packet> packets) {
  const auto kept = std::make_shared<PacketGroup>();
  for (const Packet& packet : packets) {
    kept->bytes += static_cast<std::size_t>(packet->size);
  }
  group.packetsTooLarge = kept->bytes > largestPacketGroup;
  if (group.packetsTooLarge) {
    return;
  }
  kept->packets = std::move(packets);
  kept->codec = codec_;
  kept->timeBase = format_->streams[stream_]->time_base;
  kept->startTime = startTime_;
  packets_.push_back({group.frames.front(), kept});
  if (packets_.size() > keptPacketGroups) {
    packets_.pop_front();
  }
}

std::shared_ptr<PacketGroup> FrameLocator::Reader::packetsOf(const Group& group) const {
  for (auto kept = packets_.rbegin(); kept != packets_.rend(); ++kept) {
    if (kept->begin == group.frames.front()) {
      return kept->packets;
    }
  }
  return nullptr;
}

const Group* FrameLocator::Reader::groupAt(double time) const {
  const auto after = groups_.upper_bound(time + sameTime);
  if (after == groups_.begin()) {
    return nullptr;
  }
  const Group& group = std::prev(after)->second;
  return time + sameTime < group.end ? &group : nullptr;
}

std::optional<FrameLocation> FrameLocator::Reader::find(double time) const {
  const Group* known = groupAt(time);
  if (!known) {
    return std::nullopt;
  }
  const Group& group = *known;
  const auto past = std::upper_bound(group.frames.begin(), group.frames.end(), time + sameTime);
  const auto frame = std::prev(past);
  double distance = 2 * largestMargin;
  for (std::size_t i = 1; i < group.frames.size(); ++i) {
    distance = std::min(distance, group.frames[i] - group.frames[i - 1]);
  }
  return FrameLocation{*frame,
                       past == group.frames.end() ? group.lastEnd : *past,
                       distance / 2,
                       group.hiddenKeyFrame,
                       static_cast<int>(frame - group.frames.begin()) +
                           static_cast<int>(group.hiddenKeyFrame < group.frames.front() - sameTime),
                       packetsOf(group)};
}

std::optional<FrameLocation> FrameLocator::Reader::locate(double time) {
  ++uses_;
  if (const Group* known = groupAt(time); known && (known->packetsTooLarge || packetsOf(*known))) {
    return find(time);
  }
  open();
  if (!format_ || !readGroups(time)) {
    return find(time);
  }
  if (const auto found = find(time)) {
    return found;
  }
  // Before the first picture, which was just read.
  const auto first = groups_.upper_bound(time);
  return first == groups_.end() ? std::nullopt : find(first->first);
}

FrameLocator::FrameLocator(const std::string& path, int stream, double startTime)
    : reader_(std::make_shared<Reader>(path, stream, startTime)), queue_(dispatch_queue_create("frame locator")) {
  dispatch_async(queue_, [reader = reader_, queue = queue_] {
    reader->open();
    Reader::closeLater(reader, queue);
  });
}

FrameLocator::~FrameLocator() = default;

void FrameLocator::locate(double time, Completion completion) {
  dispatch_async(queue_, [reader = reader_, queue = queue_, time, completion = std::move(completion)] {
    const auto location = reader->locate(time);
    Reader::closeLater(reader, queue);
    dispatch_async(dispatch_get_main_queue(), [location, completion] { completion(location); });
  });
}
