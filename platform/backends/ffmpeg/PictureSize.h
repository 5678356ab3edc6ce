#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdint>

// What a decoder holds grows with its pictures: those it refers to, those on their way, one for each thread. All
// decoders of the editor together are to stay below 1 GB.

/// Pixels of the largest pictures that are opened, 8192 x 4352: as many as the highest levels of H.264, HEVC and AV1
/// allow.
inline constexpr std::int64_t kMostPixels = 35'651'584;

/// Pixels of the largest pictures that are dealt with as usual, 4096 x 4096; above them there is memory for the
/// player's decoder and for one that decodes key pictures alone.
inline constexpr std::int64_t kUsualPixels = 16'777'216;

/// Pixels of the largest pictures of which two decoders make thumbnails at a time, 4096 x 2304.
inline constexpr std::int64_t kPixelsOfTwoDecoders = 9'437'184;

inline std::int64_t pixelsOf(const AVCodecParameters* codec) {
  return std::int64_t{codec->width} * codec->height;
}

/// How many of `wanted` threads a decoder gets, of which each takes a picture.
int decodingThreads(std::int64_t pixels, int wanted);

/// The size up to which a decoder takes pictures when a file promises `pixels`: no file becomes larger in the middle
/// than it was dealt with at its beginning.
std::int64_t largestDecoded(std::int64_t pixels);

/// Makes libav's libraries refuse to get more in one piece than a picture of the largest size has as four bytes for
/// each pixel: decoders that they open by themselves, to find out about a stream, can't be told the above. Any thread.
void limitPieces();

/// Makes a decoder that has its parameters refuse what is larger than they promise, whatever the pictures' own headers
/// say. Before it is opened.
void limitPictures(AVCodecContext* decoder);
