#pragma once

#include "platform/backends/ffmpeg/MovieOutput.h"
#include "platform/backends/ffmpeg/PictureConverter.h"
#include "platform/backends/ffmpeg/PictureEncoder.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <thread>

/// The pictures of a movie on their way into another: decoded where `take` is called, coded on a thread of its own.
/// Every picture keeps its time; the one on screen at the player's zero is the first.
class PictureTrack {
 public:
  /// All must outlive the result. `hardware`: whether a hardware encoder may be tried.
  PictureTrack(AVStream* source, std::int64_t startTime, MovieOutput& output, bool hardware);
  ~PictureTrack();

  /// Starts the thread. AVERRORs here and below; AVERROR_DECODER_NOT_FOUND when nothing here decodes the pictures.
  int open();
  /// Null ends the track. Waits while the encoder is behind.
  int take(const AVPacket* packet);
  /// Waits until all is written.
  int finish();

  /// Whether what failed was an encoder in hardware, and x264 may do better.
  bool hardwareFailed() const { return hardwareFailed_; }
  /// Pictures decoded so far.
  int count() const { return count_; }

 private:
  int drain();
  int queue(Frame picture);
  void encodeAll();
  int encode(Frame picture);
  int openEncoder(const AVFrame& first);
  int writePackets();

  AVStream* source_;
  std::int64_t startTime_;
  MovieOutput& output_;
  AVStream* stream_ = nullptr;
  bool hardware_;
  std::atomic<bool> hardwareFailed_{false};

  // Where `take` is called.
  Codec decoder_;
  Frame early_;  // the latest picture before zero
  std::int64_t lastTime_ = AV_NOPTS_VALUE, lastDuration_ = 0;
  int count_ = 0;

  // Between the two.
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Frame> waiting_;
  bool ended_ = false;
  int result_ = 0;
  std::thread thread_;

  // On the encoder's thread.
  PictureConverter converter_;
  std::unique_ptr<PictureEncoder> encoder_;
  std::map<std::int64_t, std::int64_t> durations_;  // of pictures in the encoder, by time
};
