#include "plugins/PublishToYouTube/upload/ResumableUpload.h"

#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"
#include "plugins/PublishToYouTube/upload/ServiceAnswer.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

namespace publishing {

namespace {

constexpr std::int64_t chunkUnit = std::int64_t(256) * 1024;  // the protocol's
constexpr double chunkSeconds = 20;
constexpr int mostSessionsLost = 3;
constexpr int mostRefusals = 2;  // of a token, in a row: the kept one, and the renewed one

std::string noConnection() {
  return localized("There is no connection to the video service.");
}

std::string serviceBusy() {
  return localized("The video service is busy.");
}

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

ResumableUpload::ResumableUpload(Settings settings, std::shared_ptr<UploadFile> file,
                                 std::shared_ptr<Authorization> authorization, Events events)
    : settings_(std::move(settings)),
      file_(std::move(file)),
      authorization_(std::move(authorization)),
      events_(std::move(events)),
      transfer_(settings_.stallSeconds),
      kept_(settings_.stateFolder),
      upload_{settings_.identity, settings_.details, settings_.client, settings_.address},
      delays_(settings_.delays),
      chunkSize_(settings_.smallestChunk) {}

ResumableUpload::~ResumableUpload() {
  if (!ended_ && sent_ > 0) keepSession();
}

bool ResumableUpload::claim(const std::string& identity) {
  if (identity.empty()) return true;
  claim_ = UploadClaim::take(settings_.stateFolder, identity);
  if (claim_) return true;
  // What is kept is the other's.
  upload_.file.clear();
  fail(alreadyUploading(), true);
  return false;
}

void ResumableUpload::start() {
  if (!claim(upload_.file)) return;
  const auto session = upload_.file.empty() ? std::nullopt : kept_.find(upload_);
  // Only what the same server gave us gets the file and the token.
  if (session && originOf(session->address) == originOf(settings_.address)) {
    session_ = *session;
    chunkEnd_ = file_->size();
  }
  if (upload_.file.empty()) {
    // An upload that is over by then need not be taken up again, and has all of the computer to itself.
    dispatch_after(settings_.keepAfter, dispatch_get_main_queue(), [weak = weak_from_this()] {
      if (const auto self = weak.lock(); self && !self->ended_) self->identifyFile();
    });
  }
  perform(session_.address.empty() ? Step::Start : Step::Ask);
}

void ResumableUpload::identifyFile() {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_LOW), [weak = weak_from_this(), file = file_] {
    const std::string identity = file->identify([&] { return !weak.expired(); });
    dispatch_async(dispatch_get_main_queue(), [weak, identity] {
      const auto self = weak.lock();
      if (!self || self->ended_ || !self->claim(identity)) return;
      self->upload_.file = identity;
      self->keepSession();
    });
  });
}

void ResumableUpload::keepSession() {
  if (!upload_.file.empty() && !session_.address.empty()) kept_.keep(upload_, session_, received_, file_->size());
}

void ResumableUpload::suspend() {
  if (std::exchange(ended_, true)) return;
  transfer_.abort();
  if (session_.address.empty()) return;
  if (!upload_.file.empty()) {
    if (sent_ > 0) keepSession();
    claim_.reset();
    return;
  }
  // It is open still, wherever it has gone.
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [work = std::make_shared<EssentialWork>(), file = file_, kept = kept_, upload = upload_,
                  session = session_, received = received_, folder = settings_.stateFolder]() mutable {
                   upload.file = file->identify([] { return true; });
                   if (upload.file.empty()) return;
                   const auto claim = UploadClaim::take(folder, upload.file);
                   if (claim) kept.keep(upload, session, received, file->size());
                 });
}

void ResumableUpload::cancel() {
  if (std::exchange(ended_, true)) return;
  transfer_.abort();
  giveSessionUp();
  claim_.reset();
}

void ResumableUpload::giveSessionUp() {
  kept_.drop(upload_);
  if (session_.address.empty()) return;
  HttpTransfer::Request request{"DELETE", std::exchange(session_, {}).address, {"Content-Length: 0"}, {}, {}, 0, 0};
  if (!token_.empty()) request.headers.push_back("Authorization: Bearer " + token_);
  HttpTransfer::performAndForget(std::move(request));
}

