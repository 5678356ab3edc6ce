#pragma once

#include "platform/Foundation/NSBundle.h"
#include "platform/UIKit/UIActivity.h"
#include "sharing/ZVPublishingAgent.h"
#include "sharing/ZVYouTubeActivityProgressOverlay.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class AVAssetExportSession;
class AVURLAsset;

/// Publishes the movie with the publishing plug-in: converts it into an MP4 file with all its sound mixed, meanwhile
/// shows the plug-in's form, and says at the end how it went. The items are the text, the address that goes with it,
/// and the movie, in this order. Main queue only.
///
/// The person can fill in the form while the conversion runs; the plug-in is told how far it is, and does not open the
/// file before it is whole. When the conversion fails the form says so, and nothing is published. Cancel ends a running
/// conversion. The converted file is deleted in the background when publishing has ended, and whichever way the
/// activity ends otherwise.
class ZVYouTubeActivity : public UIActivity, public ZVPublishingAgentDelegate {
  ZV_OBJECT(ZVYouTubeActivity)
 public:
  ZVYouTubeActivity() = default;
  ~ZVYouTubeActivity() override;

  // The file that the conversion makes and the plug-in publishes; another one for each use.
  const NSURL& movieURL() const { return movieURL_; }
  void setMovieURL(const NSURL& url) { movieURL_ = url; }
  const Strong<ZVPublishingAgent>& publishingAgent() const { return publishingAgent_; }
  void setPublishingAgent(const Strong<ZVPublishingAgent>& agent) { publishingAgent_ = agent; }
  /// What the form's description begins with: the text, a blank and the address.
  const std::string& descriptionText() const { return descriptionText_; }
  void setDescriptionText(std::string text) { descriptionText_ = std::move(text); }
  const Strong<ZVYouTubeActivityProgressOverlay>& progressOverlay() const { return progressOverlay_; }
  void setProgressOverlay(const Strong<ZVYouTubeActivityProgressOverlay>& overlay) { progressOverlay_ = overlay; }

  /// The framework that has the activity's picture; null when it isn't installed. Looked for once. Any thread.
  static std::shared_ptr<NSBundle> photosUIFrameworkBundle();
  /// A picture of that framework, or null.
  static Strong<UIImage> photosUIImageNamed(const std::string& name);

  UIActivityCategory activityCategory() const override { return UIActivityCategory::Share; }
  std::string activityType() const override { return "ZVPublishToYouTube"; }
  std::string activityTitle() const override { return "YouTube"; }
  Strong<UIImage> activityImage() const override;
  Strong<UIImage> _activitySettingsImage() const override;
  /// Whether publishing is to be had on this device; the items are not looked at.
  bool canPerformWithActivityItems(const std::vector<UIActivityItem>& items) override;
  void prepareWithActivityItems(const std::vector<UIActivityItem>& items) override;
  /// The form. Ends the process with a report when the plug-in can't be loaded, which is tried the first time.
  Strong<UIViewController> activityViewController() override;

  /// A new place for a converted movie, named after the second; nothing is there, and nothing is made.
  NSURL tempFileURL() const;
  /// What forms run, with themselves as `form`, in place of their own choice of a category: chooses the one with
  /// identifier "20", if there is one.
  static void _selectComedyPickerRow(NSObject& form);
  /// Says how publishing went; the answer ends the activity. Null: it has succeeded.
  void showAlertWithError(const NSErrorPtr& error);

  void publishingAgentWillBeDisplayed(ZVPublishingAgent& agent) override;
  void publishingAgentDoneButtonClicked(ZVPublishingAgent& agent) override;
  void publishingAgentCancelButtonClicked(ZVPublishingAgent& agent) override;
  void publishingAgentDidBeginPublishing(ZVPublishingAgent& agent) override;
  void publishingAgentDidEndPublishing_error(ZVPublishingAgent& agent, const NSErrorPtr& error) override;

 private:
  Strong<ZVYouTubeActivity> strongSelf();
  /// Makes `movieURL_` an empty file that nobody else writes to.
  void reserveMovieFile();
  void convert(const NSURL& movie);
  void startExport(const Strong<AVURLAsset>& asset);
  /// `error`: null when the movie is there.
  void conversionDidEnd(const NSErrorPtr& error);
  void showConversionProgress();
  void tellAgentHowPreparationGoes();
  void fillInForm(UIViewController& form);
  void viewPublishedVideo();
  void removeMovie();

  NSURL movieURL_;
  Strong<ZVPublishingAgent> publishingAgent_;
  std::string descriptionText_;
  Strong<ZVYouTubeActivityProgressOverlay> progressOverlay_;
  enum class Conversion { None, Running, Done, Failed } conversion_ = Conversion::None;
  NSErrorPtr conversionError_;
  Weak<AVAssetExportSession> exporter_;  ///< lives until it has completed
};
