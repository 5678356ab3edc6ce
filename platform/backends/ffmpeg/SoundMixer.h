#pragma once

#include "platform/backends/ffmpeg/FilterGraph.h"
#include "platform/backends/ffmpeg/MovieOutput.h"
#include "platform/backends/ffmpeg/SoundTrack.h"

/// Mixes sound tracks into one track of AAC, each at its own level. Where together they would be louder than a file
/// can tell, they are turned down for that moment instead of being clipped. One thread at a time.
class SoundMixer {
 public:
  /// `output` must outlive the result.
  explicit SoundMixer(MovieOutput& output) : output_(output) {}

  /// `startTimes`: the player's zero for each of the streams, in its ticks. AVERRORs here and below;
  /// AVERROR_DECODER_NOT_FOUND with `unknown` when nothing here decodes one of the tracks.
  int open(const std::vector<AVStream*>& streams, const std::vector<std::int64_t>& startTimes,
           const AVStream** unknown);
  /// Does nothing for a packet of another stream.
  int take(const AVPacket& packet);
  int finish();

 private:
  int openEncoder();
  int openGraph();
  int pump(std::size_t index);
  int encodeAll();
  int encode(const AVFrame* sound);

  MovieOutput& output_;
  AVStream* stream_ = nullptr;
  std::vector<std::unique_ptr<SoundTrack>> tracks_;
  SoundTrack::Form form_;
  FilterGraph graph_;
  Codec encoder_;
};
