#include "sharing/ZVYouTubeActivity.h"

#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/NSStringFormat.h"
#include "platform/Foundation/NSValueObjects.h"
#include "platform/Foundation/os_trace.h"
#include "platform/MobileCoreServices/LSApplicationWorkspace.h"
#include "platform/MobileGestalt/MobileGestalt.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIPickerView.h"
#include "platform/UIKit/UISaveFailure.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITableView.h"
#include "sharing/ZVPublishingAgentClass.h"
#include "support/NSFileManagerZVExtensions.h"
#include "support/ZVFrameworkStrings.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <set>
#include <utility>

ZV_REGISTER_CLASS(ZVYouTubeActivity, "ZVYouTubeActivity", UIActivity,
                  {{"_selectComedyPickerRow",
                    [](NSObject& form, const Strong<NSObject>&) { ZVYouTubeActivity::_selectComedyPickerRow(form); }}})

namespace {

constexpr double progressInterval = 0.2;         // seconds
constexpr const char* preferredCategory = "20";  // of the service: games
constexpr const char* categoryRoutine = "_selectComedyPickerRow";

NSFileManager& files() {
  return NSFileManager::defaultManager();
}

NSURL convertedFileURL(std::int64_t second) {
  const std::string prefix = NSStringWithFormat("%@/ZVZevanti_YouTube", {ZVExtensions::_srTempPath(files())});
  // Names count in 32 bits; after 2038 they begin anew with the lowest number.
  const auto number = static_cast<std::int32_t>(second);
  return NSURL::fileURLWithPath(NSStringWithFormat("%@%@%@", {prefix, std::to_string(number), ".mp4"}));
}

/// The files of this process's conversions, past ones included.
std::set<std::string>& usedFiles() {
  static std::set<std::string> paths;
  return paths;
}

std::string textAt(const std::vector<UIActivityItem>& items, std::size_t index) {
  const auto* text = index < items.size() ? std::get_if<std::string>(&items[index]) : nullptr;
  return text ? *text : std::string();
}

std::int64_t lackOfSpace(const AVAssetExportSession& exporter) {
  return exporter.missingSpaceWithReserve(ZVScreenRecorderRequiredFreeSpace);
}

/// A failure in words for the person.
NSErrorPtr inWords(const UISaveFailure& failure) {
  return std::make_shared<const NSError>(failure.error->domain(), failure.error->code(), failure.message());
}

/// Why there is no converted movie of `asset`, in words for the person; null when there is one. One that was not begun
/// found no room.
NSErrorPtr failureOf(const AVAssetExportSession& exporter, const AVURLAsset& asset) {
  const AVAssetExportSessionStatus status = exporter.status();
  if (status == AVAssetExportSessionStatus::Cancelled) return NSError::posix(ECANCELED, "The conversion was given up");
  const std::string& folder = ZVExtensions::_srTempPath(files());
  UISaveFailure failure{exporter.error(), folder, 0, ""};
  const bool isFull = failure.error && failure.error->domain() == NSPOSIXErrorDomain && failure.error->code() == ENOSPC;
  if (asset.hasChanged())
    failure = UISaveFailure::changedRecording();
  else if (status == AVAssetExportSessionStatus::Unknown)
    failure = UISaveFailure::lackOfSpace(folder, lackOfSpace(exporter));
  else if (isFull)
    failure.missingSpace = lackOfSpace(exporter);
  return failure.error ? inWords(failure) : nullptr;
}

std::string lowercased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

/// A variable of the form, of this type or null.
template <class T>
Strong<T> part(const NSObject& form, const char* name) {
  return std::dynamic_pointer_cast<T>(object_getIvar(&form, class_getInstanceVariable(form.class_(), name)));
}

/// Puts the activity's choice of a category in the place of the form's own, for good: a second exchange would undo it.
void exchangeCategoryRoutine(Class formClass) {
  static Class exchanged = nullptr;
  if (exchanged) return;
  exchanged = formClass;
  method_exchangeImplementations(formClass, categoryRoutine, ZVYouTubeActivity::staticClass(), categoryRoutine);
}

std::string words(const char* key) {
  return ZVLocalizedFrameworkString(key).value_or(key);
}

}  // namespace

