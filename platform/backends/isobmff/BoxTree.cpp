#include "platform/backends/isobmff/BoxTree.h"

#include <set>

namespace isobmff {

namespace {

/// trak / mdia / minf / stbl, by depth under moov.
constexpr FourCC kContainers[] = {fourCC("moov"), fourCC("trak"), fourCC("mdia"), fourCC("minf"), fourCC("stbl")};
constexpr int kInnermost = 4;

bool isReadIntoTrack(FourCC type) {
  for (const FourCC table :
       {fourCC("stts"), fourCC("ctts"), fourCC("stss"), fourCC("stps"), fourCC("stsc"), fourCC("stsz"), fourCC("stz2"),
        fourCC("stco"), fourCC("co64"), fourCC("cslg"), fourCC("sdtp"), fourCC("sbgp"), fourCC("csgp")}) {
    if (type == table) return true;
  }
  return false;
}

bool isDropped(FourCC type) {
  return type == fourCC("saiz") || type == fourCC("saio") || type == fourCC("senc") || type == fourCC("stsh");
}

bool mayRepeat(FourCC type) {
  return type == fourCC("sgpd") || type == fourCC("sbgp") || type == fourCC("csgp") || type == fourCC("subs") ||
         type == fourCC("udta") || type == fourCC("uuid") || type == fourCC("free") || type == fourCC("skip");
}

/// Two forms of the same table.
FourCC kind(FourCC type) {
  if (type == fourCC("stz2")) return fourCC("stsz");
  if (type == fourCC("co64")) return fourCC("stco");
  return type;
}

}  // namespace

void BoxTree::count() {
  if (++boxes_ > maximumBoxes) failDamaged("too many boxes");
}

Box BoxTree::copyOpaque(const BoxView& box) {
  count();
  ReadLimits::take(limits_.keptBytesLeft, box.payload.size(), "too large");
  return {box.type, Bytes(box.payload.begin(), box.payload.end()), {}};
}

Box BoxTree::copy(const BoxView& box, int depth) {
  count();
  Box result{box.type, {}, {}};
  std::set<FourCC> seen;
  BoxParser parser(box.payload);
  while (const auto child = parser.next()) {
    if (!mayRepeat(child->type) && !seen.insert(kind(child->type)).second) continue;
    if (depth < kInnermost && child->type == kContainers[depth + 1]) {
      result.children.push_back(copy(*child, depth + 1));
    } else if ((depth == kInnermost && isReadIntoTrack(child->type)) || (depth == 1 && child->type == fourCC("edts"))) {
      count();
      result.children.push_back({child->type, {}, {}});
    } else if (depth != kInnermost || !isDropped(child->type)) {
      result.children.push_back(copyOpaque(*child));
    }
  }
  return result;
}

}  // namespace isobmff
