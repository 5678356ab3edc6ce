#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/ffmpeg/ExportExpectations.h"

#include <functional>

/// The check of a file that was just written, before anybody sees it. The file is opened as our player opens it, by
/// another reader than the one whose writer made it:
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
  /// `source` and `output` are descriptors open for reading.
  ExportVerifier(const ExportExpectations& expectations, int source, int output, std::function<bool()> isCancelled)
      : expectations_(expectations), source_(source), output_(output), isCancelled_(std::move(isCancelled)) {}

  /// Null when all is as planned. Otherwise AVErrorExportFailed with what differs, or an error of reading; any error
  /// after a cancellation. Any thread.
  NSErrorPtr run() const;

 private:
  const ExportExpectations& expectations_;
  int source_, output_;
  std::function<bool()> isCancelled_;
};
