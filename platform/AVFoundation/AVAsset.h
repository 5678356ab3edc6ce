#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"
#include "platform/Foundation/NSURL.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

inline constexpr const char* AVMediaTypeVideo = "vide";
inline constexpr const char* AVMediaTypeAudio = "soun";

/// One track of a movie, as read once when the asset was opened.
class AVAssetTrack : public NSObject {
 public:
  std::int32_t trackID = 0;  ///< above 0; no other track of the asset has it
  std::string mediaType;
  CGSize naturalSize;                    ///< pixels with the pixel aspect applied, before the transform
  CGAffineTransform preferredTransform;  ///< how the picture is turned for display
  std::int32_t naturalTimeScale = 0;     ///< ticks a second of the track's own times
  float nominalFrameRate = 0;            ///< frames a second; 0 when unknown
  std::string codecName;                 ///< "h264", "aac", ...
};

/// Option of an asset: its file is probed when first asked about, instead of at once. For who only exports it.
inline constexpr const char* AVURLAssetLoadsOnDemand = "AVURLAssetLoadsOnDemand";

/// A movie file. The file is probed in the background from creation on; the accessors wait for that (some
/// milliseconds) the first time. Safe from any thread.
class AVURLAsset : public NSObject {
 public:
  /// `option` is null or AVURLAssetLoadsOnDemand. Never fails: a file that is not a movie has no tracks and an `error`.
  static Strong<AVURLAsset> initWithURL_options(const NSURL& url, const char* option);
  AVURLAsset();
  ~AVURLAsset() override;

  const NSURL& URL() const;
  /// A path under which this process can read the very file that the asset was made for, for as long as the asset
  /// lives, even when the name has been given to another file or removed. The plain path when the file could not be
  /// opened.
  const std::string& readablePath() const;
  /// Bytes that this file has now, whatever has become of its name; nothing when it could not be opened.
  std::optional<std::int64_t> fileLength() const;
  /// Whether another program has shortened the file since the asset was made, or written into what was there. One that
  /// only grows has not changed, nor one that has lost its name to another, or has new times or rights. Reads little;
  /// may take 50 ms.
  bool hasChanged() const;
  /// The tracks of a media type in file order; cover pictures are not video tracks.
  std::vector<Strong<AVAssetTrack>> tracksWithMediaType(const std::string& mediaType) const;
  /// The end of the longest track in the times that the player shows.
  CMTime duration() const;
  /// Why the file can't be read as a movie; null when it can.
  NSErrorPtr error() const;
  /// Calls `completion` on a global queue once the probing has ended.
  void loadValuesAsynchronously(std::function<void()> completion) const;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
