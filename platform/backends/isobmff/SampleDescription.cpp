#include "platform/backends/isobmff/SampleDescription.h"

#include <algorithm>
#include <bit>

namespace isobmff {

namespace {

constexpr std::size_t kVisualFields = 78, kSoundFields = 28;

}  // namespace

const Box* descendant(const Box& box, std::initializer_list<FourCC> path) {
  const Box* at = &box;
  for (const FourCC type : path) {
    const auto found =
        std::find_if(at->children.begin(), at->children.end(), [type](const Box& child) { return child.type == type; });
    if (found == at->children.end()) return nullptr;
    at = &*found;
  }
  return at;
}

const Box* sampleTableBox(const Movie& movie, std::size_t track) {
  if (track >= movie.trackBoxes.size() || movie.trackBoxes[track] >= movie.moov.children.size()) return nullptr;
  return descendant(movie.moov.children[movie.trackBoxes[track]], {fourCC("mdia"), fourCC("minf"), fourCC("stbl")});
}

std::optional<SampleDescription> SampleDescription::find(const Movie& movie, std::size_t track, std::size_t index) try {
  const Box* table = sampleTableBox(movie, track);
  const Box* descriptions = table ? descendant(*table, {fourCC("stsd")}) : nullptr;
  if (!descriptions || index == 0) return std::nullopt;
  ByteReader reader(descriptions->payload, "stsd");
  reader.skip(8);
  BoxParser entries(reader.rest());
  for (std::size_t i = 1;; ++i) {
    const std::optional<BoxView> entry = entries.next();
    if (!entry) return std::nullopt;
    if (i < index) continue;
    SampleDescription description;
    description.format_ = entry->type;
    description.payload_ = entry->payload;
    return description;
  }
} catch (const ReadFailure&) {
  return std::nullopt;
}

std::optional<ByteSpan> SampleDescription::child(FourCC type, bool sound) const try {
  std::size_t fields = kVisualFields;
  if (sound) {
    fields = kSoundFields;
    // QuickTime's later versions of the entry have more fields.
    if (payload_.size() >= 10 && loadU16(payload_.data() + 8) == 1) fields += 16;
    if (payload_.size() >= 10 && loadU16(payload_.data() + 8) == 2) fields += 36;
  }
  if (payload_.size() < fields) return std::nullopt;
  const ByteSpan boxes = payload_.subspan(fields);
  if (const auto box = findBox(boxes, type)) return box->payload;
  if (const auto box = sound ? findBox(boxes, {fourCC("wave"), type}) : std::nullopt) return box->payload;
  return std::nullopt;
} catch (const ReadFailure&) {
  return std::nullopt;
}

std::uint32_t SampleDescription::soundRate() const {
  if (payload_.size() < kSoundFields) return 0;
  if (loadU16(payload_.data() + 8) == 2 && payload_.size() >= kSoundFields + 36) {
    const double rate = std::bit_cast<double>(loadU64(payload_.data() + 32));
    return rate > 0 && rate < 1e7 ? std::uint32_t(rate) : 0;
  }
  return loadU16(payload_.data() + 24);
}

}  // namespace isobmff
