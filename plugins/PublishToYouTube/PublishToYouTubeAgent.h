#pragma once

#include "platform/UIKit/UIAlertController.h"
#include "plugins/PublishToYouTube/PublishToYouTubeForm.h"
#include "plugins/PublishToYouTube/upload/Publisher.h"
#include "plugins/PublishToYouTube/upload/RemainingTime.h"
#include "sharing/ZVPublishingAgent.h"

#include <functional>
#include <optional>
#include <string>

/// Publishes one movie to the video service: shows the form, signs the person in, uploads, and tells its delegate. Main
/// queue only.
///
/// What goes wrong before the upload has begun is told in the form, where the person can put it right and publish
/// again. From the first uploaded byte on it ends the publishing; the form's panel, which is then in front of
/// everything else in the navigation controller, says what happened and what to do. An agent that just goes away leaves
/// the upload for the next time.
class PublishToYouTubeAgent : public NSObject, public ZVPublishingAgent {
  ZV_OBJECT(PublishToYouTubeAgent)
 public:
  void setDelegate(const Strong<ZVPublishingAgentDelegate>& delegate) override { delegate_ = delegate; }
  void setMediaPath(const std::string& path) override { mediaPath_ = path; }
  Strong<UINavigationController> navigationController() override;
  std::string mediaURL() override { return mediaURL_; }
  void setMediaIsReady(bool ready) override;
  void setPreparationProgress(float progress) override;
  void mediaPreparationFailed(const NSErrorPtr& error) override;

 private:
  /// What the person waits for.
  enum class Stage {
    Form,         ///< nothing: the form is being filled in
    Preparation,  ///< Publish was pressed; the movie is not whole yet
    Connection,   ///< the sign-in, or the server's first answer
    Upload,
    Ended
  };
  void showForm();
  void formChanged();
  void publish();
  /// Ends publishing; while the upload runs, the person is asked first.
  void cancel();
  /// What becomes of the part of the movie that is uploaded already.
  enum class Uploaded { Kept, Discarded };
  void stop(Uploaded uploaded);
  bool windowShouldClose(const std::function<void()>& close);
  /// `then`, if there is one, follows when the upload has been stopped.
  void askWhetherToStop(std::function<void()> then);
  void askWhetherToClose(const std::function<void()>& close);
  void ask(const Strong<UIAlertController>& question);
  bool isAsking() const;
  /// Calls `then` when the question, if it is on screen, has gone: what comes next may want its place.
  void endQuestion(std::function<void()> then);
  void changeAccount();
  void lookForAccount();
  /// Looks for what a former use has begun to upload of this movie.
  void lookForKept();
  void keptWasFound(const std::optional<publishing::Publisher::KeptUpload>& kept);
  void suggestToGoOn();
  /// Whether to publish what is in the form now goes on with that upload.
  bool goesOn() const { return kept_ && form_->details() == kept_->details; }
  Strong<publishing::Publisher> makePublisher(NSErrorPtr* error);
  void startUpload();
  void beginUpload();
  publishing::Publisher::Events events();
  void showSignIn(const std::string& address);
  void showUpload(const publishing::Progress& progress);
  /// Counts the seconds down.
  void showWaiting(const std::string& why, double seconds);
  void uploadFailed(const NSErrorPtr& error);
  void uploadSucceeded(const std::string& address);
  /// Back to the form, with these words. They go as soon as `check`, which is asked after each change in the form,
  /// finds nothing wrong any more; without it they stay until the next try.
  void tellFailure(const std::string& text, std::function<NSErrorPtr()> check = nullptr);
  NSErrorPtr checkClient() const;
  /// What there is to say while the form is being filled in.
  void showState();
  void showPreparation();
  void showKept();

  Weak<ZVPublishingAgentDelegate> delegate_;
  std::string mediaPath_, mediaURL_;
  Strong<PublishToYouTubeForm> form_;
  Strong<UINavigationController> navigation_;
  Strong<publishing::Publisher> publisher_, accountFinder_;
  Weak<UIAlertController> question_;
  /// What follows when the latest question whether to stop is answered with yes.
  Strong<std::function<void()>> afterStop_;
  std::function<NSErrorPtr()> check_;
  enum class Search { NotYet, Running, Done } search_ = Search::NotYet;
  std::optional<publishing::Publisher::KeptUpload> kept_;
  bool keptIsTold_ = false;
  bool isElsewhere_ = false;  ///< another window was publishing this movie when that was looked for
  publishing::RemainingTime remaining_;
  Stage stage_ = Stage::Form;
  bool mediaIsReady_ = true, preparationFailed_ = false;
  float preparationProgress_ = 0;
  float uploaded_ = 0;  ///< part of the file, 0 to 1
  int reports_ = 0;     ///< counts what the engine has told
};
