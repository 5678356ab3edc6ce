#include "plugins/PublishToYouTube/PublishToYouTubeAgent.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "platform/MobileCoreServices/LSApplicationWorkspace.h"
#include "platform/UIKit/UIPasteboard.h"
#include "plugins/PublishToYouTube/upload/ClientRegistration.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"

#include <utility>

using publishing::durationText, publishing::localized, publishing::percentText;

ZV_REGISTER_CLASS(PublishToYouTubeAgent, "PublishToYouTubeAgent", NSObject, {})

Strong<UINavigationController> PublishToYouTubeAgent::navigationController() {
  if (navigation_) return navigation_;
  form_ = std::make_shared<PublishToYouTubeForm>();
  const auto weak =
      std::weak_ptr<PublishToYouTubeAgent>(std::static_pointer_cast<PublishToYouTubeAgent>(shared_from_this()));
  const auto forward = [weak](void (PublishToYouTubeAgent::*function)()) {
    return [weak, function] {
      if (const auto self = weak.lock()) ((*self).*function)();
    };
  };
  form_->setHandlers({forward(&PublishToYouTubeAgent::showForm), forward(&PublishToYouTubeAgent::cancel),
                      forward(&PublishToYouTubeAgent::publish),
                      [weak] {
                        const auto self = weak.lock();
                        const auto delegate = self ? self->delegate_.lock() : nullptr;
                        if (delegate) delegate->publishingAgentDoneButtonClicked(*self);
                      },
                      forward(&PublishToYouTubeAgent::changeAccount)});
  navigation_ = UINavigationController::initWithRootViewController(form_);
  navigation_->setModalPresentationStyle(UIModalPresentationStyle::FormSheet);
  return navigation_;
}

void PublishToYouTubeAgent::showForm() {
  if (const auto delegate = delegate_.lock()) delegate->publishingAgentWillBeDisplayed(*this);
  if (stage_ != Stage::Form) return;
  NSErrorPtr error;
  if (!publishing::ClientRegistration::load(publishing::ClientRegistration::defaultPath(), &error) && error) {
    tellFailure(error->localizedDescription());
  } else {
    showPreparation();
  }
}

// The movie's preparation.

void PublishToYouTubeAgent::setMediaIsReady(bool ready) {
  mediaIsReady_ = ready;
  if (!ready || !form_) return;
  if (stage_ == Stage::Preparation) {
    startUpload();
  } else if (stage_ == Stage::Form && !form_->status().isFailure) {
    form_->setStatus({});
    suggestToGoOn();
  }
}

void PublishToYouTubeAgent::setPreparationProgress(float progress) {
  preparationProgress_ = progress;
  if (form_ && !mediaIsReady_ && !form_->status().isFailure) showPreparation();
}

void PublishToYouTubeAgent::mediaPreparationFailed(const NSErrorPtr& error) {
  preparationFailed_ = true;
  if (!navigation_) return;
  form_->view();
  form_->setCanPublish(false);
  tellFailure(localized("The video could not be prepared, so it can't be published. %@",
                        {error ? error->localizedDescription() : std::string()}));
}

void PublishToYouTubeAgent::showPreparation() {
  if (mediaIsReady_ || preparationFailed_ || !form_) return;
  PublishingStatusView::Status status;
  status.text = stage_ == Stage::Preparation
                    ? localized("Preparing the video… %@. Publishing begins when it is ready.",
                                {percentText(preparationProgress_)})
                    : localized("Preparing the video… %@", {percentText(preparationProgress_)});
  status.progress = preparationProgress_;
  form_->setStatus(std::move(status));
}

// From the form to the upload.

void PublishToYouTubeAgent::publish() {
  if (stage_ != Stage::Form || preparationFailed_) return;
  form_->view()->endEditing(true);
  if (const auto error = form_->details().check()) {
    tellFailure(error->localizedDescription());
    return;
  }
  form_->setEditable(false);
  if (mediaIsReady_) {
    startUpload();
  } else {
    stage_ = Stage::Preparation;
    showPreparation();
  }
}

