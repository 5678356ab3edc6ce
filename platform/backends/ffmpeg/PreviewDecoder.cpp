#include "platform/backends/ffmpeg/PreviewDecoder.h"

#include "platform/backends/ffmpeg/PictureSize.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <utility>

extern "C" {
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace {

constexpr double sameTime = 1e-4;
constexpr auto showInterval = std::chrono::milliseconds(12);
constexpr std::size_t keptBytes = 32U << 20U;
constexpr unsigned threads = 3;

/// As the player guesses where the file says nothing.
int colourMatrix(const AVFrame& frame) {
  if (frame.colorspace != AVCOL_SPC_UNSPECIFIED && frame.colorspace != AVCOL_SPC_RGB) {
    return frame.colorspace;
  }
  return frame.width >= 1280 || frame.height > 576 ? SWS_CS_ITU709 : SWS_CS_ITU601;
}

}  // namespace

PreviewDecoder::~PreviewDecoder() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
    wake_.notify_all();
  }
  if (thread_.joinable()) {
    thread_.join();
  }
  sws_freeContext(scaler_);
}

void PreviewDecoder::request(const FrameLocation& location) {
  const std::lock_guard lock(mutex_);
  request_ = location;
  release_ = false;
  wake_.notify_all();
  if (!thread_.joinable()) {
    thread_ = std::thread([this] { run(); });
  }
}

void PreviewDecoder::release() {
  const std::lock_guard lock(mutex_);
  request_.reset();
  release_ = true;
  wake_.notify_all();
}

bool PreviewDecoder::interrupted() const {
  const std::lock_guard lock(mutex_);
  return stop_ || release_ || request_;
}

void PreviewDecoder::run() {
  while (true) {
    std::optional<FrameLocation> target;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stop_ || release_ || request_; });
      if (stop_) {
        return;
      }
      release_ = false;
      target = std::exchange(request_, std::nullopt);
    }
    if (target) {
      work(*target);
    } else {
      kept_.clear();
      current_.reset();
      position_.reset();
      shown_.reset();
      group_.reset();
      if (codec_) {
        avcodec_flush_buffers(codec_.get());
      }
    }
  }
}

void PreviewDecoder::work(const FrameLocation& target) {
  if (target.packets != group_ && !begin(target.packets)) {
    callbacks_.ended(target.frame, false);
    return;
  }
  if (showNearest(target.frame, true)) {
    callbacks_.ended(target.frame, true);
    return;
  }
  showNearest(target.frame, false);
  if (position_ && *position_ > target.frame + sameTime) {
    restart();
  }
  auto lastShown = std::chrono::steady_clock::now() - showInterval;
  while (!interrupted()) {
    switch (decodeNext()) {
      case Step::Failed:
        callbacks_.ended(target.frame, false);
        return;
      case Step::End:
        // A picture that was announced did not come; the last one stands for it.
        if (current_) {
          show(*current_, *position_);
        }
        callbacks_.ended(target.frame, current_ != nullptr);
        return;
      case Step::Picture:
        break;
    }
    if (*position_ >= target.frame - sameTime) {
      show(*current_, *position_);
      callbacks_.ended(target.frame, true);
      return;
    }
    const auto now = std::chrono::steady_clock::now();
    const bool nearer = !shown_ || std::abs(*position_ - target.frame) < std::abs(*shown_ - target.frame) - sameTime;
    if (nearer && now - lastShown >= showInterval) {
      show(*current_, *position_);
      lastShown = now;
    }
  }
}

bool PreviewDecoder::begin(const std::shared_ptr<const PacketGroup>& group) {
  group_ = group;
  if (openedFor_ != group->codec && !openDecoder()) {
    group_.reset();
    return false;
  }
  kept_.clear();
  restart();
  return true;
}

bool PreviewDecoder::openDecoder() {
  codec_.reset();
  openedFor_.reset();
  const AVCodec* decoder = avcodec_find_decoder(group_->codec->codec_id);
  const std::int64_t pixels = pixelsOf(group_->codec.get());
  if (!decoder || pixels > kUsualPixels) {
    return false;  // the player's own decoder must do
  }
  Codec codec(avcodec_alloc_context3(decoder));
  if (!codec || avcodec_parameters_to_context(codec.get(), group_->codec.get()) < 0) {
    return false;
  }
  codec->pkt_timebase = group_->timeBase;
  limitPictures(codec.get());
  codec->thread_count =
      decodingThreads(pixels, static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, threads)));
  if (avcodec_open2(codec.get(), decoder, nullptr) < 0) {
    return false;
  }
  codec_ = std::move(codec);
  openedFor_ = group_->codec;
  return true;
}

