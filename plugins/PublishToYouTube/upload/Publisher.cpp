#include "plugins/PublishToYouTube/upload/Publisher.h"

#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/Authorization.h"
#include "plugins/PublishToYouTube/upload/ClientRegistration.h"
#include "plugins/PublishToYouTube/upload/PersonFolders.h"
#include "plugins/PublishToYouTube/upload/ResumableUpload.h"
#include "plugins/PublishToYouTube/upload/UploadClaim.h"

#include <utility>

namespace publishing {

/// One call of `publish`. Handlers hold it weakly: when it goes, everything stops.
struct Publisher::Run {
  std::string path;
  VideoDetails details;
  std::shared_ptr<UploadFile> file;
  std::string identity;
  ClientRegistration client;
  std::shared_ptr<Authorization> authorization;
  std::shared_ptr<ResumableUpload> upload;
};

Publisher::Publisher(ServiceAddresses addresses, Events events, PublisherOptions options)
    : addresses_(std::move(addresses)), events_(std::move(events)), options_(std::move(options)) {
  if (!events_.progress) events_.progress = [](const Progress&) {};
  if (!events_.signInNeeded) events_.signInNeeded = [](const std::string&) {};
  if (!events_.signedIn) events_.signedIn = [] {};
  if (!events_.published) events_.published = [](const std::string&) {};
  if (!events_.failed) events_.failed = [](const NSErrorPtr&) {};
  if (!events_.waiting) events_.waiting = [](const std::string&, double) {};
  if (options_.clientFile.empty()) options_.clientFile = ClientRegistration::defaultPath();
  if (options_.stateFolder.empty()) options_.stateFolder = stateFolder();
  if (!options_.openPage) options_.openPage = [](const std::string&) { return false; };
}

Publisher::~Publisher() = default;

Strong<Publisher> Publisher::create(const ServiceAddresses& addresses, Events events, PublisherOptions options) {
  return Strong<Publisher>(new Publisher(addresses, std::move(events), std::move(options)));
}

void Publisher::publish(const std::string& path, const VideoDetails& details) {
  run_ = std::make_shared<Run>();
  run_->path = path;
  run_->details = details;
  const std::weak_ptr<Publisher> weakSelf = weak_from_this();
  const std::weak_ptr<Run> weakRun = run_;
  // Where something waits to go on, all of the file is read to know whether it is this.
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [=, clientFile = options_.clientFile, kept = KeptSessions(options_.stateFolder)] {
                   NSErrorPtr error = details.check();
                   auto client = error ? std::nullopt : ClientRegistration::load(clientFile, &error);
                   auto file = error ? nullptr : UploadFile::open(path, &error);
                   const std::string identity =
                       file && kept.areThere() ? file->identify([&] { return !weakRun.expired(); }) : std::string();
                   dispatch_async(dispatch_get_main_queue(), [=] {
                     const auto self = weakSelf.lock();
                     const auto run = weakRun.lock();
                     if (!self || !run) return;
                     if (error) {
                       self->run_.reset();
                       return self->events_.failed(error);
                     }
                     run->client = *client;
                     run->file = file;
                     run->identity = identity;
                     self->begin(run);
                   });
                 });
}

