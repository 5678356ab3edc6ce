#pragma once

#include "platform/AVFoundation/AVAsset.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/AVMutableAudioMix.h"
#include "platform/CoreMedia/CMTime.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Nothing is coded anew; AVFileTypeM4V.
inline constexpr const char* AVAssetExportPresetPassthrough = "AVAssetExportPresetPassthrough";
/// H.264 and AAC, whatever the source has; AVFileTypeMPEG4.
inline constexpr const char* AVAssetExportPresetHighestQuality = "AVAssetExportPresetHighestQuality";
inline constexpr const char* AVFileTypeM4V = "m4v";
inline constexpr const char* AVFileTypeMPEG4 = "public.mpeg-4";

enum class AVAssetExportSessionStatus { Unknown = 0, Waiting, Exporting, Completed, Failed, Cancelled };

/// Writes a range of a movie into a new file.
///
/// AVAssetExportPresetPassthrough: exact at both ends, without coding anything anew. The file is an MP4 or QuickTime
/// movie with all tracks of the asset. It shows the picture that is on screen at the range's start first and nothing
/// that begins at its end or later; sound begins and ends at the exact sample. What pictures need of those before them
/// goes along, hidden. Recordings in other containers are repacked on the way; one whose pictures or sound an MP4 file
/// can't hold fails with AVErrorExportFailed and a text that names them.
///
/// AVAssetExportPresetHighestQuality: an MP4 file with one track of H.264 pictures, 8 bits and 4:2:0, and, where the
/// asset has sound, one of AAC, all sound tracks mixed into it at their own level. Pictures keep their size (but for a
/// column or row more where it is odd), their turn, their times and their colours; those of high dynamic range are
/// brought to the usual one. What is so already is not coded anew. Always the whole movie: with a time range it fails
/// with AVErrorInvalidTimeRange. An asset without pictures fails with AVErrorExportFailed, one that
/// nothing here decodes with AVErrorDecoderNotFound.
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

  /// Which sound tracks are mixed into the one that AVAssetExportPresetHighestQuality writes; null, as at first: all.
  void setAudioMix(const Strong<AVMutableAudioMix>& mix);

  /// Bytes of the new file, estimated: the part of the source's bytes that the range has of its length. All of them
  /// when the source does not say how long it is. Waits for the asset to be probed. Any thread.
  std::int64_t estimatedOutputFileLength() const;
  /// Bytes that are missing in the folder of `outputURL` for what the export would write there while it runs, by that
  /// estimate, and `reserve` bytes more; 0 when there is room, and when the file system is read-only or does not say
  /// how much it has. Nothing is needed for blocks that the new file will share with the source, twice as much for a
  /// recording that is repacked on the way, or whose sound tracks are mixed. Waits for the asset to be probed. Any
  /// thread.
  std::int64_t missingSpaceWithReserve(std::int64_t reserve) const;

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
  /// The tracks of a repacked recording for which an MP4 file has no place, as subtitles that are pictures; in the
  /// trace log too. Each in words that are not translated: “track 3 (subtitles, dvd_subtitle, deu)”. Empty until
  /// completed. Any thread.
  std::vector<std::string> tracksLeftOut() const;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
