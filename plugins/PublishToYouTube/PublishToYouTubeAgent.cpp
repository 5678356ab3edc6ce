#include "plugins/PublishToYouTube/PublishToYouTubeAgent.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "platform/MobileCoreServices/LSApplicationWorkspace.h"
#include "platform/UIKit/UIPasteboard.h"
#include "plugins/PublishToYouTube/upload/ClientRegistration.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

using publishing::durationText, publishing::localized, publishing::percentText;

ZV_REGISTER_CLASS(PublishToYouTubeAgent, "PublishToYouTubeAgent", NSObject, {})

namespace {

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

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
                      forward(&PublishToYouTubeAgent::formChanged), forward(&PublishToYouTubeAgent::changeAccount),
                      [weak](const std::function<void()>& close) {
                        const auto self = weak.lock();
                        return !self || self->windowShouldClose(close);
                      }});
  navigation_ = UINavigationController::initWithRootViewController(form_);
  navigation_->setModalPresentationStyle(UIModalPresentationStyle::FormSheet);
  return navigation_;
}

void PublishToYouTubeAgent::showForm() {
  if (const auto delegate = delegate_.lock()) delegate->publishingAgentWillBeDisplayed(*this);
  if (stage_ != Stage::Form) return;
  lookForAccount();
  if (mediaIsReady_) lookForKept();
  suggestToGoOn();
  if (const auto error = checkClient()) {
    tellFailure(error->localizedDescription(), [this] { return checkClient(); });
  } else if (!form_->status().isFailure) {
    showState();
  }
}

NSErrorPtr PublishToYouTubeAgent::checkClient() const {
  NSErrorPtr error;
  publishing::ClientRegistration::load(publishing::ClientRegistration::defaultPath(), &error);
  return error;
}

void PublishToYouTubeAgent::formChanged() {
  if (stage_ != Stage::Form) return;
  if (!form_->status().isFailure) return showState();
  if (!check_) return;
  if (const auto error = check_()) {
    tellFailure(error->localizedDescription(), std::move(check_));
  } else {
    check_ = nullptr;
    showState();
  }
}

void PublishToYouTubeAgent::showState() {
  if (stage_ != Stage::Form || preparationFailed_) return;
  if (!mediaIsReady_) {
    showPreparation();
  } else if (isElsewhere_) {
    PublishingStatusView::Status status;
    status.text = publishing::alreadyUploading()->localizedDescription();
    form_->setStatus(std::move(status));
  } else if (kept_) {
    showKept();
  } else {
    form_->setStatus({});
  }
}

// The movie's preparation.

