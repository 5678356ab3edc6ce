#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/MainQueueReference.h"
#include "platform/Photos/PLAssetFormats.h"
#include "platform/UIKit/UIScreen.h"

#include <cmath>

void ZVVideoEditorViewController::observeValueForKeyPath_ofObject_change_context(std::string_view keyPath,
                                                                                 const Strong<NSObject>& object,
                                                                                 const void*, void*) {
  if (object != avPlayer()->currentItem() || keyPath != "status") return;
  if (avPlayer()->currentItem()->status() == AVPlayerItemStatus::Failed) {
    // After the player has told everybody: another movie may take its place.
    dispatch_async(dispatch_get_main_queue(), [weak = weakSelf(), item = avPlayer()->currentItem()] {
      if (const auto self = weak.lock(); self && self->avPlayerItem() == item) self->tellOfUnreadableMovie();
    });
  }
  if (avPlayer()->currentItem()->status() != AVPlayerItemStatus::ReadyToPlay) return;
  setThumbnailGenerator(nullptr);
  setCachedTimeStamps(nullptr);
  avTrimmer()->setDelegate(strongSelf(), this);
  avTrimmer()->setDataSource(strongSelf(), this);
  // The arrow keys move by the movie's own frames.
  const auto tracks = avPlayer()->currentItem()->asset()->tracksWithMediaType(AVMediaTypeVideo);
  if (!tracks.empty() && tracks.front()->nominalFrameRate > 0) {
    avTrimmer()->setFrameDuration(1.0 / tracks.front()->nominalFrameRate);
  }
  avTrimmer()->reloadData();
}

double ZVVideoEditorViewController::getPlayerDuration() {
  const Strong<AVPlayerItem>& item = avPlayer()->currentItem();
  const std::vector<CMTimeRange> ranges = item->loadedTimeRanges();
  if (item->status() != AVPlayerItemStatus::ReadyToPlay || ranges.empty()) return CMTimeGetSeconds(kCMTimeInvalid);
  return CMTimeGetSeconds(ranges.front().start) + CMTimeGetSeconds(ranges.front().duration);
}

double ZVVideoEditorViewController::movieScrubberDuration(UIMovieScrubber&) {
  return getPlayerDuration();
}

std::vector<NSNumber> ZVVideoEditorViewController::movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(
    UIMovieScrubber&, int count, NSNumber start, NSNumber end) {
  if (end.doubleValue() == 0.0) return {NSNumber(0.0)};
  std::vector<NSNumber> timestamps;
  if (count < 1) return timestamps;
  timestamps.reserve(static_cast<std::size_t>(count));
  const double duration = getPlayerDuration();
  const double step = (end.doubleValue() - start.doubleValue()) / count;
  double time = start.doubleValue();
  for (int i = 1;; ++i) {
    timestamps.emplace_back(time);
    time += step;
    if (time > duration || i >= count) return timestamps;
  }
}

CGSize ZVVideoEditorViewController::getVideoSize() {
  const auto tracks = avPlayer()->currentItem()->asset()->tracksWithMediaType(AVMediaTypeVideo);
  if (tracks.empty() || !tracks.front()) return CGSizeZero;
  const CGSize size = tracks.front()->naturalSize;
  const CGAffineTransform& t = tracks.front()->preferredTransform;
  const double width = static_cast<double>(t.a) * size.width + static_cast<double>(t.c) * size.height;
  const double height = static_cast<double>(t.b) * size.width + static_cast<double>(t.d) * size.height;
  return {std::fabs(static_cast<float>(width)), std::fabs(static_cast<float>(height))};
}

float ZVVideoEditorViewController::movieScrubberThumbnailAspectRatio(UIMovieScrubber&) {
  const CGSize size = getVideoSize();
  return size.height > 0 && size.width > 0 ? size.width / size.height : 1.0F;
}

CGSize ZVVideoEditorViewController::getThumbnailSize() {
  const CGSize video = getVideoSize();
  // A movie without video has no thumbnails to size; a square stands in for its missing aspect.
  const float aspect = video.height > 0 ? video.width / video.height : 1.0F;
  const int format = aspect > 1.0F ? PLManagedAsset::landscapeScrubberThumbnailFormat()
                                   : PLManagedAsset::portraitScrubberThumbnailFormat();
  const float points = PLAssetFormats::sizeForFormat(format).height;
  const float scale = UIScreen::mainScreen().scale();
  return {std::rint(aspect * points * scale) * scale, points * scale};
}

