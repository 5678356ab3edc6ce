#include "platform/UIKit/UIAlertController.h"
#include "plugins/PublishToYouTube/PublishToYouTubeAgent.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"

#include <utility>

using publishing::localized;

void PublishToYouTubeAgent::cancel() {
  if (stage_ == Stage::Upload) return askWhetherToStop(nullptr);
  if (form_->isFilledIn()) form_->keepDraft();  // what is only suggested comes again
  // An upload of a former use is not what the person cancels.
  stop(kept_ ? Uploaded::Kept : Uploaded::Discarded);
}

bool PublishToYouTubeAgent::windowShouldClose(const std::function<void()>& close) {
  if (stage_ == Stage::Upload) {
    askWhetherToStop(close);
    return false;
  }
  if (stage_ == Stage::Ended || !form_->isFilledIn()) return true;
  askWhetherToClose(close);
  return false;
}

bool PublishToYouTubeAgent::isAsking() const {
  const auto question = question_.lock();
  return question && navigation_->presentedViewController() == question;
}

void PublishToYouTubeAgent::ask(const Strong<UIAlertController>& question) {
  question_ = question;
  navigation_->presentViewController_animated_completion(question, true, nullptr);
}

void PublishToYouTubeAgent::askWhetherToStop(std::function<void()> then) {
  if (isAsking()) {
    if (then && afterStop_) *afterStop_ = std::move(then);
    return;
  }
  // The question's own: its answer comes when it has faded away, and another may be asked by then.
  const auto after = std::make_shared<std::function<void()>>(std::move(then));
  afterStop_ = after;
  const auto question = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      localized("Stop the upload?"),
      localized("What has been uploaded so far can be kept for six days: publish this recording again, and it goes on "
                "from there."),
      UIAlertControllerStyle::Alert);
  const auto add = [&](const std::string& title, UIAlertActionStyle style, std::optional<Uploaded> uploaded) {
    auto action = UIAlertAction::actionWithTitle_style_handler(
        title, style, [weak = weak_from_this(), after, uploaded](UIAlertAction&) {
          const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
          const auto next = std::exchange(*after, nullptr);
          if (!self || !uploaded) return;
          if (*uploaded == Uploaded::Discarded) self->form_->keepDraft();
          self->stop(*uploaded);
          if (next) next();
        });
    question->addAction(action);
    return action;
  };
  add(localized("Keep for Later"), UIAlertActionStyle::Default, Uploaded::Kept);
  add(localized("Discard"), UIAlertActionStyle::Destructive, Uploaded::Discarded);
  question->setPreferredAction(add(localized("Continue Uploading"), UIAlertActionStyle::Cancel, std::nullopt));
  ask(question);
}

void PublishToYouTubeAgent::askWhetherToClose(const std::function<void()>& close) {
  if (isAsking()) return;
  const auto question = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      localized("Close without publishing?"), localized("What you have filled in is thrown away."),
      UIAlertControllerStyle::Alert);
  question->addAction(UIAlertAction::actionWithTitle_style_handler(
      localized("Close"), UIAlertActionStyle::Destructive, [weak = weak_from_this(), close](UIAlertAction&) {
        const auto self = std::static_pointer_cast<PublishToYouTubeAgent>(weak.lock());
        // It may have begun while the question was there.
        if (self && self->stage_ == Stage::Upload) self->stop(Uploaded::Kept);
        close();
      }));
  question->addAction(
      UIAlertAction::actionWithTitle_style_handler(localized("Keep Editing"), UIAlertActionStyle::Cancel, nullptr));
  ask(question);
}

void PublishToYouTubeAgent::endQuestion(std::function<void()> then) {
  if (afterStop_) *afterStop_ = nullptr;
  if (!isAsking()) return then();
  navigation_->dismissViewControllerAnimated_completion(false, std::move(then));
}

void PublishToYouTubeAgent::stop(Uploaded uploaded) {
  if (stage_ == Stage::Ended) return;
  stage_ = Stage::Ended;
  if (publisher_) uploaded == Uploaded::Kept ? publisher_->suspend() : publisher_->cancel();
  navigation_->view()->endEditing(true);
  if (const auto delegate = delegate_.lock()) delegate->publishingAgentCancelButtonClicked(*this);
}
