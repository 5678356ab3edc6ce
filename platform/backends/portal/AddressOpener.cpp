#include "platform/backends/portal/AddressOpener.h"

#include "platform/backends/portal/DesktopInventory.h"
#include "platform/backends/portal/PortalRequest.h"

#include <QProcess>
#include <QTimer>
#include <algorithm>
#include <array>
#include <memory>

namespace {

/// Calls a handler the first time only.
std::function<void(bool)> once(std::function<void(bool)> then) {
  return [pending = std::make_shared<std::function<void(bool)>>(std::move(then))](bool value) {
    if (const auto handler = std::exchange(*pending, nullptr)) handler(value);
  };
}

}  // namespace

bool isOpenableAddress(const std::string& address) {
  static constexpr std::array<std::string_view, 7> kSchemes{
      "http:", "https:", "mailto:", "sms:", "xmpp:", "tg:", "whatsapp:"};
  const bool isText =
      std::none_of(address.begin(), address.end(), [](unsigned char c) { return c <= 0x20 || c == 0x7f || c == '"'; });
  return isText && std::any_of(kSchemes.begin(), kSchemes.end(), [&](std::string_view scheme) {
           return address.size() > scheme.size() &&
                  std::equal(scheme.begin(), scheme.end(), address.begin(),
                             [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
         });
}

void openAddress(const std::string& address, std::function<void(OpenOutcome)> then) {
  auto answer = [then = std::move(then)](OpenOutcome outcome) {
    if (then) then(outcome);
  };
  auto useProgram = [address, answer] {
    startProgram("xdg-open", {address},
                 [answer](bool opened) { answer(opened ? OpenOutcome::Opened : OpenOutcome::Failed); });
  };
  if (!DesktopInventory::shared().hasPortal("OpenURI")) return useProgram();
  PortalRequest::send(QStringLiteral("org.freedesktop.portal.OpenURI"), QStringLiteral("OpenURI"),
                      {QString::fromStdString(address)}, {},
                      [useProgram, answer](PortalRequest::Outcome outcome, const QVariantMap&) {
                        if (outcome == PortalRequest::Outcome::Failed) return useProgram();
                        answer(outcome == PortalRequest::Outcome::Done ? OpenOutcome::Opened : OpenOutcome::Cancelled);
                      });
}

void startProgram(const std::string& name, const std::vector<std::string>& arguments, std::function<void(bool)> then) {
  const auto answer = once(std::move(then));
  // Never destroyed while the program runs, which would end it.
  auto* process = new QProcess;
  process->setStandardInputFile(QProcess::nullDevice());
  process->setStandardOutputFile(QProcess::nullDevice());
  process->setStandardErrorFile(QProcess::nullDevice());
  QObject::connect(process, &QProcess::errorOccurred, process, [process, answer](QProcess::ProcessError error) {
    if (error != QProcess::FailedToStart) return;
    process->deleteLater();
    answer(false);
  });
  QObject::connect(process, &QProcess::finished, process, [process, answer](int code, QProcess::ExitStatus status) {
    process->deleteLater();
    answer(status == QProcess::NormalExit && code == 0);
  });
  constexpr int kFailsWithin = 2000;  // milliseconds; some programs open addresses in their own process
  QTimer::singleShot(kFailsWithin, process, [answer] { answer(true); });
  QStringList list;
  for (const std::string& argument : arguments) list.append(QString::fromStdString(argument));
  process->start(QString::fromStdString(name), list);
}
