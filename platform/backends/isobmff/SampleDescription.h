#pragma once

#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/Movie.h"

#include <optional>

namespace isobmff {

/// The box at the end of a path of types below `box`; null when there is none.
const Box* descendant(const Box& box, std::initializer_list<FourCC> path);
/// The sample table box of a track; null when the file has none.
const Box* sampleTableBox(const Movie& movie, std::size_t track);

/// An entry of stsd: how the samples of a track are coded. Points into the movie's boxes.
class SampleDescription {
 public:
  /// `index` counts from 1, as in stsc. None when it does not exist or is damaged.
  static std::optional<SampleDescription> find(const Movie& movie, std::size_t track, std::size_t index);

  FourCC format() const { return format_; }
  /// A box inside the entry, also when it is wrapped into "wave" as QuickTime does with sound.
  std::optional<ByteSpan> child(FourCC type, bool sound) const;
  /// The sample rate that a sound entry states; 0 when it does not.
  std::uint32_t soundRate() const;

 private:
  FourCC format_ = 0;
  ByteSpan payload_;
};

}  // namespace isobmff
