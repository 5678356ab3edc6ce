#pragma once

#include "platform/AVFoundation/AVAsset.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"

#include <functional>
#include <vector>

enum class AVPlayerItemStatus { Unknown = 0, ReadyToPlay = 1, Failed = 2 };

/// Posted on the main queue when playback has shown the last picture; the object is the item.
inline constexpr const char* AVPlayerItemDidPlayToEndTimeNotification = "AVPlayerItemDidPlayToEndTimeNotification";

/// One playing of an asset. Main queue only. "status" can be observed (key-value observation, on the main queue).
class AVPlayerItem : public NSObject {
 public:
  static Strong<AVPlayerItem> initWithAsset(const Strong<AVURLAsset>& asset);

  const Strong<AVURLAsset>& asset() const { return asset_; }
  AVPlayerItemStatus status() const { return status_; }
  NSErrorPtr error() const { return error_; }
  /// Where playback stands: the target of the latest seek until playback moves on from it.
  CMTime currentTime() const;
  /// One range from zero to the movie's end once the item is ready; empty before.
  std::vector<CMTimeRange> loadedTimeRanges() const;

 private:
  friend class AVPlayer;
  Strong<AVURLAsset> asset_;
  AVPlayerItemStatus status_ = AVPlayerItemStatus::Unknown;
  NSErrorPtr error_;
  std::function<CMTime()> clock_;  // the player's time; invalid once the player is gone
  CMTime duration_ = kCMTimeInvalid;
};
