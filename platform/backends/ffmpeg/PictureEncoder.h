#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

struct SwsContext;
struct AVBufferRef;

/// Codes pictures as H.264: with the graphics hardware where that answers, else with x264. One thread at a time.
class PictureEncoder {
 public:
  /// How x264 is set: a quality at which no difference is seen, and the effort for it.
  static constexpr const char* kQuality = "18";
  static constexpr const char* kEffort = "veryfast";

  /// For pictures like `first` (8 bits, 4:2:0, even sizes) with times in `timeBase`. Hardware is only asked where a
  /// device of it is there and `hardware` allows it. Null and an AVERROR when there is no encoder.
  static std::unique_ptr<PictureEncoder> open(const AVFrame& first, AVRational timeBase, AVRational rate, bool hardware,
                                              int* error);
  /// The same with the hardware behind a device file only; null when nothing there answers.
  static std::unique_ptr<PictureEncoder> openDevice(const std::string& device, const AVFrame& first,
                                                    AVRational timeBase, AVRational rate);
  ~PictureEncoder();

  AVCodecContext* context() const { return context_.get(); }
  bool isHardware() const { return isHardware_; }
  /// Null ends the movie. Returns an AVERROR.
  int send(const AVFrame* picture);
  /// AVERROR(EAGAIN) when more pictures are needed, AVERROR_EOF after the last packet.
  int receive(AVPacket* packet);

 private:
  PictureEncoder() = default;
  bool prepare(const char* encoder, const AVFrame& first, AVRational timeBase, AVRational rate);
  bool prepareSurfaces(AVBufferRef* device);
  int upload(const AVFrame& picture, Frame* surface);

  Codec context_;
  bool isHardware_ = false;
  SwsContext* packing_ = nullptr;  // to the memory layout of surfaces
};
