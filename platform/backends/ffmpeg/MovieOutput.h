#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

#include <mutex>

/// An MP4 file that libavformat writes, for several threads. Times count from the player's zero; what comes before it
/// is hidden by an edit list.
class MovieOutput {
 public:
  /// `descriptor`: an empty file open for writing; must outlive the result.
  MovieOutput(int descriptor, std::function<bool()> isCancelled);
  MovieOutput(const MovieOutput&) = delete;
  ~MovieOutput();

  /// Before the first packet. Null when memory is short.
  AVStream* addStream();
  /// Title, time of recording and the like; before the file begins.
  void setMetadata(const AVDictionary* metadata);
  /// Once for each stream, when its `codecpar` and `time_base` are filled in. The file begins when all are. All that
  /// follows return AVERRORs.
  int streamIsReady();
  /// Takes the packet over. Those that come before the file has begun are held back.
  int write(AVPacket& packet, const AVStream* stream, AVRational timeBase);
  int finish();

 private:
  struct Held {
    Packet packet;
    AVRational timeBase;
  };
  int begin();
  int send(AVPacket& packet, AVRational timeBase);
  int movieScale() const;

  std::mutex mutex_;
  int descriptor_;
  std::function<bool()> isCancelled_;
  AVFormatContext* format_ = nullptr;
  unsigned ready_ = 0;
  bool hasBegun_ = false;
  std::vector<Held> held_;
};
