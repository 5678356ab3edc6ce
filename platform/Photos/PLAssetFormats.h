#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

/// The thumbnail formats of the photo library.
class PLManagedAsset {
 public:
  static int landscapeScrubberThumbnailFormat();
  static int portraitScrubberThumbnailFormat();
};

class PLAssetFormats {
 public:
  /// Points. Both scrubber formats are as high as the strip of the timeline (38 points less its 1-point borders).
  static CGSize sizeForFormat(int format);
};
