#include "platform/Photos/PLAssetFormats.h"

namespace {

constexpr int kLandscapeScrubberThumbnail = 1, kPortraitScrubberThumbnail = 2;
constexpr CGFloat kScrubberThumbnailHeight = 36;

}  // namespace

int PLManagedAsset::landscapeScrubberThumbnailFormat() {
  return kLandscapeScrubberThumbnail;
}

int PLManagedAsset::portraitScrubberThumbnailFormat() {
  return kPortraitScrubberThumbnail;
}

CGSize PLAssetFormats::sizeForFormat(int format) {
  switch (format) {
    case kLandscapeScrubberThumbnail:
      return CGSizeMake(kScrubberThumbnailHeight * 16 / 9, kScrubberThumbnailHeight);
    case kPortraitScrubberThumbnail:
      return CGSizeMake(kScrubberThumbnailHeight * 9 / 16, kScrubberThumbnailHeight);
    default:
      return CGSizeZero;
  }
}
