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

/// Writes a range of a movie into a new file, exact at both ends, without coding anything anew.
///
/// The file is an MP4 or QuickTime movie with all tracks of the asset. It shows the picture that is on screen at the
/// range's start first and nothing that begins at its end or later; sound begins and ends at the exact sample. What
/// pictures need of those before them goes along, hidden. Recordings in other containers are repacked on the way; one
/// whose pictures or sound an MP4 file can't hold fails with AVErrorExportFailed and a text that names them.
///
/// The file appears at `outputURL` only when it is whole, checked and on disk: it is written without a name, or a
/// hidden one, beside it, opened once more and compared with the plan and the asset (a difference fails with
/// AVErrorExportFailed), synced and renamed. A file that is already there and is not the asset's own is replaced only
/// when asked for (else the export fails); the asset's own file may be, its readers keep the old one. The new file may
/// be read and written by those who may read and write the one it replaces, else the asset, less the umask. After a
/// failed or cancelled export nothing is left behind.
class AVAssetExportSession : public NSObject {
 public:
  static Strong<AVAssetExportSession> initWithAsset_presetName(const Strong<AVURLAsset>& asset,
                                                               const std::string& presetName);
  AVAssetExportSession();
  ~AVAssetExportSession() override;

  const NSURL& outputURL() const;
  void setOutputURL(const NSURL& url);
  void setOutputFileType(const std::string& type);
  /// Whether another file that is at `outputURL` already gives way to the new one, once that is whole. Default: no.
  void setReplacesExistingFile(bool replaces);
  /// In the times that the player shows. An empty, negative or invalid range fails with AVErrorInvalidTimeRange.
  void setTimeRange(CMTimeRange range);

  /// Returns at once; `handler` is called once, on a queue of the session's own, never on the main queue. The session
  /// keeps itself alive until then.
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler);
  /// Any thread, any moment. The export ends soon as Cancelled; one whose file has its name already as Completed.
  void cancelExport();

  AVAssetExportSessionStatus status() const;  ///< any thread
  NSErrorPtr error() const;                   ///< any thread; set when failed
  float progress() const;                     ///< any thread; 0 to 1, 1 only once completed
  /// What was really taken, in the times that the asset's player shows: the end is the movie's where the range reached
  /// further. Invalid until completed. Any thread.
  CMTimeRange exportedTimeRange() const;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
