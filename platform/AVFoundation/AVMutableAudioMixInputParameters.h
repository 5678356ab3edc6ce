#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>

/// Names one sound track of an asset that goes into a mix, at its own level. Not thread-safe.
class AVMutableAudioMixInputParameters : public NSObject {
 public:
  static Strong<AVMutableAudioMixInputParameters> audioMixInputParameters() {
    return std::make_shared<AVMutableAudioMixInputParameters>();
  }
  /// The AVAssetTrack's `trackID`. 0, as at first, stands for no track.
  void setTrackID(std::int32_t identifier) { trackID_ = identifier; }
  std::int32_t trackID() const { return trackID_; }

 private:
  std::int32_t trackID_ = 0;
};
