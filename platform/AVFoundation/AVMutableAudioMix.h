#pragma once

#include "platform/AVFoundation/AVMutableAudioMixInputParameters.h"

#include <utility>
#include <vector>

/// Which sound tracks of an asset an export mixes into one. Not thread-safe; an export copies it when it starts.
class AVMutableAudioMix : public NSObject {
 public:
  static Strong<AVMutableAudioMix> audioMix() { return std::make_shared<AVMutableAudioMix>(); }
  /// Tracks that the asset doesn't have are passed over. None named, as at first: all of the asset's.
  void setInputParameters(std::vector<Strong<AVMutableAudioMixInputParameters>> parameters) {
    parameters_ = std::move(parameters);
  }
  const std::vector<Strong<AVMutableAudioMixInputParameters>>& inputParameters() const { return parameters_; }

 private:
  std::vector<Strong<AVMutableAudioMixInputParameters>> parameters_;
};
