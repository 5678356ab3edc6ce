#include "platform/backends/isobmff/BoxParser.h"

namespace isobmff {

std::optional<BoxView> BoxParser::next() {
  if (rest_.size() < 8) return std::nullopt;
  std::uint64_t size = loadU32(rest_.data());
  const FourCC type = loadU32(rest_.data() + 4);
  std::size_t header = 8;
  if (size == 0) return std::nullopt;
  if (size == 1) {
    header = 16;
    if (rest_.size() < header) failDamaged("a box ends in its header");
    size = loadU64(rest_.data() + 8);
  }
  if (size < header || size > rest_.size()) failDamaged("a box is larger than the one around it");
  const BoxView box{type, rest_.subspan(header, std::size_t(size) - header)};
  rest_ = rest_.subspan(std::size_t(size));
  return box;
}

std::optional<BoxView> findBox(ByteSpan payload, FourCC type) {
  BoxParser parser(payload);
  while (const auto box = parser.next()) {
    if (box->type == type) return box;
  }
  return std::nullopt;
}

std::optional<BoxView> findBox(ByteSpan payload, std::initializer_list<FourCC> path) {
  std::optional<BoxView> box;
  for (const FourCC type : path) {
    box = findBox(payload, type);
    if (!box) break;
    payload = box->payload;
  }
  return box;
}

}  // namespace isobmff
