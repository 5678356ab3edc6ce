#include "platform/backends/portal/MessageActivity.h"

#include "platform/UIKit/UIAlertAction.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/AddressOpener.h"
#include "platform/backends/portal/ClipboardOffer.h"
#include "platform/backends/portal/DesktopInventory.h"

#include <QUrl>
#include <array>

ZV_REGISTER_CLASS(MessageActivity, "MessageActivity", SystemActivity, {})

namespace {

struct Composer {
  const char* scheme;
  const char* address;  ///< what the text is appended to
};

/// The application for text messages first, then those whose address lets the person choose the conversation.
constexpr std::array<Composer, 4> kComposers{{{"sms", "sms:?body="},
                                              {"tg", "tg://msg?text="},
                                              {"whatsapp", "whatsapp://send?text="},
                                              {"xmpp", "xmpp:?message;body="}}};

const Composer* availableComposer() {
  const DesktopInventory& desktop = DesktopInventory::shared();
  if (!desktop.hasPortal("OpenURI") && !desktop.hasProgram("xdg-open")) return nullptr;
  for (const Composer& composer : kComposers)
    if (desktop.opens(composer.scheme)) return &composer;
  return nullptr;
}

}  // namespace

std::string MessageActivity::activityTitle() const {
  return UIKitLocalizedString("Message");
}

bool MessageActivity::isPossible(const Items& items) const {
  return !items.movie.empty() && availableComposer() != nullptr;
}

void MessageActivity::performActivity() {
  const auto self = strongSelf(this);
  auto compose = [self] {
    self->locateMovie([self](const std::string& path) {
      offerOnClipboard(path, self->items().message(), [self] {
        const Composer* composer = availableComposer();
        const QByteArray text = QUrl::toPercentEncoding(QString::fromStdString(self->items().message()));
        openAddress(composer ? composer->address + text.toStdString() : "", [self](OpenOutcome outcome) {
          if (outcome != OpenOutcome::Failed) return self->activityDidFinish(outcome == OpenOutcome::Opened);
          self->fail(UIKitLocalizedString("The message could not be opened"),
                     UIKitLocalizedString("No chat application has answered. The movie is on the clipboard."));
        });
      });
    });
  };
  if (!activityPresenter()) return compose();
  const auto alert = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      UIKitLocalizedString("Paste the Movie"),
      UIKitLocalizedString("The movie is copied to the clipboard. Paste it into the conversation."),
      UIAlertControllerStyle::Alert);
  alert->addAction(
      UIAlertAction::actionWithTitle_style_handler(UIKitLocalizedString("Cancel"), UIAlertActionStyle::Cancel,
                                                   [self](UIAlertAction&) { self->activityDidFinish(false); }));
  alert->addAction(UIAlertAction::actionWithTitle_style_handler(
      UIKitLocalizedString("Continue"), UIAlertActionStyle::Default, [compose](UIAlertAction&) { compose(); }));
  ask(alert);
}
