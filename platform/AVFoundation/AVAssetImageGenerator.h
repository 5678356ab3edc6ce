#pragma once

#include "platform/AVFoundation/AVAsset.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CMTime.h"

#include <functional>
#include <memory>
#include <vector>

/// Makes still pictures of a movie, in the background, in the order asked for.
///
/// With the default tolerances (the only ones) a picture comes from the key frame that is quickest to show, as long as
/// the requested times lie further apart than the key frames; requests that lie nearer together get the exact frame.
/// Pictures are turned the way the player shows them.
class AVAssetImageGenerator : public NSObject {
 public:
  /// The requested time, the picture or null, the time of the frame that it shows, and the error.
  /// Called on a queue of the generator's own, never on the main queue.
  using CompletionHandler = std::function<void(CMTime requested, CGImageRef image, CMTime actual, NSErrorPtr error)>;

  static Strong<AVAssetImageGenerator> initWithAsset(const Strong<AVURLAsset>& asset);
  AVAssetImageGenerator();
  /// Requests that have not started are dropped without a call.
  ~AVAssetImageGenerator() override;

  /// Pixels; pictures are scaled down to fit inside, aspect kept. Zero, negative or not-a-number sides mean no limit.
  void setMaximumSize(CGSize size);
  CGSize maximumSize() const;
  /// Returns at once.
  void generateCGImagesAsynchronouslyForTimes_completionHandler(const std::vector<CMTime>& times,
                                                                CompletionHandler handler);

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
