#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UINavigationController.h"

#include <string>

class ZVPublishingAgent;

/// Keys of the dictionaries in the publishing form's "_categories".
inline constexpr const char* categoryIDKey = "categoryID";
inline constexpr const char* categoryLabelKey = "categoryLabel";

/// What the publishing plug-in tells of. Main queue.
class ZVPublishingAgentDelegate {
 public:
  virtual ~ZVPublishingAgentDelegate() = default;
  /// The form is about to come on screen.
  virtual void publishingAgentWillBeDisplayed(ZVPublishingAgent& agent) = 0;
  /// The person has finished typing (the form's Done).
  virtual void publishingAgentDoneButtonClicked(ZVPublishingAgent& agent) = 0;
  /// The person gives up. Nothing is under way any more, and nothing comes after this.
  virtual void publishingAgentCancelButtonClicked(ZVPublishingAgent& agent) = 0;
  /// The upload begins; the media is whole.
  virtual void publishingAgentDidBeginPublishing(ZVPublishingAgent& agent) = 0;
  /// The upload has ended: with an error, or without one, and then `mediaURL` is there. The media is not read again.
  virtual void publishingAgentDidEndPublishing_error(ZVPublishingAgent& agent, const NSErrorPtr& error) = 0;
  // Optional.
  virtual void publishingAgentDidStartRemaking(ZVPublishingAgent& agent) { (void)agent; }
  virtual void publishingAgentDidEndRemaking_didSucceed(ZVPublishingAgent& agent, bool succeeded) {
    (void)agent, (void)succeeded;
  }
};

/// The publishing plug-in's agent: holds the form, and publishes one movie. Also an NSObject, made by its class's name.
/// Main queue only.
///
/// A movie that is still being made can be announced, so that the person fills in the form meanwhile: `setMediaIsReady`
/// with NO before the form is shown, progress as it comes, and at the end `setMediaIsReady` with YES, or
/// `mediaPreparationFailed`. Until then the agent does not open the file. An agent that is told nothing takes the media
/// as ready.
class ZVPublishingAgent {
 public:
  virtual ~ZVPublishingAgent() = default;
  /// Not owned.
  virtual void setDelegate(const Strong<ZVPublishingAgentDelegate>& delegate) = 0;
  /// The file-system path of the movie to publish.
  virtual void setMediaPath(const std::string& path) = 0;
  /// Holds the form, which is its first view controller.
  virtual Strong<UINavigationController> navigationController() = 0;
  /// After a successful publish: the web address of the published video.
  virtual std::string mediaURL() = 0;

  // Optional: the movie's preparation.
  virtual void setMediaIsReady(bool ready) { (void)ready; }
  /// 0 to 1.
  virtual void setPreparationProgress(float progress) { (void)progress; }
  /// The movie can't be had; the form tells the person, and nothing is published.
  virtual void mediaPreparationFailed(const NSErrorPtr& error) { (void)error; }
};
