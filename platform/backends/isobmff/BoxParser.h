#pragma once

#include "platform/backends/isobmff/ByteReader.h"
#include "platform/backends/isobmff/FourCC.h"

#include <optional>

namespace isobmff {

/// A box in memory, not copied.
struct BoxView {
  FourCC type = 0;
  ByteSpan payload;
};

/// Goes through the boxes in the payload of another one.
class BoxParser {
 public:
  explicit BoxParser(ByteSpan payload) : rest_(payload) {}

  /// The next box, or none at the end. Fewer bytes than a box header has, and a size of zero, end the list (QuickTime
  /// closes some lists by four zero bytes). Throws ReadFailure when a box reaches beyond its parent.
  std::optional<BoxView> next();

 private:
  ByteSpan rest_;
};

/// The first box of a type in a payload.
std::optional<BoxView> findBox(ByteSpan payload, FourCC type);
/// The same down a path of types.
std::optional<BoxView> findBox(ByteSpan payload, std::initializer_list<FourCC> path);

}  // namespace isobmff