void PublishToYouTubeAgent::setMediaIsReady(bool ready) {
  mediaIsReady_ = ready;
  if (!ready || !form_) return;
  lookForKept();
  if (stage_ == Stage::Preparation) {
    startUpload();
  } else if (!form_->status().isFailure) {
    showState();
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
  const std::string words = localized("The video could not be prepared, so it can't be published. %@",
                                      {error ? error->localizedDescription() : std::string()});
  os_trace_error("Publishing: %s", words.c_str());
  tellFailure(words);
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
    tellFailure(error->localizedDescription(), [form = std::weak_ptr(form_)]() -> NSErrorPtr {
      const auto self = form.lock();
      return self ? self->details().check() : nullptr;
    });
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
  PublishingStatusView::Status status;
  status.text = localized("Connecting…");
  form_->setStatus(status);
  if (std::exchange(isElsewhere_, false)) {
    search_ = Search::NotYet;  // it may have ended since
    lookForKept();
  }
  if (search_ == Search::Running) return;  // goes on when that is done
  if (kept_ && !goesOn() && !keptIsTold_) {
    // Nobody knew yet that it begins anew.
    stage_ = Stage::Form;
    form_->setEditable(true);
    return showKept();
  }
  NSErrorPtr error;
  publisher_ = makePublisher(&error);
  if (!publisher_) {
    tellFailure(error ? error->localizedDescription() : std::string());
    return;
  }
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

void PublishToYouTubeAgent::lookForKept() {
  if (search_ != Search::NotYet) return;
  NSErrorPtr error;
  search_ = Search::Done;
  publisher_ = makePublisher(&error);
  if (!publisher_) return;  // told when it matters
  search_ = Search::Running;
  publisher_->findKept(mediaPath_, [weak = weak_from_this()](const auto& kept) {
    if (const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock())) self->keptWasFound(kept);
  });
}

void PublishToYouTubeAgent::keptWasFound(const std::optional<publishing::Publisher::KeptUpload>& kept) {
  search_ = Search::Done;
  isElsewhere_ = kept && kept->isUploading;
  kept_ = isElsewhere_ ? std::nullopt : kept;
  if (isElsewhere_ && stage_ == Stage::Connection)
    return tellFailure(publishing::alreadyUploading()->localizedDescription());
  if (stage_ == Stage::Connection) return startUpload();
  suggestToGoOn();
  if (!form_->status().isFailure) showState();
}

void PublishToYouTubeAgent::suggestToGoOn() {
  if (stage_ == Stage::Form && kept_ && !form_->isFilledIn()) form_->suggestDetails(kept_->details);
}

void PublishToYouTubeAgent::showKept() {
  keptIsTold_ = true;
  PublishingStatusView::Status status;
  const std::string part = percentText(kept_->part);
  const bool isWorthTelling = part != percentText(0);
  if (goesOn()) {
    status.text =
        isWorthTelling
            ? localized("Publishing of this recording was interrupted at %@. It goes on when you tap Publish.", {part})
            : localized("Publishing of this recording was interrupted. It goes on when you tap Publish.");
  } else {
    status.text = isWorthTelling
                      ? localized(
                            "Publishing of this recording was interrupted at %@. With other details than then it "
                            "starts again from the beginning.",
                            {part})
                      : localized(
                            "Publishing of this recording was interrupted. With other details than then it "
                            "starts again from the beginning.");
    status.button = localized("Use the Earlier Details");
    status.pressed = [weak = weak_from_this()] {
      const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
      if (!self || self->stage_ != Stage::Form || !self->kept_) return;
      self->form_->view()->endEditing(true);
      self->form_->suggestDetails(self->kept_->details);
      self->showState();
    };
  }
  form_->setStatus(std::move(status));
}

void PublishToYouTubeAgent::lookForAccount() {
  NSErrorPtr error;
  accountFinder_ = makePublisher(&error);
  if (!accountFinder_) return;
  accountFinder_->findSignIn([weak = weak_from_this()](bool isKept) {
    const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
    if (self && isKept) self->form_->setHasAccount(true);
  });
}

void PublishToYouTubeAgent::changeAccount() {
  if (stage_ != Stage::Form) return;
  NSErrorPtr error;
  const auto publisher = makePublisher(&error);
  if (!publisher) return tellFailure(error ? error->localizedDescription() : std::string());
  publisher->signOut();
  form_->setHasAccount(false);
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
    self->form_->setHasAccount(true);
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
  status.pressed = [weak = weak_from_this(), address] {
    UIPasteboard::generalPasteboard().setString(address);
    const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
    if (!self) return;
    PublishingStatusView::Status copied = self->form_->status();
    copied.button = localized("Copied");
    self->form_->setStatus(std::move(copied));
  };
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
  // Until the service has said so it is not done, although the last byte is on its way.
  constexpr float mostUnconfirmed = 0.99F;
  const bool isAllSent = progress.sentBytes >= progress.totalBytes;
  PublishingStatusView::Status status;
  status.text = localized("Uploading… %@", {percentText(std::min(uploaded_, mostUnconfirmed))});
  if (const auto remaining = remaining_.tell(now(), isAllSent ? std::nullopt : progress.secondsRemaining))
    status.text += " · " + localized("%@ left", {durationText(*remaining)});
  status.progress = uploaded_;
  status.button = localized("Cancel");
  status.pressed = [weak = weak_from_this()] {
    if (const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock())) self->cancel();
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
  form_->keepDraft();
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
  PublishToYouTubeForm::discardDraft();
  // For whoever publishes to send the link on. The result's alert has no room for it.
  UIPasteboard::generalPasteboard().setString(address);
  std::fprintf(stderr, "zevanti: the video is at %s\n", address.c_str());
  PublishingStatusView::Status status;
  status.text = localized("The address of the video is on the clipboard:");
  status.address = address;
  form_->setStatus(std::move(status));
  endQuestion([self = std::static_pointer_cast<PublishToYouTubeAgent>(shared_from_this())] {
    if (const auto delegate = self->delegate_.lock()) delegate->publishingAgentDidEndPublishing_error(*self, nullptr);
  });
}

void PublishToYouTubeAgent::tellFailure(const std::string& text, std::function<NSErrorPtr()> check) {
  stage_ = Stage::Form;
  check_ = std::move(check);
  PublishingStatusView::Status status;
  status.text = text;
  status.isFailure = true;
  form_->setEditable(true);
  form_->setStatus(std::move(status));
}