void Publisher::begin(const std::shared_ptr<Run>& run) {
  const std::weak_ptr<Publisher> weak = weak_from_this();
  Authorization::Settings access;
  access.addresses = addresses_;
  access.client = run->client;
  access.place = tokenPlace(run->client);
  access.signInSeconds = options_.signInSeconds;
  access.openPage = [weak](const std::string& address) {
    const auto self = weak.lock();
    if (!self) return;
    // Where no browser opens, the person still has the address.
    self->options_.openPage(address);
    self->events_.signInNeeded(address);
  };
  access.signedIn = [weak] {
    if (const auto self = weak.lock()) self->events_.signedIn();
  };
  run->authorization = std::make_shared<Authorization>(std::move(access));

  ResumableUpload::Settings settings;
  settings.address = addresses_.upload;
  settings.client = run->client.identifier;
  settings.details = run->details.json();
  settings.stateFolder = options_.stateFolder;
  settings.identity = run->identity;
  settings.keepAfter = options_.keepAfterSeconds;
  settings.delays = options_.delays;
  settings.stallSeconds = options_.stallSeconds;
  if (options_.smallestChunk > 0) settings.smallestChunk = options_.smallestChunk;
  if (options_.largestChunk > 0) settings.largestChunk = options_.largestChunk;
  ResumableUpload::Events events;
  events.progress = [weak, total = run->file->size()](std::int64_t sent, std::optional<double> remaining) {
    if (const auto self = weak.lock()) self->events_.progress({sent, total, remaining});
  };
  events.waiting = [weak](const std::string& why, double seconds) {
    if (const auto self = weak.lock()) self->events_.waiting(why, seconds);
  };
  events.failed = [weak](const NSErrorPtr& error) {
    const auto self = weak.lock();
    if (!self) return;
    const auto ended = std::exchange(self->run_, nullptr);  // we are called from inside it
    self->events_.failed(error);
  };
  events.finished = [weak](const std::string& identifier) {
    const auto self = weak.lock();
    if (!self) return;
    const auto ended = std::exchange(self->run_, nullptr);
    self->events_.published(self->addresses_.video + identifier);
  };
  run->upload =
      std::make_shared<ResumableUpload>(std::move(settings), run->file, run->authorization, std::move(events));
  run->upload->start();
}

void Publisher::findKept(const std::string& path, std::function<void(const std::optional<KeptUpload>&)> then) {
  const std::weak_ptr<Publisher> weak = weak_from_this();
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_LOW), [=, then = std::move(then),
                                                                          clientFile = options_.clientFile,
                                                                          server = addresses_.upload,
                                                                          folder = options_.stateFolder,
                                                                          kept = KeptSessions(options_.stateFolder)] {
    UploadClaim::sweep(folder);
    const auto found = [&]() -> std::optional<KeptUpload> {
      NSErrorPtr error;
      const auto client = kept.areThere() ? ClientRegistration::load(clientFile, &error) : std::nullopt;
      const auto file = client ? UploadFile::open(path, &error) : nullptr;
      const std::string identity = file ? file->identify([&] { return !weak.expired(); }) : std::string();
      const auto entry = identity.empty() ? std::nullopt : kept.findMovie({identity, "", client->identifier, server});
      const auto details = entry ? VideoDetails::fromJson(entry->details) : std::nullopt;
      if (!details) return std::nullopt;
      const double part = entry->totalBytes > 0 ? double(entry->sentBytes) / double(entry->totalBytes) : 0;
      return KeptUpload{*details, static_cast<float>(part), UploadClaim::isTaken(folder, identity)};
    };
    dispatch_async(dispatch_get_main_queue(), [weak, then, kept = found()] {
      if (!weak.expired()) then(kept);
    });
  });
}

TokenStore::Place Publisher::tokenPlace(const ClientRegistration& client) const {
  return {client.identifier, originOf(addresses_.token), TokenStore::fileIn(options_.stateFolder),
          options_.secretService};
}

void Publisher::findSignIn(std::function<void(bool)> then) {
  NSErrorPtr error;
  const auto client = ClientRegistration::load(options_.clientFile, &error);
  if (!client) {
    dispatch_async(dispatch_get_main_queue(), [weak = weak_from_this(), then = std::move(then)] {
      if (!weak.expired()) then(false);
    });
    return;
  }
  signInStore_ = std::make_unique<TokenStore>(tokenPlace(*client));
  signInStore_->find([weak = weak_from_this(), then = std::move(then)](bool isThere) {
    if (!weak.expired()) then(isThere);
  });
}

void Publisher::cancel() {
  const auto ended = std::exchange(run_, nullptr);
  if (ended && ended->upload) ended->upload->cancel();
}

void Publisher::suspend() {
  const auto ended = std::exchange(run_, nullptr);
  if (ended && ended->upload) ended->upload->suspend();
}

void Publisher::signOut() {
  NSErrorPtr error;
  const auto client = ClientRegistration::load(options_.clientFile, &error);
  if (!client) return;
  TokenStore(tokenPlace(*client)).clear();
}

}  // namespace publishing
