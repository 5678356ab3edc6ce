#pragma once

#include "platform/backends/ffmpeg/FrameLocator.h"
#include "platform/backends/ffmpeg/PacketGroup.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

struct SwsContext;

/// Decodes pictures for a hand that drags, on a thread of its own: what is near the target comes at once, the target's
/// own picture as soon as it is decoded. It goes on from where it stands as long as targets lie ahead, and keeps some
/// pictures of the group for targets that lie behind. Between uses it holds no pictures and no thread wakes.
class PreviewDecoder {
 public:
  /// Scales the picture into rows of 32-bit pixels (BGRA); whether that worked. `pixels` needs 64 bytes more than the
  /// rows take.
  using Draw = std::function<bool(int width, int height, std::uint8_t* pixels, std::size_t stride)>;
  struct Callbacks {
    std::function<void(const Draw& draw)> show;           ///< on the decoder's thread
    std::function<void(double frame, bool shown)> ended;  ///< on the decoder's thread: the target of a request, or
                                                          ///< (not shown) it can't be decoded here
  };

  explicit PreviewDecoder(Callbacks callbacks) : callbacks_(std::move(callbacks)) {}
  ~PreviewDecoder();
  PreviewDecoder(const PreviewDecoder&) = delete;
  PreviewDecoder& operator=(const PreviewDecoder&) = delete;

  /// A new target, which replaces the last one. `location.packets` must be there. Any one thread.
  void request(const FrameLocation& location);
  /// Drops the target and all pictures.
  void release();

 private:
  enum class Step { Picture, End, Failed };

  void run();
  void work(const FrameLocation& target);
  bool begin(const std::shared_ptr<const PacketGroup>& group);
  bool openDecoder();
  void restart();
  Step decodeNext();
  void keep(const Frame& frame, double time);
  bool showNearest(double target, bool exactly);
  void show(const AVFrame& frame, double time);
  bool draw(const AVFrame& frame, int width, int height, std::uint8_t* pixels, std::size_t stride);
  bool interrupted() const;

  Callbacks callbacks_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::optional<FrameLocation> request_;
  bool release_ = false;
  bool stop_ = false;
  std::thread thread_;

  // On the thread.
  struct Kept {
    double time;
    Frame frame;
  };
  std::shared_ptr<const PacketGroup> group_;
  std::shared_ptr<const AVCodecParameters> openedFor_;
  Codec codec_;
  SwsContext* scaler_ = nullptr;
  std::size_t nextPacket_ = 0;
  bool draining_ = false;
  int decoded_ = 0;
  Frame current_;
  std::optional<double> position_;  // the time of `current_`
  std::vector<Kept> kept_;
  std::optional<double> shown_;  // the time of the picture on screen
};
