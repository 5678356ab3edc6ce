#pragma once

#include "platform/AVFoundation/AVAssetImageGenerator.h"
#include "platform/Dispatch/dispatch.h"
#include "tests/data/FrameCode.h"

#include <gtest/gtest.h>

#include <mutex>
#include <vector>

struct Thumbnail {
  double requested = 0;
  int number = -1;  ///< the number drawn into the picture; -1 when unreadable
  double actual = 0;
  int width = 0, height = 0;  ///< zero without a picture
};

/// What a generator delivers for these times, in seconds, in the order in which it comes.
inline std::vector<Thumbnail> thumbnails(const Strong<AVAssetImageGenerator>& generator,
                                         const std::vector<double>& times) {
  std::mutex mutex;
  std::vector<Thumbnail> delivered;
  std::vector<CMTime> wanted;
  for (const double time : times) wanted.push_back(CMTimeMakeWithSeconds(time, 1'000'000'000));
  generator->generateCGImagesAsynchronouslyForTimes_completionHandler(
      wanted, [&](CMTime time, const CGImageRef& image, CMTime actual, const NSErrorPtr& error) {
        EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
        EXPECT_NE(image == nullptr, error == nullptr);
        const std::lock_guard lock(mutex);
        delivered.push_back({CMTimeGetSeconds(time)});
        if (!image) return;
        delivered.back() = {CMTimeGetSeconds(time), frame_code::read(*image).value_or(-1), CMTimeGetSeconds(actual),
                            image->width, image->height};
      });
  const auto isComplete = [&] {
    const std::lock_guard lock(mutex);
    return delivered.size() == times.size();
  };
  if (!dispatch_main::runUntil(isComplete, 60)) {
    ADD_FAILURE() << delivered.size() << " of " << times.size() << " pictures have come";
    dispatch_main::waitForBackgroundWork(60);  // which writes into these
    delivered.resize(times.size());
  }
  return delivered;
}