void PublishToYouTubeAgent::startUpload() {
  stage_ = Stage::Connection;
  NSErrorPtr error;
  publisher_ = makePublisher(&error);
  if (!publisher_) {
    tellFailure(error ? error->localizedDescription() : std::string());
    return;
  }
  PublishingStatusView::Status status;
  status.text = localized("Connecting…");
  form_->setStatus(std::move(status));
  publisher_->publish(mediaPath_, form_->details());
}

Strong<publishing::Publisher> PublishToYouTubeAgent::makePublisher(NSErrorPtr* error) {
  const auto addresses = publishing::ServiceAddresses::configured(error);
  if (!addresses) return nullptr;
  publishing::PublisherOptions options;
  options.openPage = [](const std::string& address) {
    return LSApplicationWorkspace::defaultWorkspace()->openSensitiveURL_withOptions(address, nullptr);
  };
  return publishing::Publisher::create(*addresses, events(), std::move(options));
}

void PublishToYouTubeAgent::suggestToGoOn() {
  NSErrorPtr error;
  publisher_ = makePublisher(&error);
  if (!publisher_) return;  // told when it matters
  publisher_->findKeptDetails(mediaPath_, [weak = weak_from_this()](const publishing::VideoDetails& details) {
    const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
    if (!self || self->stage_ != Stage::Form || !self->form_->suggestDetails(details)) return;
    PublishingStatusView::Status status;
    status.text = localized("An upload of this video was interrupted. Publish it to go on where it stopped.");
    self->form_->setStatus(std::move(status));
  });
}

void PublishToYouTubeAgent::changeAccount() {
  if (stage_ != Stage::Form) return;
  NSErrorPtr error;
  const auto publisher = makePublisher(&error);
  if (!publisher) return tellFailure(error ? error->localizedDescription() : std::string());
  publisher->signOut();
  PublishingStatusView::Status status;
  status.text = localized("You will be asked to sign in when you publish.");
  form_->setStatus(std::move(status));
}

publishing::Publisher::Events PublishToYouTubeAgent::events() {
  const std::weak_ptr<PublishToYouTubeAgent> weak = std::static_pointer_cast<PublishToYouTubeAgent>(shared_from_this());
  publishing::Publisher::Events events;
  events.progress = [weak](const publishing::Progress& progress) {
    if (const auto self = weak.lock()) self->showUpload(progress);
  };
  events.signInNeeded = [weak](const std::string& address) {
    if (const auto self = weak.lock()) self->showSignIn(address);
  };
  events.signedIn = [weak] {
    const auto self = weak.lock();
    if (!self || self->stage_ != Stage::Connection) return;
    ++self->reports_;
    PublishingStatusView::Status status;
    status.text = localized("Signed in. Connecting…");
    self->form_->setStatus(std::move(status));
  };
  events.published = [weak](const std::string& address) {
    if (const auto self = weak.lock()) self->uploadSucceeded(address);
  };
  events.failed = [weak](const NSErrorPtr& error) {
    if (const auto self = weak.lock()) self->uploadFailed(error);
  };
  events.waiting = [weak](const std::string& why, double seconds) {
    if (const auto self = weak.lock()) self->showWaiting(why, seconds);
  };
  return events;
}

void PublishToYouTubeAgent::showSignIn(const std::string& address) {
  ++reports_;
  PublishingStatusView::Status status;
  status.text = localized(
      "Continue in your browser: a page has opened there to sign in. If none has, copy this address into the browser.");
  status.address = address;
  status.button = localized("Copy Address");
  status.pressed = [address] { UIPasteboard::generalPasteboard().setString(address); };
  form_->setStatus(std::move(status));
}

// The upload.

void PublishToYouTubeAgent::beginUpload() {
  if (stage_ == Stage::Upload || stage_ == Stage::Ended) return;
  stage_ = Stage::Upload;
  if (const auto delegate = delegate_.lock()) delegate->publishingAgentDidBeginPublishing(*this);
  form_->raiseStatus(navigation_->view());
}

void PublishToYouTubeAgent::showUpload(const publishing::Progress& progress) {
  ++reports_;
  beginUpload();
  if (stage_ != Stage::Upload) return;
  uploaded_ =
      progress.totalBytes > 0
          ? static_cast<float>(static_cast<double>(progress.sentBytes) / static_cast<double>(progress.totalBytes))
          : 0;
  PublishingStatusView::Status status;
  status.text = localized("Uploading… %@", {percentText(uploaded_)});
  if (progress.secondsRemaining)
    status.text += " · " + localized("%@ left", {durationText(*progress.secondsRemaining)});
  status.progress = uploaded_;
  status.button = localized("Cancel");
  status.pressed = [weak = weak_from_this()] {
    if (const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock())) self->stop();
  };
  form_->setStatus(std::move(status));
}