void PreviewDecoder::restart() {
  avcodec_flush_buffers(codec_.get());
  nextPacket_ = 0;
  draining_ = false;
  decoded_ = 0;
  current_.reset();
  position_.reset();
}

/// The next picture of the group in the order of the times.
PreviewDecoder::Step PreviewDecoder::decodeNext() {
  Frame frame(av_frame_alloc());
  while (true) {
    const int result = avcodec_receive_frame(codec_.get(), frame.get());
    if (result == 0) {
      const std::int64_t timestamp = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
      position_ = group_->seconds(timestamp);
      keep(frame, *position_);
      current_ = std::move(frame);
      return Step::Picture;
    }
    if (result == AVERROR_EOF) {
      return Step::End;
    }
    if (result != AVERROR(EAGAIN)) {
      return Step::Failed;
    }
    if (nextPacket_ < group_->packets.size()) {
      // A damaged packet costs its own picture only.
      avcodec_send_packet(codec_.get(), group_->packets[nextPacket_++].get());
    } else if (!std::exchange(draining_, true)) {
      avcodec_send_packet(codec_.get(), nullptr);
    } else {
      return Step::End;
    }
  }
}

/// Keeps pictures evenly over the group, as many as the memory for them allows.
void PreviewDecoder::keep(const Frame& frame, double time) {
  const int index = decoded_++;
  const int size = av_image_get_buffer_size(static_cast<AVPixelFormat>(frame->format), frame->width, frame->height, 1);
  const std::size_t most = size > 0 ? std::max<std::size_t>(keptBytes / static_cast<std::size_t>(size), 2) : 2;
  const std::size_t interval = group_->packets.size() / most + 1;
  if (static_cast<std::size_t>(index) % interval != 0 || kept_.size() >= most) {
    return;
  }
  const bool known =
      std::any_of(kept_.begin(), kept_.end(), [&](const Kept& kept) { return std::abs(kept.time - time) < sameTime; });
  if (!known) {
    kept_.push_back({time, Frame(av_frame_clone(frame.get()))});
  }
}

/// Shows the picture at `target` if it is there, or (not exactly) the nearest one if it is nearer than what is on
/// screen. Whether anything was shown.
bool PreviewDecoder::showNearest(double target, bool exactly) {
  const AVFrame* best = nullptr;
  double bestTime = 0;
  double limit = exactly ? sameTime : shown_ ? std::abs(*shown_ - target) - sameTime : INFINITY;
  const auto consider = [&](const AVFrame* frame, double time) {
    if (std::abs(time - target) < limit) {
      limit = std::abs(time - target);
      best = frame;
      bestTime = time;
    }
  };
  if (current_) {
    consider(current_.get(), *position_);
  }
  for (const Kept& kept : kept_) {
    consider(kept.frame.get(), kept.time);
  }
  if (best) {
    show(*best, bestTime);
  }
  return best != nullptr;
}

void PreviewDecoder::show(const AVFrame& frame, double time) {
  shown_ = time;
  callbacks_.show([&](int width, int height, std::uint8_t* pixels, std::size_t stride) {
    return draw(frame, width, height, pixels, stride);
  });
}

bool PreviewDecoder::draw(const AVFrame& frame, int width, int height, std::uint8_t* pixels, std::size_t stride) {
  scaler_ = sws_getCachedContext(scaler_, frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), width,
                                 height, AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr);
  if (!scaler_) {
    return false;
  }
  sws_setColorspaceDetails(scaler_, sws_getCoefficients(colourMatrix(frame)), frame.color_range == AVCOL_RANGE_JPEG,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  std::array<std::uint8_t*, 4> planes{pixels};
  std::array<int, 4> strides{static_cast<int>(stride)};
  return sws_scale(scaler_, frame.data, frame.linesize, 0, frame.height, planes.data(), strides.data()) > 0;
}
