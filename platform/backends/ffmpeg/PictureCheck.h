#pragma once

#include "platform/backends/ffmpeg/StreamWindow.h"

/// Whether what stands at one end of a stream can be decoded: the picture that is shown there, with its time, or some
/// sound.
class PictureCheck {
 public:
  /// `from` is the packet of `window` at which decoding can start. `playersBegin`: so does a player, which has to show
  /// the picture with nothing else; otherwise it has come from further in front. Stream and window must outlive this
  /// object.
  PictureCheck(const AVStream* stream, const StreamWindow& window, std::size_t from, bool playersBegin)
      : stream_(stream), window_(window), from_(from), playersBegin_(playersBegin) {}

  /// Takes the time of a handful of pictures of full-screen size: where more lie between, only the first is decoded.
  /// Twice that, and some more pictures, in an open group.
  /// Safe on any thread, as long as nobody reads the stream meanwhile.
  void run() { run(nullptr); }
  /// The same with the decoder of another check of this stream, which has run: spares the memory for a second one, and
  /// the time it takes to get that.
  void runAfter(PictureCheck& other) { run(std::move(other.decoder_)); }
  /// How many pixels that decodes.
  double pixels() const;
  /// True before `run`, and when there is no decoder.
  bool succeeded() const { return succeeded_; }

  /// Whether a movie's picture or sound at `time` (the player's, in seconds) can be decoded from its own key frame.
  static bool canDecode(MovieInput& input, AVStream* stream, double time);

 private:
  void run(Codec decoder);
  std::size_t lastDecoded() const;
  bool decodesUntil(std::size_t last, bool unsure);

  const AVStream* stream_;
  const StreamWindow& window_;
  std::size_t from_;
  bool playersBegin_;
  Codec decoder_;
  bool succeeded_ = true;
};