void PublishToYouTubeAgent::showWaiting(const std::string& why, double seconds) {
  if (stage_ == Stage::Ended) return;
  const int report = ++reports_;
  PublishingStatusView::Status status = form_->status();
  status.text = why + " " + localized("The next try comes in %@.", {durationText(seconds)});
  status.address.clear();
  if (stage_ == Stage::Upload) {
    status.progress = uploaded_;
  } else {
    status.progress.reset();
    status.button.clear();
  }
  form_->setStatus(std::move(status));
  if (seconds <= 1) return;
  dispatch_after(1, dispatch_get_main_queue(), [weak = weak_from_this(), why, seconds, report] {
    const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
    if (self && self->reports_ == report) self->showWaiting(why, seconds - 1);
  });
}

void PublishToYouTubeAgent::uploadFailed(const NSErrorPtr& error) {
  ++reports_;
  const std::string words = error ? error->localizedDescription() : localized("The upload has failed.");
  os_trace_error("Publishing: %s", words.c_str());
  if (stage_ != Stage::Upload) {
    tellFailure(words);
    return;
  }
  stage_ = Stage::Ended;
  PublishingStatusView::Status status;
  status.text = words;
  status.isFailure = true;
  form_->setStatus(std::move(status));
  endQuestion([self = std::static_pointer_cast<PublishToYouTubeAgent>(shared_from_this()), error] {
    if (const auto delegate = self->delegate_.lock()) delegate->publishingAgentDidEndPublishing_error(*self, error);
  });
}

void PublishToYouTubeAgent::uploadSucceeded(const std::string& address) {
  ++reports_;
  beginUpload();
  if (stage_ != Stage::Upload) return;
  stage_ = Stage::Ended;
  mediaURL_ = address;
  PublishingStatusView::Status status;
  status.text = localized("The video is at %@", {address});
  form_->setStatus(std::move(status));
  endQuestion([self = std::static_pointer_cast<PublishToYouTubeAgent>(shared_from_this())] {
    if (const auto delegate = self->delegate_.lock()) delegate->publishingAgentDidEndPublishing_error(*self, nullptr);
  });
}

void PublishToYouTubeAgent::cancel() {
  if (stage_ == Stage::Upload) {
    askWhetherToStop();
  } else {
    stop();
  }
}

void PublishToYouTubeAgent::askWhetherToStop() {
  if (const auto question = question_.lock(); question && navigation_->presentedViewController() == question) return;
  const auto question = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      localized("Stop the upload?"), localized("What has been uploaded so far is thrown away."),
      UIAlertControllerStyle::Alert);
  question->addAction(UIAlertAction::actionWithTitle_style_handler(
      localized("Stop"), UIAlertActionStyle::Destructive, [weak = weak_from_this()](UIAlertAction&) {
        if (const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock())) self->stop();
      }));
  question->addAction(
      UIAlertAction::actionWithTitle_style_handler(localized("Continue"), UIAlertActionStyle::Cancel, nullptr));
  question_ = question;
  navigation_->presentViewController_animated_completion(question, true, nullptr);
}

void PublishToYouTubeAgent::endQuestion(std::function<void()> then) {
  const auto question = question_.lock();
  if (!question || navigation_->presentedViewController() != question) return then();
  navigation_->dismissViewControllerAnimated_completion(false, std::move(then));
}

void PublishToYouTubeAgent::stop() {
  if (stage_ == Stage::Ended) return;
  stage_ = Stage::Ended;
  if (publisher_) publisher_->cancel();
  navigation_->view()->endEditing(true);
  if (const auto delegate = delegate_.lock()) delegate->publishingAgentCancelButtonClicked(*this);
}

void PublishToYouTubeAgent::tellFailure(const std::string& text) {
  stage_ = Stage::Form;
  PublishingStatusView::Status status;
  status.text = text;
  status.isFailure = true;
  form_->setEditable(true);
  form_->setStatus(std::move(status));
}
