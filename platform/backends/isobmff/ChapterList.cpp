#include "platform/backends/isobmff/ChapterList.h"

#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/ByteWriter.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace isobmff {

namespace {

constexpr double kTicks = 1e7;  // a second
constexpr double kLongest = 1e11;

struct Chapter {
  std::uint64_t start = 0;
  ByteSpan name;
};

/// Writes the chapters of a chpl box that are left.
void writeChapters(ByteSpan chpl, double from, double to, ByteWriter& out) {
  const auto first = std::uint64_t(std::llround(std::clamp(from, 0.0, kLongest) * kTicks));
  const auto end = std::uint64_t(std::llround(std::clamp(to, 0.0, kLongest) * kTicks));
  ByteReader reader(chpl, "chpl");
  if (reader.version() > 0) reader.skip(4);
  const ByteSpan header = chpl.first(chpl.size() - reader.remaining());
  std::vector<Chapter> chapters;
  bool underWay = false;  // whether the first one is
  std::uint64_t latest = 0;
  for (int left = reader.u8(); left > 0; --left) {
    Chapter chapter;
    chapter.start = reader.u64();
    chapter.name = reader.take(1 + std::uint64_t(reader.rest().empty() ? 0 : reader.rest().front()));
    if (chapter.start >= end) continue;
    if (chapter.start > first) {
      chapter.start -= first;
      chapters.push_back(chapter);
      continue;
    }
    // What began before and was followed by another one is over.
    if (underWay && chapter.start < latest) continue;
    if (underWay) chapters.erase(chapters.begin());
    underWay = true;
    latest = std::exchange(chapter.start, 0);
    chapters.insert(chapters.begin(), chapter);
  }
  if (chapters.empty()) return;
  const std::size_t start = out.begin(fourCC("chpl"));
  out.append(header.data(), header.size());
  const auto count = std::uint8_t(chapters.size());
  out.append(&count, 1);
  for (const Chapter& chapter : chapters) {
    out.u64(chapter.start);
    out.append(chapter.name.data(), chapter.name.size());
  }
  out.end(start);
}

}  // namespace

Bytes cutChapters(const Bytes& userData, double from, double to) {
  Bytes result;
  ByteWriter out(result);
  const std::uint8_t* copied = userData.data();
  try {
    BoxParser parser(userData);
    const std::uint8_t* end = userData.data();  // of the box before
    while (const auto box = parser.next()) {
      const std::uint8_t* const begin = end;
      end = box->payload.data() + box->payload.size();
      if (box->type != fourCC("chpl")) continue;
      out.append(copied, std::size_t(begin - copied));
      copied = end;
      const std::size_t before = result.size();
      try {
        writeChapters(box->payload, from, to, out);
      } catch (const ReadFailure&) {
        result.resize(before);
      }
    }
  } catch (const ReadFailure&) {
    // Nobody reads what comes behind damage; it stays as it is.
  }
  out.append(copied, std::size_t(userData.data() + userData.size() - copied));
  return result;
}

}  // namespace isobmff
