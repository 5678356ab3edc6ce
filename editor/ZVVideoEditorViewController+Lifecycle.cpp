#include "editor/NSDateZVExtensions.h"
#include "editor/ZVVideoEditorViewController.h"
#include "overlay/ZVVideoOverlayButton.h"
#include "platform/Foundation/ShownText.h"
#include "platform/UIKit/UIDevice.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITapGestureRecognizer.h"
#include "support/NSFileManagerZVExtensions.h"

using Self = ZVVideoEditorViewController;

ZV_REGISTER_CLASS(ZVVideoEditorViewController, "ZVVideoEditorViewController", UIViewController,
                  ({{"handleSingleTap:", runtime::method(&Self::handleSingleTap)},
                    {"itemDidFinishPlaying:", runtime::method(&Self::itemDidFinishPlaying)},
                    {"playAction", runtime::method(&Self::playAction)},
                    {"pauseAction", runtime::method(&Self::pauseAction)},
                    {"undoAction", runtime::method(&Self::undoAction)},
                    {"saveAction", runtime::method(&Self::saveAction)},
                    {"shareAction", runtime::method(&Self::shareAction)},
                    {"doneAction", runtime::method(&Self::doneAction)}}))

Strong<Self> ZVVideoEditorViewController::strongSelf() {
  return std::static_pointer_cast<Self>(shared_from_this());
}

Weak<Self> ZVVideoEditorViewController::weakSelf() {
  return strongSelf();
}

Strong<Self> ZVVideoEditorViewController::initWithBundleIdentifier_URL_applicationName(
    const std::string& bundleIdentifier, const NSURL& url, const std::string& applicationName) {
  const auto self = std::make_shared<Self>();
  self->setActivityTypes(std::make_shared<std::vector<std::string>>());
  self->setHasEdit(false);
  self->buildVideoOverlay();

  self->setIntroMode(true);
  self->setOriginalVideoURL(url);
  self->setVideoURL(url);
  self->setApplicationName(applicationName);
  self->setBundleIdentifier(bundleIdentifier);
  self->buildTitle(url);
  self->setTrimFilePath(self->trimFileURL());
  self->setTrimming(false);
  self->setExporting(false);
  self->buildPlayerChain(url);
  self->buildTimeline();
  self->buildBarItems();
  self->buildToolbars();
  self->buildViewTree();
  self->applyLayoutForCurrentDevice();
  return self;
}

void ZVVideoEditorViewController::buildVideoOverlay() {
  setVideoOverlay(std::make_shared<UIView>());
  videoOverlay()->setFrame(view()->bounds());
  setUiHidden(false);
  videoOverlay()->addGestureRecognizer(UITapGestureRecognizer::initWithTarget_action(strongSelf(), "handleSingleTap:"));

  setVideoOverlayPlayButton(ZVVideoOverlayButton::_srVideoOverlayButtonWithStyle(0));
  const CGSize button = videoOverlayPlayButton()->bounds().size;
  const CGSize screen = UIScreen::mainScreen().bounds().size;
  videoOverlayPlayButton()->setFrame({{0.5F * screen.width - 0.5F * button.width,  //
                                       0.5F * screen.height - 0.5F * button.height},
                                      button});
  dynamic_cast<ZVVideoOverlayButton&>(*videoOverlayPlayButton()).setTarget_action(strongSelf(), "playAction");
}

void ZVVideoEditorViewController::buildTitle(const NSURL& url) {
  setTitleLabel(std::make_shared<UILabel>());
  titleLabel()->setFrame(CGRectMake(0, 0, 120, 15));
  titleLabel()->setFont(UIFont::systemFontOfSize(16));
  titleLabel()->setBackgroundColor(UIColor::clearColor());
  titleLabel()->setTextColor(UIColor::blackColor());
  titleLabel()->setText(displayName(applicationName()));
  titleLabel()->setTextAlignment(NSTextAlignment::Center);

  const auto dateLabel = std::make_shared<UILabel>();
  dateLabel->setFrame(CGRectMake(0, 15, 120, 15));
  dateLabel->setBackgroundColor(UIColor::clearColor());
  dateLabel->setFont(UIFont::systemFontOfSize(10));
  dateLabel->setTextColor(UIColor::blackColor());
  dateLabel->setTextAlignment(NSTextAlignment::Center);
  const auto created = ZVExtensions::_srGetCreationDateForFile(NSFileManager::defaultManager(), url);
  dateLabel->setText(ZVExtensions::_srGetStringFromDate(created));
  titleLabel()->addSubview(dateLabel);
  setTitleButton(UIBarButtonItem::initWithCustomView(titleLabel()));
}

void ZVVideoEditorViewController::buildPlayerChain(const NSURL& url) {
  setAvAsset(AVURLAsset::initWithURL_options(url, nullptr));
  setAvPlayerItem(AVPlayerItem::initWithAsset(avAsset()));
  setAvPlayer(AVPlayer::initWithPlayerItem(avPlayerItem()));
  avPlayer()->seekToTime(kCMTimeZero);
  observeEndOfMovie();
  setAvPlayerLayer(std::make_shared<AVPlayerLayer>());
  avPlayerLayer()->setPlayer(avPlayer());
  observeItemStatus();
}

