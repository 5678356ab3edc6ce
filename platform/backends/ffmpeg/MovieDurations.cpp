#include "platform/backends/ffmpeg/MovieDurations.h"

#include <unistd.h>
#include <cerrno>
#include <functional>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint64_t get(const Bytes& bytes, std::size_t at, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes.at(at + std::size_t(i));
  return value;
}

void put(Bytes& bytes, std::size_t at, int count, std::uint64_t value) {
  for (int i = count - 1; i >= 0; --i, value >>= 8) bytes.at(at + std::size_t(i)) = std::uint8_t(value);
}

std::string_view typeAt(const Bytes& bytes, std::size_t box) {
  return {reinterpret_cast<const char*>(bytes.data()) + box + 4, 4};
}

/// Calls `visit` with the position of every box between `from` and `to`.
void forEachBox(const Bytes& bytes, std::size_t from, std::size_t to, const std::function<void(std::size_t)>& visit) {
  while (from + 8 <= to) {
    const std::uint64_t size = get(bytes, from, 4);
    if (size < 8 || size > to - from) return;
    visit(from);
    from += size;
  }
}

/// The position of the first box `type` inside the box at `parent`; 0 for none.
std::size_t child(const Bytes& bytes, std::size_t parent, std::string_view type) {
  std::size_t found = 0;
  forEachBox(bytes, parent + 8, parent + get(bytes, parent, 4), [&](std::size_t box) {
    if (!found && typeAt(bytes, box) == type) found = box;
  });
  return found;
}

/// Sets one track's lengths and returns the whole one, empty beginning included; 0 when a box is missing.
std::uint64_t setTrackDuration(Bytes& moov, std::size_t trak,
                               const std::map<std::uint32_t, std::uint64_t>& segmentDurations) {
  const std::size_t tkhd = child(moov, trak, "tkhd"), edts = child(moov, trak, "edts");
  const std::size_t elst = edts ? child(moov, edts, "elst") : 0;
  if (!tkhd || !elst) return 0;
  const bool wideHeader = moov.at(tkhd + 8) == 1, wideList = moov.at(elst + 8) == 1;
  const auto segment = segmentDurations.find(std::uint32_t(get(moov, tkhd + (wideHeader ? 28 : 20), 4)));
  const std::uint64_t count = get(moov, elst + 12, 4);
  if (segment == segmentDurations.end() || count == 0) return 0;

  const int width = wideList ? 8 : 4;
  const std::size_t entry = wideList ? 20 : 12;
  std::uint64_t total = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::size_t at = elst + 16 + i * entry;
    if (i + 1 == count) put(moov, at, width, segment->second);
    total += get(moov, at, width);
  }
  put(moov, tkhd + (wideHeader ? 36 : 28), wideHeader ? 8 : 4, total);
  return total;
}

bool readAll(int descriptor, Bytes& bytes, std::uint64_t from) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = pread(descriptor, bytes.data() + done, bytes.size() - done, off_t(from + done));
    if (count <= 0) return false;
    done += std::size_t(count);
  }
  return true;
}

}  // namespace

int setMovieDurations(int descriptor, std::uint64_t movieDuration,
                      const std::map<std::uint32_t, std::uint64_t>& segmentDurations) try {
  // The index stands in front of the media, or after it.
  std::uint64_t position = 0;
  Bytes moov;
  for (Bytes header(16);;) {
    if (!readAll(descriptor, header, position)) return EINVAL;
    std::uint64_t size = get(header, 0, 4);
    if (size == 1) size = get(header, 8, 8);
    if (size < 8) return EINVAL;
    if (typeAt(header, 0) == "moov") {
      moov.resize(size);
      break;
    }
    position += size;
  }
  if (!readAll(descriptor, moov, position)) return EINVAL;

  const std::size_t mvhd = child(moov, 0, "mvhd");
  if (!mvhd) return EINVAL;
  std::size_t changed = 0;
  forEachBox(moov, 8, moov.size(), [&](std::size_t box) {
    if (typeAt(moov, box) == "trak" && setTrackDuration(moov, box, segmentDurations) > 0) ++changed;
  });
  if (changed != segmentDurations.size()) return EINVAL;
  const bool wide = moov.at(mvhd + 8) == 1;
  put(moov, mvhd + (wide ? 32 : 24), wide ? 8 : 4, movieDuration);

  std::size_t done = 0;
  while (done < moov.size()) {
    const ssize_t count = pwrite(descriptor, moov.data() + done, moov.size() - done, off_t(position + done));
    if (count < 0) return errno;
    done += std::size_t(count);
  }
  return 0;
} catch (const std::exception&) {
  return EINVAL;  // a box that reaches over its parent's end
}
