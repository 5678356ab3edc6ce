#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/ffmpeg/ExportExpectations.h"
#include "platform/backends/posix/GrowingFile.h"

#include <functional>
#include <optional>

/// The check of a file that was just written, or is still being, before anybody sees it. The file is opened as our
/// player opens it, by another reader than the one whose writer made it:
///
/// - the movie and its tracks begin at 0 and end when they should;
/// - the first picture that is shown is the one planned, at 0, and the last one the one planned, at its time: found
///   among the packets, and decoded. Nothing is shown before or after them;
/// - for each track the bytes of the first and the last sample that is shown are the source's; for pictures those of
///   everything from the key frame on.
///
/// Takes some 20 ms plus what opening the file takes, whatever the distance of key frames: pictures are decoded up to
/// the shown one only where few lie between; otherwise the key frame alone is, and the bytes behind it speak for the
/// rest. What can't be decoded is accepted where the same bytes can't be decoded in the source either.
class ExportVerifier {
 public:
  /// `source` is a descriptor open for reading.
  ExportVerifier(const ExportExpectations& expectations, int source, GrowingFile& output,
                 std::function<bool()> isCancelled)
      : expectations_(expectations), source_(source), output_(&output), isCancelled_(std::move(isCancelled)) {}
  /// The same for a file that is there as a whole, open for reading.
  ExportVerifier(const ExportExpectations& expectations, int source, int output, std::function<bool()> isCancelled)
      : expectations_(expectations), source_(source), isCancelled_(std::move(isCancelled)), whole_(output) {}

  /// Null when all is as planned. Otherwise AVErrorExportFailed with what differs, or an error of reading; any error
  /// after a cancellation. Any thread.
  NSErrorPtr run();

 private:
  const ExportExpectations& expectations_;
  const int source_;
  GrowingFile* const output_ = nullptr;
  const std::function<bool()> isCancelled_;
  std::optional<GrowingFile> whole_;
};