void ZVVideoEditorViewController::movieScrubber_requestThumbnailImageForTimestamp(UIMovieScrubber&,
                                                                                  NSNumber timestamp) {
  if (!thumbnailGenerator()) {
    setThumbnailGenerator(AVAssetImageGenerator::initWithAsset(avPlayer()->currentItem()->asset()));
    thumbnailGenerator()->setMaximumSize(getThumbnailSize());
  }
  if (!cachedTimeStamps()) setCachedTimeStamps(std::make_shared<ThumbnailCache>());
  if (cachedTimeStamps()->count(timestamp)) {
    setThumbnailFromCacheWithTimeStamp(timestamp);
    return;
  }
  constexpr std::int32_t nanoseconds = 1000000000;
  thumbnailGenerator()->generateCGImagesAsynchronouslyForTimes_completionHandler(
      {CMTimeMakeWithSeconds(timestamp.doubleValue(), nanoseconds)},
      [self = MainQueueReference(strongSelf()), timestamp, cache = cachedTimeStamps()](
          CMTime, const CGImageRef& image, CMTime, const NSErrorPtr& error) {
        if (error || !image) {
          dispatch_async(dispatch_get_main_queue(), [self] { self->tellOfChangedMovie(); });  // if that is why
          return;
        }
        // The cache belongs to the main queue. A picture that comes after the cache was dropped goes with it.
        dispatch_async(dispatch_get_main_queue(), [self, timestamp, cache, image] {
          cache->insert_or_assign(timestamp, image);
          self->setThumbnailFromCacheWithTimeStamp(timestamp);
        });
      });
}

void ZVVideoEditorViewController::setThumbnailFromCacheWithTimeStamp(NSNumber timestamp) {
  dispatch_async(dispatch_get_main_queue(), [self = MainQueueReference(strongSelf()), timestamp] {
    const std::shared_ptr<ThumbnailCache>& cache = self->cachedTimeStamps();
    if (!cache) return;
    const auto found = cache->find(timestamp);
    self->avTrimmer()->setThumbnailImage_forTimestamp(found == cache->end() ? nullptr : found->second, timestamp);
  });
}

void ZVVideoEditorViewController::movieScrubberDidBeginScrubbing_withHandle(UIMovieScrubber&, int) {
  setScrubbing(true);
  avPlayer()->pause();
}

void ZVVideoEditorViewController::movieScrubber_valueDidChange(UIMovieScrubber&, double value) {
  avPlayer()->seekToTime(CMTimeMakeWithSeconds(value, avPlayer()->currentTime().timescale));
}

void ZVVideoEditorViewController::movieScrubberDidEndScrubbing_withHandle(UIMovieScrubber&, int) {
  avPlayer()->seekToTime(CMTimeMakeWithSeconds(avTrimmer()->value(), avPlayer()->currentTime().timescale));
  setScrubbing(false);
}

void ZVVideoEditorViewController::movieScrubber_editingStartValueDidChange(UIMovieScrubber&, double value) {
  setEditStartTime(value);
  setTrimming(true);
}

void ZVVideoEditorViewController::movieScrubber_editingEndValueDidChange(UIMovieScrubber&, double value) {
  setEditEndTime(value);
  setTrimming(true);
}

void ZVVideoEditorViewController::movieScrubberDidBeginEditing(UIMovieScrubber&) {
  editMode();
  setTrimming(true);
}

void ZVVideoEditorViewController::movieScrubberDidCancelEditing(UIMovieScrubber&) {
  avTrimmer()->setEditing_animated(false, true);
  previewMode();
  setTrimming(false);
}

void ZVVideoEditorViewController::editMode() {
  if (isPadMode()) {
    topToolBar()->setItems(
        {cancelTrimButton(), flexSpace(), titleButton(), flexSpace(), playButton(), fixSpace(), trimButton()});
  } else {
    topToolBar()->setItems({cancelTrimButton(), flexSpace(), titleButton(), flexSpace(), trimButton()});
    bottomToolBar()->setItems({flexSpace(), playButton(), flexSpace()});
  }
  setHasEdit(true);
}

void ZVVideoEditorViewController::previewMode() {
  const Strong<UIBarButtonItem>& leave = hasEdit() ? doneButton() : cancelButton();
  if (isPadMode()) {
    topToolBar()->setItems({leave, flexSpace(), titleButton(), flexSpace(), playButton(), fixSpace(), shareButton(),
                            fixSpace(), saveButton()});
  } else {
    topToolBar()->setItems({leave, flexSpace(), titleButton(), flexSpace(), saveButton()});
    bottomToolBar()->setItems({shareButton(), flexSpace(), playButton(), flexSpace()});
  }
}

void ZVVideoEditorViewController::undoAction() {
  if (isExporting()) return;
  if (UIMovieScrubberDelegate* told = avTrimmer()->delegate()) told->movieScrubberDidCancelEditing(*avTrimmer());
}

void ZVVideoEditorViewController::motionEnded_withEvent(UIEventSubtype motion, const UIEvent& event) {
  if (event.subtype() == UIEventSubtype::MotionShake && isTrimming() && !isExporting()) undoAction();
  UIViewController::motionEnded_withEvent(motion, event);
}