Strong<ZVYouTubeActivity> ZVYouTubeActivity::strongSelf() {
  return std::static_pointer_cast<ZVYouTubeActivity>(shared_from_this());
}

ZVYouTubeActivity::~ZVYouTubeActivity() {
  removeMovie();
}

// What the sheet shows.

std::shared_ptr<NSBundle> ZVYouTubeActivity::photosUIFrameworkBundle() {
  static dispatch_once_t once;
  static std::shared_ptr<NSBundle> bundle;
  dispatch_once(once, [] { bundle = ZVBundleOfClassNamed("PUPhotoView"); });
  return bundle;
}

Strong<UIImage> ZVYouTubeActivity::photosUIImageNamed(const std::string& name) {
  return UIImage::imageNamed_inBundle(name, photosUIFrameworkBundle());
}

Strong<UIImage> ZVYouTubeActivity::activityImage() const {
  return photosUIImageNamed("PUActivityYouTube");
}

Strong<UIImage> ZVYouTubeActivity::_activitySettingsImage() const {
  const auto image = activityImage();
  return image ? image->_applicationIconImageForFormat_precomposed_scale(0, false, UIScreen::mainScreen().scale())
               : nullptr;
}

bool ZVYouTubeActivity::canPerformWithActivityItems(const std::vector<UIActivityItem>& /*items*/) {
  return MGGetBoolAnswer("not-green-tea");
}

// The conversion.

NSURL ZVYouTubeActivity::tempFileURL() const {
  // Two uses within one second must not share a file: one would delete that of the other.
  auto second = static_cast<std::int64_t>(NSDate::date().timeIntervalSince1970());
  const auto isTaken = [](const NSURL& url) {
    return usedFiles().count(url.path()) != 0 || files().fileExistsAtPath(url.path());
  };
  while (isTaken(convertedFileURL(second))) ++second;
  return convertedFileURL(second);
}

void ZVYouTubeActivity::prepareWithActivityItems(const std::vector<UIActivityItem>& items) {
  words("CLOSE");  // how it ends can be told even if no file can be opened by then
  const auto* movie = items.size() > 2 ? std::get_if<NSURL>(&items[2]) : nullptr;
  const std::string& folder = ZVExtensions::_srTempPath(files());
  if (files().isForeignFolderAtPath(folder)) {
    conversionDidEnd(inWords(UISaveFailure::foreignFolder(folder)));
  } else {
    reserveMovieFile();
    convert(movie ? *movie : NSURL());
  }
  descriptionText_ = NSStringWithFormat("%@ %@", {textAt(items, 0), textAt(items, 1)});
}

void ZVYouTubeActivity::reserveMovieFile() {
  NSErrorPtr error;
  // Other programs of ours make their files in the same folder.
  do {
    error = nullptr;
    movieURL_ = tempFileURL();
    usedFiles().insert(movieURL_.path());
  } while (!files().createFileAtPath_error(movieURL_.path(), &error) && error->code() == EEXIST);
}

void ZVYouTubeActivity::convert(const NSURL& movie) {
  conversion_ = Conversion::Running;
  const auto asset = AVURLAsset::initWithURL_options(movie, AVURLAssetLoadsOnDemand);
  asset->loadValuesAsynchronously([asset, url = movieURL_, weak = std::weak_ptr<ZVYouTubeActivity>(strongSelf())] {
    dispatch_async(dispatch_get_main_queue(), [asset, url, weak] {
      const auto self = weak.lock();
      if (self && self->conversion_ == Conversion::Running && self->movieURL_ == url) self->startExport(asset);
    });
  });
}

