#include "tests/matrix/Exporter.h"

#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"

#include <atomic>

std::string matrix::exportRange(const std::string& source, const std::string& output, const Range& range) {
  constexpr int kScale = 1'000'000'000;
  dispatch_main::attachToCurrentThread([] {});
  const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(source), nullptr);
  const auto session = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetPassthrough);
  session->setOutputURL(NSURL::fileURLWithPath(output));
  session->setOutputFileType(AVFileTypeM4V);
  const CMTime from = CMTimeMakeWithSeconds(range.start, kScale);
  session->setTimeRange(CMTimeRangeMake(from, CMTimeSubtract(CMTimeMakeWithSeconds(range.end, kScale), from)));
  std::atomic<bool> done{false};
  session->exportAsynchronouslyWithCompletionHandler([&] { done = true; });
  const bool came = dispatch_main::runUntil([&] { return done.load(); }, 120);
  dispatch_main::waitForBackgroundWork(10);
  if (!came) return "no end within two minutes";
  if (session->status() == AVAssetExportSessionStatus::Completed) return "";
  return session->error() ? session->error()->localizedDescription() : "failed without a word";
}
