#include "platform/AVFoundation/AVAsset.h"
#include "platform/AVFoundation/AVError.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <filesystem>

namespace {

Strong<AVURLAsset> assetAt(const std::string& path) {
  return AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(path), nullptr);
}

/// The size as the editor works it out.
CGSize shownSize(const AVAssetTrack& track) {
  const CGAffineTransform& t = track.preferredTransform;
  const CGSize size = track.naturalSize;
  return CGSizeMake(std::abs(t.a * size.width + t.c * size.height), std::abs(t.b * size.width + t.d * size.height));
}

TEST(Asset, TellsTracksSizeLengthAndTurn) {
  const auto basic = assetAt(recordings::path("basic.mp4"));
  EXPECT_EQ(basic->error(), nullptr);
  EXPECT_NEAR(CMTimeGetSeconds(basic->duration()), 60, 0.001);
  const auto video = basic->tracksWithMediaType(AVMediaTypeVideo);
  ASSERT_EQ(video.size(), 1U);
  EXPECT_EQ(video[0]->codecName, "h264");
  EXPECT_EQ(shownSize(*video[0]), CGSizeMake(640, 360));
  EXPECT_GE(video[0]->naturalTimeScale, 10'000);
  EXPECT_NEAR(video[0]->nominalFrameRate, 30, 0.01);
  EXPECT_EQ(basic->tracksWithMediaType(AVMediaTypeAudio).size(), 1U);

  const auto turned = assetAt(recordings::path("turned.mp4"))->tracksWithMediaType(AVMediaTypeVideo);
  ASSERT_EQ(turned.size(), 1U);
  EXPECT_EQ(turned[0]->naturalSize, CGSizeMake(640, 360));
  EXPECT_EQ(shownSize(*turned[0]), CGSizeMake(360, 640));

  const struct {
    const char* name;
    std::size_t pictures, sounds;
    double length;
  } others[] = {{"two_audio.mp4", 1, 2, 20},
                {"audio_only.mp4", 0, 1, 10},
                {"vfr.mp4", 1, 1, 20},
                {"one_frame.mp4", 1, 0, 1.0 / 30},
                // These two tell their length only after more than their headers have been read.
                {"fragmented.mp4", 1, 1, 20},
                {"basic.mkv", 1, 1, 10}};
  for (const auto& each : others) {
    const auto asset = assetAt(recordings::path(each.name));
    EXPECT_EQ(asset->tracksWithMediaType(AVMediaTypeVideo).size(), each.pictures) << each.name;
    EXPECT_EQ(asset->tracksWithMediaType(AVMediaTypeAudio).size(), each.sounds) << each.name;
    EXPECT_NEAR(CMTimeGetSeconds(asset->duration()), each.length, 0.03) << each.name;
  }
}

TEST(Asset, SaysWhyAFileIsNotAMovie) {
  for (const char* name : {"text.mp4", "empty.mp4", "truncated.mp4"}) {
    const auto asset = assetAt(recordings::path(name));
    ASSERT_NE(asset->error(), nullptr) << name;
    EXPECT_EQ(asset->error()->domain(), AVFoundationErrorDomain);
    EXPECT_EQ(asset->error()->code(), AVErrorFileFormatNotRecognized) << name;
    EXPECT_NE(asset->error()->localizedDescription().find(name), std::string::npos);
    EXPECT_TRUE(asset->tracksWithMediaType(AVMediaTypeVideo).empty());
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(asset->duration())));
  }
  // Playlists could name files that the person never opened.
  const ScratchFolder folder;
  const std::string list =
      folder.write("list.mp4", "ffconcat version 1.0\nfile " + recordings::path("basic.mp4") + "\n");
  EXPECT_NE(assetAt(list)->error(), nullptr);

  for (const auto& [path, code] : {std::pair("/nonexistent/movie.mp4", ENOENT), {"/tmp", EISDIR}}) {
    const auto asset = assetAt(path);
    ASSERT_NE(asset->error(), nullptr);
    EXPECT_EQ(asset->error()->code(), code);
  }
}

TEST(Asset, KeepsTheFileItWasMadeFor) {
  const ScratchFolder folder;
  const std::string path = folder / "movie.mp4";
  std::filesystem::copy_file(recordings::path("one_frame.mp4"), path);
  const auto asset = assetAt(path);
  std::filesystem::remove(path);
  folder.write("movie.mp4", "something else");
  EXPECT_EQ(asset->error(), nullptr);
  EXPECT_EQ(asset->tracksWithMediaType(AVMediaTypeVideo).size(), 1U);
}

}  // namespace