void ZVYouTubeActivity::startExport(const Strong<AVURLAsset>& asset) {
  const auto exporter = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetHighestQuality);
  exporter->setOutputURL(movieURL_);
  exporter->setOutputFileType(AVFileTypeMPEG4);
  exporter->setReplacesExistingFile(true);  // the one that keeps the name for us
  std::vector<Strong<AVMutableAudioMixInputParameters>> parameters;
  for (const auto& track : asset->tracksWithMediaType(AVMediaTypeAudio)) {
    parameters.push_back(AVMutableAudioMixInputParameters::audioMixInputParameters());
    parameters.back()->setTrackID(track->trackID);
  }
  const auto mix = AVMutableAudioMix::audioMix();
  mix->setInputParameters(std::move(parameters));
  exporter->setAudioMix(mix);
  exporter_ = exporter;
  const auto ended = [asset, exporter, url = movieURL_, weak = std::weak_ptr<ZVYouTubeActivity>(strongSelf())] {
    const AVAssetExportSessionStatus status = exporter->status();
    const NSErrorPtr error = failureOf(*exporter, *asset);
    if (!error) os_trace("ZVYouTubeActivity: Export Mixed YouTube Video Complete.");
    dispatch_async(dispatch_get_main_queue(), [exporter, error, status, url, weak] {
      const auto self = weak.lock();
      const bool isWanted = self && self->exporter_.lock() == exporter;
      if (isWanted) self->conversionDidEnd(error);
      // Given up, or of half a recording, but the file was there already.
      if (status == AVAssetExportSessionStatus::Completed && (!isWanted || error))
        ZVExtensions::_srRemoveFile_completion(files(), url, nullptr);
    });
  };
  // A disk that hangs must not hang the window.
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT), [exporter, ended] {
    if (lackOfSpace(*exporter) > 0)
      ended();
    else
      exporter->exportAsynchronouslyWithCompletionHandler(ended);
  });
  showConversionProgress();
}

void ZVYouTubeActivity::showConversionProgress() {
  const auto exporter = exporter_.lock();
  if (conversion_ != Conversion::Running || !exporter) return;
  if (publishingAgent_) publishingAgent_->setPreparationProgress(exporter->progress());
  dispatch_after(progressInterval, dispatch_get_main_queue(), [weak = std::weak_ptr<ZVYouTubeActivity>(strongSelf())] {
    if (const auto self = weak.lock()) self->showConversionProgress();
  });
}

void ZVYouTubeActivity::conversionDidEnd(const NSErrorPtr& error) {
  conversion_ = error ? Conversion::Failed : Conversion::Done;
  conversionError_ = error;
  if (publishingAgent_) tellAgentHowPreparationGoes();
}

void ZVYouTubeActivity::tellAgentHowPreparationGoes() {
  switch (conversion_) {
    case Conversion::None:
      break;
    case Conversion::Running:
      publishingAgent_->setMediaIsReady(false);
      break;
    case Conversion::Done:
      publishingAgent_->setMediaIsReady(true);
      break;
    case Conversion::Failed:
      publishingAgent_->setMediaIsReady(false);
      publishingAgent_->mediaPreparationFailed(conversionError_);
      break;
  }
}

void ZVYouTubeActivity::removeMovie() {
  if (const auto exporter = exporter_.lock()) exporter->cancelExport();
  exporter_.reset();  // a file that comes nevertheless is removed then
  conversion_ = Conversion::None;
  if (movieURL_) ZVExtensions::_srRemoveFile_completion(files(), movieURL_, nullptr);
}

// The form.

Strong<UIViewController> ZVYouTubeActivity::activityViewController() {
  publishingAgent_ = ZVMakePublishingAgent();
  publishingAgent_->setDelegate(strongSelf());
  publishingAgent_->setMediaPath(movieURL_.path());
  const auto navigation = publishingAgent_->navigationController();
  fillInForm(*navigation->viewControllers().front());
  tellAgentHowPreparationGoes();
  return navigation;
}

void ZVYouTubeActivity::fillInForm(UIViewController& form) {
  form.view();
  exchangeCategoryRoutine(form.class_());
  const auto table = part<UITableView>(form, "_table");
  const auto cell = table ? table->cellForRowAtIndexPath(NSIndexPath::indexPathForItem_inSection(1, 0)) : nullptr;
  if (!cell) return;
  cell->performSelector_withObject("setValue:", NSString::stringWithString(descriptionText_));
  cell->performSelector_withObject("setPlaceholderText:", nullptr);
}

