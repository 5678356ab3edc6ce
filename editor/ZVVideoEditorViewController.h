#pragma once

#include "editor/ZVVideoEditorViewControllerDelegate.h"
#include "platform/AVFoundation/AVAsset.h"
#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/AVFoundation/AVAssetImageGenerator.h"
#include "platform/AVFoundation/AVPlayer.h"
#include "platform/AVFoundation/AVPlayerItem.h"
#include "platform/AVFoundation/AVPlayerLayer.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSNumber.h"
#include "platform/Foundation/NSURL.h"
#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIGestureRecognizer.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIMovieScrubber.h"
#include "platform/UIKit/UIProgressView.h"
#include "platform/UIKit/UISaveFailure.h"
#include "platform/UIKit/UIToolbar.h"
#include "platform/UIKit/UIViewController.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A plain property: what it holds, its getter and its setter.
#define ZV_PROPERTY(Type, name, setter) \
 public:                                \
  const Type& name() const {            \
    return name##_;                     \
  }                                     \
  void setter(const Type& value) {      \
    name##_ = value;                    \
  }                                     \
                                        \
 private:                               \
  Type name##_ {}
#define ZV_FLAG(getter, name, setter) \
 public:                              \
  bool getter() const {               \
    return name##_;                   \
  }                                   \
  void setter(bool value) {           \
    name##_ = value;                  \
  }                                   \
                                      \
 private:                             \
  bool name##_ = false

class UIImage;
class ZVStoreInfo;

/// Pictures of the timeline by the time they were asked for.
using ThumbnailCache = std::map<NSNumber, CGImageRef>;

