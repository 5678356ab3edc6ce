#pragma once

#include "platform/AVFoundation/AVAsset.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/CoreMedia/CMTime.h"

#include <functional>
#include <memory>
#include <string>

inline constexpr const char* AVAssetExportPresetPassthrough = "AVAssetExportPresetPassthrough";
inline constexpr const char* AVFileTypeM4V = "m4v";

enum class AVAssetExportSessionStatus { Unknown = 0, Waiting, Exporting, Completed, Failed, Cancelled };

/// Writes a range of a movie into a new file.
///
/// The file appears at `outputURL` only when it is whole and on disk: it is written under a hidden name beside it and
/// renamed. A file that is already there and is not the asset's own is never replaced (the export fails); the asset's
/// own file may be, its readers keep the old one. After a failed or cancelled export nothing is left behind.
class AVAssetExportSession : public NSObject {
 public:
  static Strong<AVAssetExportSession> initWithAsset_presetName(const Strong<AVURLAsset>& asset,
                                                               const std::string& presetName);
  AVAssetExportSession();
  ~AVAssetExportSession() override;

  const NSURL& outputURL() const;
  void setOutputURL(const NSURL& url);
  void setOutputFileType(const std::string& type);
  /// In the times that the player shows. An empty, negative or invalid range fails with AVErrorInvalidTimeRange.
  void setTimeRange(CMTimeRange range);

  /// Returns at once; `handler` is called once, on a queue of the session's own, never on the main queue. The session
  /// keeps itself alive until then.
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler);
  void cancelExport();  ///< any thread

  AVAssetExportSessionStatus status() const;  ///< any thread
  NSErrorPtr error() const;                   ///< any thread; set when failed
  float progress() const;                     ///< any thread; 0 to 1

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