void ResumableUpload::fail(const NSErrorPtr& error, bool giveUp) {
  if (std::exchange(ended_, true)) return;
  transfer_.abort();
  if (giveUp) {
    giveSessionUp();
  } else if (sent_ > 0) {
    keepSession();
  }
  claim_.reset();
  events_.failed(error);
}

void ResumableUpload::failOnWrongAnswer(const std::string& what) {
  fail(publishingError(PublishingErrorCode::WrongAnswer,
                       localized("The video was not published: the video service's answer makes no sense (%@). Check "
                                 "that nothing on your network changes what is sent, then publish again.",
                                 {what})),
       true);
}

void ResumableUpload::perform(Step step) {
  if (ended_) return;
  const std::weak_ptr<ResumableUpload> weak = weak_from_this();
  authorization_->accessToken([weak, step](const std::string& token, const NSErrorPtr& error) {
    const auto self = weak.lock();
    if (!self || self->ended_) return;
    if (isPublishingError(error, PublishingErrorCode::ConnectionLost)) return self->retry(step, noConnection(), {});
    if (error) return self->fail(error, false);
    self->token_ = token;
    self->send(step, token);
  });
}

void ResumableUpload::send(Step step, const std::string& token) {
  if (const NSErrorPtr error = file_->check()) return fail(error, true);
  const std::string total = std::to_string(file_->size());
  HttpTransfer::Request request{"PUT", session_.address, {"Authorization: Bearer " + token}, {}, {}, 0, 0};
  switch (step) {
    case Step::Start:
      request.method = "POST";
      request.address = settings_.address;
      request.body = settings_.details;
      request.headers.push_back("Content-Type: application/json; charset=UTF-8");
      request.headers.push_back("X-Upload-Content-Type: " + file_->type());
      request.headers.push_back("X-Upload-Content-Length: " + total);
      break;
    case Step::Ask:
      request.headers.push_back("Content-Range: bytes */" + total);
      break;
    case Step::Send:
      chunkEnd_ = std::min(file_->size(), received_ + chunkSize_);
      chunkBegan_ = now();
      request.file = file_;
      request.from = received_;
      request.size = chunkEnd_ - received_;
      request.headers.push_back("Content-Type: " + file_->type());
      request.headers.push_back("Content-Range: bytes " + std::to_string(received_) + "-" +
                                std::to_string(chunkEnd_ - 1) + "/" + total);
      report(received_);
      break;
  }
  const std::weak_ptr<ResumableUpload> weak = weak_from_this();
  const auto progress = [weak](std::int64_t sent) {
    if (const auto self = weak.lock()) self->report(self->received_ + sent);
  };
  transfer_.perform(std::move(request), progress, [weak, step](const HttpTransfer::Answer& answer) {
    if (const auto self = weak.lock(); self && !self->ended_) self->receive(step, answer);
  });
}

void ResumableUpload::report(std::int64_t sent) {
  if (ended_) return;
  sent_ = sent;
  rate_.add(now(), sent);
  events_.progress(sent, rate_.secondsRemaining(file_->size()));
}

void ResumableUpload::receive(Step step, const HttpTransfer::Answer& answer) {
  using Failure = HttpTransfer::Failure;
  const Step again = step == Step::Start ? Step::Start : Step::Ask;
  const bool finished = answer.status == 200 || answer.status == 201;
  // A video that is finished is finished, whatever became of the file meanwhile.
  if (const NSErrorPtr error = file_->check(); error && !(finished && step != Step::Start)) return fail(error, true);
  switch (answer.failure) {
    case Failure::None:
      break;
    case Failure::Insecure:
      return fail(publishingError(PublishingErrorCode::InsecureConnection,
                                  localized("The video service could not prove who it is, so nothing was sent. Check "
                                            "this computer's date and its network, then publish again.")),
                  false);
    case Failure::NoConnection:
    case Failure::Stalled:
    case Failure::FileUnreadable:  // and yet unchanged: some file systems fail and recover
      return retry(again, noConnection(), {});
  }
  if (answer.status == 401) return receiveUnauthorized(again, answer);
  if (finished) return step == Step::Start ? receiveStart(answer) : receiveVideo(answer);
  if (answer.status == 308 && step != Step::Start) return receiveIncomplete(step, answer);
  if (isTemporary(answer)) return retry(again, serviceBusy(), retryAfter(answer));
  if ((answer.status == 404 || answer.status == 410) && step != Step::Start) return beginAnew();
  if (answer.status >= 300 && answer.status < 400) return failOnWrongAnswer("it points to another address");
  if (answer.status >= 400) return fail(refusal(answer), step != Step::Start && answer.status != 403);
  failOnWrongAnswer("status " + std::to_string(answer.status));
}