/// The editor screen: one recorded movie with a top and a bottom toolbar, a large play button over the video and a
/// thumbnail timeline for trimming. It owns all that it shows, and the movie file it is given: that file and the
/// trimmed copy are deleted when the editor goes away. It never dismisses itself; it tells its delegate when the person
/// is done.
///
/// Main queue only. One .cpp file per concern: lifecycle, layout, playback, trimming, export, sharing.
class ZVVideoEditorViewController : public UIViewController,
                                    public UIToolbarDelegate,
                                    public UIMovieScrubberDelegate,
                                    public UIMovieScrubberDataSource {
  ZV_OBJECT(ZVVideoEditorViewController)

 public:
  /// Builds everything, the player paused at time zero included. Makes no test on its arguments: whether the movie can
  /// be played shows later, in the player item's status.
  static Strong<ZVVideoEditorViewController> initWithBundleIdentifier_URL_applicationName(
      const std::string& bundleIdentifier, const NSURL& url, const std::string& applicationName);
  ZVVideoEditorViewController() = default;
  ~ZVVideoEditorViewController() override;

  std::shared_ptr<ZVVideoEditorViewControllerDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<ZVVideoEditorViewControllerDelegate>& delegate) { delegate_ = delegate; }

  ZV_PROPERTY(NSURL, videoURL, setVideoURL);  ///< the movie on screen
  ZV_PROPERTY(Strong<AVPlayer>, avPlayer, setAvPlayer);
  ZV_PROPERTY(Strong<AVPlayerLayer>, avPlayerLayer, setAvPlayerLayer);
  ZV_PROPERTY(Strong<AVPlayerItem>, avPlayerItem, setAvPlayerItem);
  ZV_PROPERTY(Strong<AVURLAsset>, avAsset, setAvAsset);
  ZV_PROPERTY(Strong<UIView>, scrubberContainterView, setScrubberContainterView);
  ZV_PROPERTY(Strong<NSObject>, playbackTimeObserver, setPlaybackTimeObserver);
  ZV_PROPERTY(std::string, applicationName, setApplicationName);
  ZV_PROPERTY(std::string, bundleIdentifier, setBundleIdentifier);
  ZV_PROPERTY(Strong<NSObject>, timeObserver, setTimeObserver);  ///< end of the trimmed range being played
  ZV_FLAG(isExporting, exporting, setExporting);
  ZV_FLAG(isScrubbing, scrubbing, setScrubbing);  ///< the playhead is being dragged
  ZV_FLAG(isTrimming, trimming, setTrimming);     ///< the timeline is in trim editing
  ZV_FLAG(isPadMode, padMode, setPadMode);
  ZV_FLAG(isIntroMode, introMode, setIntroMode);  ///< nothing has been played yet
  ZV_FLAG(isUIHidden, uiHidden, setUiHidden);     ///< the toolbars and the timeline are faded out
  ZV_PROPERTY(Strong<UIToolbar>, bottomToolBar, setBottomToolBar);
  ZV_PROPERTY(Strong<UIToolbar>, topToolBar, setTopToolBar);
  ZV_PROPERTY(Strong<UIBarButtonItem>, shareButton, setShareButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, pauseButton, setPauseButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, saveButton, setSaveButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, flexSpace, setFlexSpace);
  ZV_PROPERTY(Strong<UIBarButtonItem>, doneButton, setDoneButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, cancelButton, setCancelButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, cancelTrimButton, setCancelTrimButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, trimButton, setTrimButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, undoButton, setUndoButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, titleButton, setTitleButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, playButton, setPlayButton);
  ZV_PROPERTY(Strong<UIBarButtonItem>, fixSpace, setFixSpace);
  ZV_PROPERTY(Strong<UIView>, videoOverlayPlayButton, setVideoOverlayPlayButton);  ///< a ZVVideoOverlayButton
  ZV_PROPERTY(Strong<UIView>, videoOverlay, setVideoOverlay);                      ///< receives taps on the video
  ZV_PROPERTY(Strong<UILabel>, titleLabel, setTitleLabel);
  ZV_PROPERTY(double, editStartTime, setEditStartTime);       ///< seconds from the movie's start
  ZV_PROPERTY(double, editEndTime, setEditEndTime);           ///< seconds from the movie's start
  ZV_PROPERTY(NSURL, trimFilePath, setTrimFilePath);          ///< the trimmed copy, there or not
  ZV_PROPERTY(NSURL, originalVideoURL, setOriginalVideoURL);  ///< the movie that the host handed over
  ZV_PROPERTY(Strong<AVAssetExportSession>, exportSession, setExportSession);
  ZV_PROPERTY(Strong<UIMovieScrubber>, avTrimmer, setAvTrimmer);
  ZV_PROPERTY(Strong<AVAssetImageGenerator>, thumbnailGenerator, setThumbnailGenerator);
  ZV_PROPERTY(std::shared_ptr<ThumbnailCache>, cachedTimeStamps, setCachedTimeStamps);
  ZV_PROPERTY(ActivityTypeList, activityTypes, setActivityTypes);

 public:
  /// Trim editing has begun at least once. Any thread.
  bool hasEdit() const { return hasEdit_; }
  void setHasEdit(bool value) { hasEdit_ = value; }

  // Layout.
  void applyPhoneUILayout();
  void applyPadUILayout();
  void applyPhoneConstraints();
  void applyPadConstraints();
  /// 1 when the view is wider than tall, else 0.
  int currentOrientation();
  void viewDidLayoutSubviews() override;
  void viewWillTransitionToSize_withTransitionCoordinator(CGSize size,
                                                          UIViewControllerTransitionCoordinator& coordinator) override;
  /// Fits the player layer and the toolbars to the view's size, and has the timeline fetch its thumbnails again.
  void refreshAVRotation();

  // Lifecycle.
  /// A file URL for a trimmed copy, named by the present second; makes no file.
  NSURL trimFileURL();
  void viewWillAppear(bool animated) override;
  void viewDidAppear(bool animated) override;
  void viewWillDisappear(bool animated) override;
  /// Done or Cancel: pauses and tells the delegate.
  void doneAction();

  // Playback.
  void reloadAVLayerWithURL(const NSURL& url);
  /// The same, and then its end is waited for instead of that of the movie before.
  void showMovie(const NSURL& url);
  void itemDidFinishPlaying(const Strong<NSNotification>& notification);
  void playAction();
  void pauseAction();
  void handleSingleTap(const Strong<UIGestureRecognizer>& recognizer);
  void configureZevantiUIHidden();
  void showUI();
  void hideUI();

  // Trimming and thumbnails.
  void observeValueForKeyPath_ofObject_change_context(std::string_view keyPath, const Strong<NSObject>& object,
                                                      const void* change, void* context) override;
  void editMode();
  void previewMode();
  void undoAction();
  double movieScrubberDuration(UIMovieScrubber& scrubber) override;
  std::vector<NSNumber> movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(UIMovieScrubber& scrubber, int count,
                                                                                 NSNumber start, NSNumber end) override;
  float movieScrubberThumbnailAspectRatio(UIMovieScrubber& scrubber) override;
  void movieScrubber_requestThumbnailImageForTimestamp(UIMovieScrubber& scrubber, NSNumber timestamp) override;
  void movieScrubber_valueDidChange(UIMovieScrubber& scrubber, double value) override;
  void movieScrubberDidBeginScrubbing_withHandle(UIMovieScrubber& scrubber, int handle) override;
  void movieScrubberDidEndScrubbing_withHandle(UIMovieScrubber& scrubber, int handle) override;
  void movieScrubber_editingStartValueDidChange(UIMovieScrubber& scrubber, double value) override;
  void movieScrubber_editingEndValueDidChange(UIMovieScrubber& scrubber, double value) override;
  void movieScrubberDidBeginEditing(UIMovieScrubber& scrubber) override;
  void movieScrubberDidCancelEditing(UIMovieScrubber& scrubber) override;
  /// Hands the timeline its picture for a time, in a later turn of the main queue.
  void setThumbnailFromCacheWithTimeStamp(NSNumber timestamp);
  /// The displayed size of the first video track, turned as it is shown; zero without one.
  CGSize getVideoSize();
  /// Seconds; not a number until the item is ready.
  double getPlayerDuration();
  /// The largest size of a thumbnail in pixels.
  CGSize getThumbnailSize();
  bool canBecomeFirstResponder() override { return true; }
  void motionEnded_withEvent(UIEventSubtype motion, const UIEvent& event) override;

  // Export and saving.
  void saveAction();
  /// Whether the latest save that a person asked for, in any editor of this process, has failed before it came to the
  /// library: there was too little room, or the export of a trim failed. Any thread.
  static bool latestSaveFailed() { return latestSaveFailed_; }
  /// Why the latest save has failed; null while it has not, and after a later one has begun.
  const NSErrorPtr& saveFailure() const { return saveFailure_; }
  void exportTrimVideoSaveToCameraRoll();

  // Sharing.
  void shareAction();
  void displayShareSheetWithVideoURL(const NSURL& url);

 private:
  using BarItems = std::vector<Strong<UIBarButtonItem>>;

  Strong<ZVVideoEditorViewController> strongSelf();
  Weak<ZVVideoEditorViewController> weakSelf();
  // The initializer's steps.
  void buildVideoOverlay();
  void buildTitle(const NSURL& url);
  void buildPlayerChain(const NSURL& url);
  void buildTimeline();
  void buildBarItems();
  void buildToolbars();
  void buildViewTree();
  void applyLayoutForCurrentDevice();

  void addPlaybackTimeObserver();
  void observeItemStatus();
  void observeEndOfMovie();
  void placeScrubberContainer(const Strong<UIView>& below, NSLayoutAttribute edge);
  /// The bar items around a play or pause item, while playing or after pausing.
  void showPlaybackItem(const Strong<UIBarButtonItem>& item);
  /// Where another editor has saved in the same second, and its file has the name: exports once more, in the next one.
  /// Returns whether it does.
  bool exportInAnotherSecond();
  void trimExportDidEnd(const Strong<AVAssetExportSession>& session, const NSURL& replacedFile);
  /// Shows the progress of `exportSession` in the edge of the top toolbar, unless it ends soon.
  void watchExportProgress();
  void lookAtExportProgressAfter(double seconds, const Weak<AVAssetExportSession>& watched);
  /// The same for what the library is saving.
  void watchSaveProgress();
  void lookAtSaveProgressAfter(double seconds);
  void showExportProgress(float progress);
  void hideExportProgress();
  // Failures of saving, and what stands in the way.
  /// Whether the library has room for the movie on screen, which still is what was opened.
  std::optional<UISaveFailure> obstacleToSaving();
  /// The same for what `session` is going to export and for the library's copy of it.
  std::optional<UISaveFailure> obstacleToExporting(const Strong<AVAssetExportSession>& session);
  UISaveFailure failureOfExport(const AVAssetExportSession& session);
  void librarySaveDidEnd(const NSErrorPtr& error);
  /// For what the library has not said already.
  void saveDidFail(const UISaveFailure& failure);
  void tellOfFailure(const UISaveFailure& failure);
  /// Says so when another program has changed the movie on screen. Once for each movie.
  void tellOfChangedMovie();
  void tellOfUnreadableMovie();
  /// Whether the movie on screen is what was opened, and can be read. Says so when not.
  bool movieCanBeShared();
  /// Shows a message above the editor and whatever that presents.
  void presentMessage(const std::string& title, const std::string& text);
  void presentShareSheet(const ZVStoreInfo& info, const NSURL& url);
  /// The first picture of the timeline or else the one on screen, for the head of the share sheet; null when there is
  /// none yet.
  Strong<UIImage> shareSheetPicture();

  std::weak_ptr<ZVVideoEditorViewControllerDelegate> delegate_;
  std::atomic<bool> hasEdit_ = false;
  std::vector<Strong<NSLayoutConstraint>> scrubberConstraints_;
  bool trimFileMade_ = false;                ///< the file at trimFilePath is this editor's
  std::pair<double, double> exportedRange_;  ///< of the running or latest export
  bool isSecondExport_ = false;
  bool exportAgain_ = false;                   ///< another range was asked for while one was being exported
  Strong<UIProgressView> exportProgressView_;  ///< of an export that takes its time, else null
  inline static std::atomic<bool> latestSaveFailed_ = false;
  NSErrorPtr saveFailure_;
  Weak<AVURLAsset> changedMovie_;  ///< that the person has been told of
  int shareRequests_ = 0, answeredShareRequests_ = 0;
};