void ZVVideoEditorViewController::buildTimeline() {
  constexpr int backdropStyle = 2010;
  setScrubberContainterView(UIBackdropView::initWithFrame_privateStyle(CGRectZero, backdropStyle));
  scrubberContainterView()->setUserInteractionEnabled(true);
  scrubberContainterView()->setTranslatesAutoresizingMaskIntoConstraints(false);

  setAvTrimmer(std::make_shared<UIMovieScrubber>());
  avTrimmer()->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  avTrimmer()->setMinimumTrimLength(1.0);
  avTrimmer()->setEditable(true);
  avTrimmer()->setZoomDelay(0.5);
  avTrimmer()->setEdgeInset(10.0F);
  setScrubbing(false);
  addPlaybackTimeObserver();
}

void ZVVideoEditorViewController::buildBarItems() {
  const auto systemItem = [this](UIBarButtonSystemItem item, SEL action) {
    return UIBarButtonItem::initWithBarButtonSystemItem_target_action(item, strongSelf(), std::move(action));
  };
  setShareButton(systemItem(UIBarButtonSystemItem::Action, "shareAction"));
  setUndoButton(systemItem(UIBarButtonSystemItem::Undo, "undoAction"));
  setPauseButton(systemItem(UIBarButtonSystemItem::Pause, "pauseAction"));
  setPlayButton(systemItem(UIBarButtonSystemItem::Play, "playAction"));
  setDoneButton(systemItem(UIBarButtonSystemItem::Done, "doneAction"));
  setSaveButton(systemItem(UIBarButtonSystemItem::Save, "saveAction"));
  setCancelButton(systemItem(UIBarButtonSystemItem::Cancel, "doneAction"));
  setCancelTrimButton(systemItem(UIBarButtonSystemItem::Cancel, "undoAction"));
  setTrimButton(systemItem(UIBarButtonSystemItem::Done, "saveAction"));
  const auto space = [](UIBarButtonSystemItem item) {
    return UIBarButtonItem::initWithBarButtonSystemItem_target_action(item, nullptr, SEL());
  };
  setFlexSpace(space(UIBarButtonSystemItem::FlexibleSpace));
  setFixSpace(space(UIBarButtonSystemItem::FixedSpace));
  fixSpace()->setWidth(static_cast<CGFloat>(static_cast<double>(view()->frame().size.width) * 0.005));
}

void ZVVideoEditorViewController::buildToolbars() {
  const CGSize size = view()->bounds().size;
  setTopToolBar(std::make_shared<UIToolbar>());
  topToolBar()->setFrame(CGRectMake(0, 0, size.width, 60));
  topToolBar()->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  topToolBar()->setDelegate(this);
  setBottomToolBar(std::make_shared<UIToolbar>());
  bottomToolBar()->setFrame(CGRectMake(0, size.height - 44, size.width, 44));
  bottomToolBar()->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  bottomToolBar()->setDelegate(this);
}

void ZVVideoEditorViewController::buildViewTree() {
  const auto blackBackdrop = std::make_shared<UIView>();
  blackBackdrop->setFrame(view()->frame());
  blackBackdrop->setBackgroundColor(UIColor::blackColor());
  view()->addSubview(blackBackdrop);

  view()->layer()->addSublayer(avPlayerLayer());
  view()->addSubview(videoOverlay());
  view()->addSubview(bottomToolBar());
  view()->addSubview(topToolBar());
  view()->addSubview(scrubberContainterView());
  scrubberContainterView()->addSubview(avTrimmer());
  view()->addSubview(videoOverlayPlayButton());
}

ZVVideoEditorViewController::~ZVVideoEditorViewController() {
  if (!avPlayer()) return;  // never initialised
  avPlayer()->removeTimeObserver(playbackTimeObserver());
  if (timeObserver()) avPlayer()->removeTimeObserver(timeObserver());
  avPlayer()->currentItem()->removeObserver_forKeyPath(this, "status");
  NSNotificationCenter::defaultCenter().removeObserver(this);
  NSFileManager& manager = NSFileManager::defaultManager();
  // Another editor's copy may have the same name; only one that was made here is removed.
  if (trimFileMade_) ZVExtensions::_srRemoveFile_completion(manager, trimFilePath(), nullptr);
  ZVExtensions::_srRemoveFile_completion(manager, originalVideoURL(), nullptr);
}

void ZVVideoEditorViewController::viewWillAppear(bool animated) {
  becomeFirstResponder();
  UIViewController::viewWillAppear(animated);
}

void ZVVideoEditorViewController::viewDidAppear(bool animated) {
  UIViewController::viewDidAppear(animated);
}

void ZVVideoEditorViewController::viewWillDisappear(bool animated) {
  resignFirstResponder();
  UIViewController::viewWillDisappear(animated);
  // The overlay button owns its target; once off the screen the two must not keep each other alive.
  dynamic_cast<ZVVideoOverlayButton&>(*videoOverlayPlayButton()).setTarget_action(nullptr, SEL());
}

void ZVVideoEditorViewController::doneAction() {
  avPlayer()->pause();
  if (const auto told = delegate()) told->videoEditor_didFinishWithActivityTypes(strongSelf(), activityTypes());
}

NSURL ZVVideoEditorViewController::trimFileURL() {
  const std::string prefix = ZVExtensions::_srTempPath(NSFileManager::defaultManager()) + "/ZVZevanti_Trim";
  const auto seconds = static_cast<std::int32_t>(static_cast<std::int64_t>(NSDate::date().timeIntervalSince1970()));
  return NSURL::fileURLWithPath(prefix + std::to_string(seconds) + ".m4v");
}