void ResumableUpload::receiveUnauthorized(Step step, const HttpTransfer::Answer& answer) {
  if (isAboutAccount(answer)) return fail(refusal(answer), false);
  if (++refusals_ > mostRefusals) return fail(authorization_->refusal(), false);
  if (const NSErrorPtr error = authorization_->refuse()) return fail(error, false);
  // Tokens end; that is nothing to wait for. A service that takes the new one no better gets time.
  if (refusals_ > 1) return retry(step, serviceBusy(), {});
  perform(step);
}

void ResumableUpload::noteProgress() {
  authorization_->accept();
  refusals_ = 0;
  delays_.reset();
}

void ResumableUpload::receiveStart(const HttpTransfer::Answer& answer) {
  const auto location = answer.headers.find("location");
  if (location == answer.headers.end() || location->second.empty())
    return failOnWrongAnswer("an upload without an address");
  // The token goes there as well: nobody but the service may have it.
  if (originOf(location->second) != originOf(settings_.address))
    return failOnWrongAnswer("an upload at another server");
  session_ = {location->second, std::time(nullptr)};
  sent_ = 0;
  keepSession();
  authorization_->accept();
  delays_.reset();
  received_ = chunkEnd_ = 0;
  perform(Step::Send);
}

void ResumableUpload::receiveIncomplete(Step step, const HttpTransfer::Answer& answer) {
  const auto received = receivedBytes(answer, chunkEnd_);
  if (!received) return failOnWrongAnswer("it can't have received what it says it has");
  const bool progress = *received > received_;
  if (step == Step::Send && progress) adaptChunk(*received - received_);
  if (*received < received_) rate_.reset();
  received_ = *received;
  if (received_ == file_->size()) return retry(Step::Ask, serviceBusy(), {});  // it has all, and isn't done
  if (progress) noteProgress();
  sent_ = received_;
  if (step == Step::Send) keepSession();
  // After a chunk of which nothing arrived, the next try waits.
  if (step == Step::Send && !progress) return retry(Step::Ask, serviceBusy(), {});
  perform(Step::Send);
}

void ResumableUpload::adaptChunk(std::int64_t sent) {
  const double seconds = std::max(now() - chunkBegan_, 0.001);
  const double wanted = std::min(double(sent) / seconds * chunkSeconds, double(settings_.largestChunk));
  chunkSize_ =
      std::clamp(std::int64_t(wanted) / chunkUnit * chunkUnit, settings_.smallestChunk, settings_.largestChunk);
}

void ResumableUpload::receiveVideo(const HttpTransfer::Answer& answer) {
  noteProgress();
  kept_.drop(upload_);
  session_ = {};
  const auto identifier = videoIdentifier(answer);
  if (!identifier) {
    return fail(
        publishingError(PublishingErrorCode::WrongAnswer,
                        localized("The whole video was sent, but the video service's answer can't be understood. Look "
                                  "at your channel before you publish it again: it may be there already.")),
        false);
  }
  ended_ = true;
  claim_.reset();
  events_.progress(file_->size(), 0.0);
  events_.finished(*identifier);
}

void ResumableUpload::beginAnew() {
  kept_.drop(upload_);
  session_ = {};
  rate_.reset();
  received_ = chunkEnd_ = 0;
  if (++sessionsLost_ > mostSessionsLost) return failOnWrongAnswer("it loses the upload again and again");
  perform(Step::Start);
}

void ResumableUpload::retry(Step step, const std::string& why, std::optional<double> asked) {
  const auto seconds = delays_.next(asked);
  if (!seconds) {
    return fail(publishingError(PublishingErrorCode::ConnectionLost,
                                localized("%@ The video was not published. Publish it again later: what has been sent "
                                          "of it need not be sent again.",
                                          {why})),
                false);
  }
  rate_.reset();
  const std::weak_ptr<ResumableUpload> weak = weak_from_this();
  dispatch_after(*seconds, dispatch_get_main_queue(), [weak, step] {
    if (const auto self = weak.lock()) self->perform(step);
  });
  events_.waiting(why, *seconds);
}

}  // namespace publishing