void ZVYouTubeActivity::_selectComedyPickerRow(NSObject& form) {
  const auto categories = part<NSArray>(form, "_categories");
  const auto picker = part<UIPickerView>(form, "_picker");
  if (!categories) return;
  for (std::size_t row = 0; row < categories->count(); ++row) {
    const auto category = std::dynamic_pointer_cast<NSDictionary>(categories->objects()[row]);
    const std::string identifier = category ? category->stringForKey(categoryIDKey) : std::string();
    if (lowercased(identifier) != preferredCategory) continue;
    if (const auto cell = form.performSelector("_categoryCell")) {
      cell->performSelector_withObject("setCategoryString:", category->objectForKey(categoryLabelKey));
    }
    object_setIvar(&form, class_getInstanceVariable(form.class_(), "_defaultCategory"),
                   NSString::stringWithString(identifier));
    if (picker) picker->selectRow_inComponent_animated(static_cast<int>(row), 0, false);
    return;
  }
}

// What the plug-in tells.

void ZVYouTubeActivity::publishingAgentWillBeDisplayed(ZVPublishingAgent& /*agent*/) {}

void ZVYouTubeActivity::publishingAgentDoneButtonClicked(ZVPublishingAgent& agent) {
  agent.navigationController()->view()->endEditing(true);
}

void ZVYouTubeActivity::publishingAgentCancelButtonClicked(ZVPublishingAgent& /*agent*/) {
  const auto self = strongSelf();  // nobody may need it any more afterwards
  activityDidFinish(false);
  removeMovie();
}

void ZVYouTubeActivity::publishingAgentDidBeginPublishing(ZVPublishingAgent& agent) {
  const auto& covered = agent.navigationController()->view();
  progressOverlay_ = ZVYouTubeActivityProgressOverlay::initWithFrame(covered->bounds());
  covered->addSubview(progressOverlay_);
  progressOverlay_->setShowing_animated(true, true);
}

void ZVYouTubeActivity::publishingAgentDidEndPublishing_error(ZVPublishingAgent& /*agent*/, const NSErrorPtr& error) {
  const auto self = strongSelf();
  showAlertWithError(error);
  removeMovie();
}

void ZVYouTubeActivity::showAlertWithError(const NSErrorPtr& error) {
  if (progressOverlay_) progressOverlay_->stopActivity();
  const bool succeeded = !error;
  const auto alert = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      words(succeeded ? "PUBLISHED_VIDEO" : "FAILED_PUBLISH_VIDEO"), "", UIAlertControllerStyle::Alert);
  const std::weak_ptr<ZVYouTubeActivity> weak = strongSelf();
  if (succeeded) {
    alert->addAction(UIAlertAction::actionWithTitle_style_handler(
        NSStringWithFormat(words("VIEW_BUTTON_TITLE_FORMAT"), {activityTitle()}), UIAlertActionStyle::Default,
        [weak](UIAlertAction&) {
          if (const auto self = weak.lock()) self->viewPublishedVideo();
        }));
  }
  alert->addAction(UIAlertAction::actionWithTitle_style_handler(words("CLOSE"), UIAlertActionStyle::Cancel,
                                                                [weak, succeeded](UIAlertAction&) {
                                                                  if (const auto self = weak.lock())
                                                                    self->activityDidFinish(succeeded);
                                                                }));
  publishingAgent_->navigationController()->presentViewController_animated_completion(alert, true, nullptr);
  if (!alert->presentingViewController()) activityDidFinish(succeeded);  // nobody is there to answer
}

void ZVYouTubeActivity::viewPublishedVideo() {
  const std::string url = publishingAgent_->mediaURL();
  activityDidFinish(true);
  LSApplicationWorkspace::defaultWorkspace()->openSensitiveURL_withOptions(url, nullptr);
}
