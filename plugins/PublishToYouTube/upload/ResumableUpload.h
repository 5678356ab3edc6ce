#pragma once

#include "platform/Foundation/NSError.h"
#include "plugins/PublishToYouTube/upload/Authorization.h"
#include "plugins/PublishToYouTube/upload/HttpTransfer.h"
#include "plugins/PublishToYouTube/upload/KeptSessions.h"
#include "plugins/PublishToYouTube/upload/RetryDelays.h"
#include "plugins/PublishToYouTube/upload/TransferRate.h"
#include "plugins/PublishToYouTube/upload/UploadClaim.h"
#include "plugins/PublishToYouTube/upload/UploadFile.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace publishing {

/// Uploads one file in chunks, and comes through all that can be come through: lost connections, busy servers, tokens
/// that end, sessions that are gone, and, with what KeptSessions has, the end of the program. Of several uploads of one
/// recording, in whatever process, only the first goes on. Main queue only.
class ResumableUpload : public std::enable_shared_from_this<ResumableUpload> {
 public:
  struct Settings {
    std::string address;  ///< at which sessions start
    std::string client;   ///< the client identifier
    std::string details;  ///< VideoDetails::json()
    std::string stateFolder;
    std::string identity;  ///< of the file, when it is known already: then what was begun before goes on
    double keepAfter = 2;  ///< seconds from the start until it is found out, otherwise
    RetryDelays::Times delays;
    double stallSeconds = 60;
    /// A chunk takes about 20 seconds within these limits, multiples of 256 KiB. Each costs a round trip and what the
    /// service does with it, during which the line is idle: larger ones are faster; and what has arrived of a chunk
    /// when the connection breaks isn't lost, so they need not be small.
    std::int64_t smallestChunk = std::int64_t(8) << 20, largestChunk = std::int64_t(256) << 20;
  };
  struct Events {
    std::function<void(std::int64_t sentBytes, std::optional<double> secondsRemaining)> progress;
    std::function<void(const std::string& why, double seconds)> waiting;
    std::function<void(const std::string& videoIdentifier)> finished;
    std::function<void(const NSErrorPtr& error)> failed;
  };

  ResumableUpload(Settings settings, std::shared_ptr<UploadFile> file, std::shared_ptr<Authorization> authorization,
                  Events events);
  ~ResumableUpload();
  ResumableUpload(const ResumableUpload&) = delete;
  ResumableUpload& operator=(const ResumableUpload&) = delete;

  void start();
  /// Stops at once and gives the session up, here and at the service. No events come after it.
  void cancel();
  /// Stops at once, and keeps the session for the next time, however short it has run. No events come after it.
  void suspend();

 private:
  enum class Step { Start, Ask, Send };

  void perform(Step step);
  void send(Step step, const std::string& token);
  void receive(Step step, const HttpTransfer::Answer& answer);
  /// The service has taken something: what went wrong before counts no more.
  void noteProgress();
  void receiveStart(const HttpTransfer::Answer& answer);
  void receiveIncomplete(Step step, const HttpTransfer::Answer& answer);
  void receiveVideo(const HttpTransfer::Answer& answer);
  void receiveUnauthorized(Step step, const HttpTransfer::Answer& answer);
  void beginAnew();
  void retry(Step step, const std::string& why, std::optional<double> asked);
  void report(std::int64_t sent);
  void adaptChunk(std::int64_t sent);
  /// Ends with an error. With `giveUp`, the session is of no use any more.
  void fail(const NSErrorPtr& error, bool giveUp);
  void giveSessionUp();
  /// Finds the file's identity out in the background, without which no session can be taken up again.
  void identifyFile();
  /// Writes down the session, if it can be taken up again, and how far it has come.
  void keepSession();
  /// Claims the recording for this upload; when another has it, this one ends.
  bool claim(const std::string& identity);
  void failOnWrongAnswer(const std::string& what);

  Settings settings_;
  std::shared_ptr<UploadFile> file_;
  std::shared_ptr<Authorization> authorization_;
  Events events_;
  HttpTransfer transfer_;
  KeptSessions kept_;
  KeptSessions::Upload upload_;
  std::unique_ptr<UploadClaim> claim_;  // as soon as the file's identity is known
  RetryDelays delays_;
  TransferRate rate_;
  KeptSessions::Session session_;  // without an address when there is none
  std::string token_;
  std::int64_t received_ = 0;  // by the service, as it said
  std::int64_t sent_ = 0;      // as it was reported last
  std::int64_t chunkEnd_ = 0;  // what the service may have at most
  std::int64_t chunkSize_;
  double chunkBegan_ = 0;
  int sessionsLost_ = 0;
  int refusals_ = 0;  // answers 401 since the service last took something
  bool ended_ = false;
};

}  // namespace publishing
