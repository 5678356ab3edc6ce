#include "editor/ZVVideoEditorViewController.h"

namespace {
constexpr double fadeDuration = 0.25;            // seconds
constexpr double playheadInterval = 1.0 / 30.0;  // seconds
constexpr std::int32_t playheadTimeScale = 1000000000;
}  // namespace

void ZVVideoEditorViewController::addPlaybackTimeObserver() {
  setPlaybackTimeObserver(avPlayer()->addPeriodicTimeObserverForInterval_queue_usingBlock(
      CMTimeMakeWithSeconds(playheadInterval, playheadTimeScale), nullptr, [weak = weakSelf()](CMTime) {
        const auto self = weak.lock();
        if (!self || self->isScrubbing()) return;
        self->avTrimmer()->setValue(CMTimeGetSeconds(self->avPlayer()->currentItem()->currentTime()));
      }));
}

void ZVVideoEditorViewController::observeItemStatus() {
  avPlayer()->currentItem()->addObserver_forKeyPath(strongSelf(), "status");
}

void ZVVideoEditorViewController::observeEndOfMovie() {
  NSNotificationCenter::defaultCenter().addObserver_selector_name_object(
      strongSelf(), "itemDidFinishPlaying:", AVPlayerItemDidPlayToEndTimeNotification, avPlayerItem());
}

void ZVVideoEditorViewController::reloadAVLayerWithURL(const NSURL& url) {
  if (isTrimming() && avTrimmer()->delegate()) avTrimmer()->delegate()->movieScrubberDidCancelEditing(*avTrimmer());
  setVideoURL(url);
  avPlayer()->currentItem()->removeObserver_forKeyPath(this, "status");
  // The old player is replaced: none of its observers may fire again.
  avPlayer()->removeTimeObserver(playbackTimeObserver());
  if (timeObserver()) avPlayer()->removeTimeObserver(timeObserver());
  setTimeObserver(nullptr);

  setAvAsset(AVURLAsset::initWithURL_options(url, nullptr));
  setAvPlayerItem(AVPlayerItem::initWithAsset(avAsset()));
  setAvPlayer(AVPlayer::initWithPlayerItem(avPlayerItem()));
  avPlayer()->setActionAtItemEnd(AVPlayerActionAtItemEnd::Pause);
  avPlayer()->seekToTime(kCMTimeZero);
  avPlayerLayer()->setPlayer(avPlayer());
  observeItemStatus();
  setScrubbing(false);
  addPlaybackTimeObserver();
}

void ZVVideoEditorViewController::showMovie(const NSURL& url) {
  NSNotificationCenter::defaultCenter().removeObserver(this);
  reloadAVLayerWithURL(url);
  observeEndOfMovie();
}

void ZVVideoEditorViewController::itemDidFinishPlaying(const Strong<NSNotification>&) {
  pauseAction();
  if (isUIHidden()) showUI();
  avPlayer()->seekToTime(kCMTimeZero);
  tellOfChangedMovie();  // which then has ended early, or shown something else
}

void ZVVideoEditorViewController::playAction() {
  if (avPlayerItem()->status() == AVPlayerItemStatus::Failed) {
    // What could not be read a while ago may be readable by now; if not, that is told once more. What has changed is
    // never taken for another recording, and the part that is selected is not given up for this.
    const bool isFreeToShow = !isTrimming() && !isExporting() && !avAsset()->hasChanged();
    return isFreeToShow ? showMovie(videoURL()) : tellOfUnreadableMovie();
  }
  // An end-of-range observer that is still armed would pause this play, too.
  if (timeObserver()) avPlayer()->removeTimeObserver(timeObserver());
  setTimeObserver(nullptr);
  if (isTrimming()) {
    avPlayer()->seekToTime(CMTimeMakeWithSeconds(editStartTime(), avPlayer()->currentTime().timescale));
    const CMTime end = CMTimeMakeWithSeconds(editEndTime(), avPlayer()->currentTime().timescale);
    setTimeObserver(avPlayer()->addBoundaryTimeObserverForTimes_queue_usingBlock({end}, dispatch_get_main_queue(),
                                                                                 [weak = weakSelf()] {
                                                                                   if (const auto self = weak.lock())
                                                                                     self->pauseAction();
                                                                                 }));
  }
  avPlayer()->play();
  if (!isUIHidden()) hideUI();
  if (isIntroMode()) {
    videoOverlayPlayButton()->removeFromSuperview();
    setIntroMode(false);
  }
  showPlaybackItem(pauseButton());
}

void ZVVideoEditorViewController::pauseAction() {
  avPlayer()->pause();
  showPlaybackItem(playButton());
}

void ZVVideoEditorViewController::showPlaybackItem(const Strong<UIBarButtonItem>& item) {
  if (isPadMode()) {
    const bool trim = isTrimming();
    topToolBar()->setItems({trim ? cancelTrimButton() : cancelButton(), flexSpace(), titleButton(), flexSpace(), item,
                            fixSpace(), shareButton(), fixSpace(), trim ? trimButton() : saveButton()});
  } else {
    bottomToolBar()->setItems({shareButton(), flexSpace(), item, flexSpace()});
  }
}

void ZVVideoEditorViewController::handleSingleTap(const Strong<UIGestureRecognizer>&) {
  configureZevantiUIHidden();
}

void ZVVideoEditorViewController::configureZevantiUIHidden() {
  if (isUIHidden()) {
    showUI();
  } else {
    hideUI();
  }
}

void ZVVideoEditorViewController::showUI() {
  UIView::animateWithDuration_animations(fadeDuration, [this] {
    topToolBar()->setAlpha(1);
    bottomToolBar()->setAlpha(1);
    scrubberContainterView()->setAlpha(1);
  });
  setUiHidden(false);
}

void ZVVideoEditorViewController::hideUI() {
  UIView::animateWithDuration_animations(fadeDuration, [this] {
    topToolBar()->setAlpha(0);
    bottomToolBar()->setAlpha(0);
    scrubberContainterView()->setAlpha(0);
  });
  setUiHidden(true);
}
