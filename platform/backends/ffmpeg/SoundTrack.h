#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

#include <deque>

struct SwrContext;

/// One sound track of a movie, decoded and laid out without gaps from the player's zero on, in the rate and channels
/// that are asked for.
class SoundTrack {
 public:
  struct Form {
    int rate = 48'000;
    int channels = 2;
  };
  SoundTrack(AVStream* source, std::int64_t startTime, Form form)
      : source_(source), startTime_(startTime), form_(form) {}
  SoundTrack(const SoundTrack&) = delete;
  ~SoundTrack();

  AVStream* source() const { return source_; }
  /// AVERRORs here and below; AVERROR_DECODER_NOT_FOUND when nothing here decodes the sound.
  int open();
  /// Null ends the track.
  int take(const AVPacket* packet);
  /// The next piece, with its time in samples; null when there is none yet.
  Frame next();
  /// Where the sound so far ends, in samples.
  std::int64_t end() const { return end_; }
  /// Lays silence as far as `time` where there is less.
  int fillTo(std::int64_t time);

 private:
  int drain();
  int place(AVFrame& sound);
  int convert(AVFrame* sound);
  int flushConverter();
  Frame empty(int samples) const;
  int append(Frame piece);

  AVStream* source_;
  std::int64_t startTime_;
  Form form_;
  Codec decoder_;
  SwrContext* converter_ = nullptr;
  std::deque<Frame> pieces_;
  std::int64_t end_ = 0;
  std::int64_t dropped_ = 0;  // samples still to be left out
  bool hasBegun_ = false;
};
