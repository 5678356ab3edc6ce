#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"
#include "plugins/PublishToYouTube/upload/ClientRegistration.h"
#include "plugins/PublishToYouTube/upload/RetryDelays.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"
#include "plugins/PublishToYouTube/upload/TokenStore.h"
#include "plugins/PublishToYouTube/upload/VideoDetails.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace publishing {

struct Progress {
  std::int64_t sentBytes = 0, totalBytes = 0;  ///< of the file; what a former run of the program sent counts
  std::optional<double> secondsRemaining;      ///< nothing while the speed isn't known
};

/// What is usually as it is here. Empty paths mean the person's own.
struct PublisherOptions {
  std::string clientFile;     ///< the client identifier; by default ClientRegistration::defaultPath()
  std::string stateFolder;    ///< sessions, and tokens without a store for secrets; by default stateFolder()
  bool secretService = true;  ///< tokens go to the desktop's store for secrets where there is one
  double signInSeconds = 600, stallSeconds = 60;
  RetryDelays::Times delays;
  double keepAfterSeconds = 2;  ///< from when on an upload that has begun can be taken up by another run of the program
  std::int64_t smallestChunk = 0, largestChunk = 0;  ///< multiples of 256 KiB; 0: what is good
  /// Opens a page in the person's browser; whether that could be tried. Without it the person only has the address.
  std::function<bool(const std::string& address)> openPage;
};

/// Publishes a movie: signs the person in when that is needed, uploads the file, and says where the video is. Main
/// queue only, in a process whose main queue runs on a Qt event loop; all events come on the main queue, never from
/// within a call. Nothing comes after the object is gone, after `cancel`, or after `published` or `failed`.
class Publisher : public std::enable_shared_from_this<Publisher> {
 public:
  struct Events {
    std::function<void(Progress)> progress;  ///< about ten times in a second
    /// The person must sign in: this page has just been opened in their browser, as far as that could be done. It may
    /// be shown as a link, too.
    std::function<void(std::string address)> signInNeeded;
    std::function<void()> signedIn;
    std::function<void(std::string mediaURL)> published;
    /// With one of PublishingErrorCode, or a system error for a file that can't be opened.
    std::function<void(NSErrorPtr)> failed;
    /// Something is in the way, for a sentence beside the progress; the next try comes in so many seconds.
    std::function<void(std::string why, double seconds)> waiting;
  };

  /// Events that are not set are left out.
  static Strong<Publisher> create(const ServiceAddresses& addresses, Events events, PublisherOptions options = {});
  ~Publisher();
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  /// One at a time; a new one may follow after the end of the last. The file must stay as it is until then. An upload
  /// of the same file with the same details that a former run of the program began goes on where it stopped.
  void publish(const std::string& path, const VideoDetails& details);
  /// An upload that a former `publish` has begun and left, and that goes on when the same file is published with these
  /// details.
  struct KeptUpload {
    VideoDetails details;
    float part = 0;            ///< of the file that is there, 0 to 1, as far as it is known
    bool isUploading = false;  ///< another window or process is at it: `publish` fails until that has ended
  };
  /// Looks whether an upload of the same content waits to go on. All of the file is read for that, if any upload does.
  /// `then` is called once, later; not when this object has gone.
  void findKept(const std::string& path, std::function<void(const std::optional<KeptUpload>& kept)> then);
  /// Whether a sign-in is kept, which `publish` would use. Nobody is asked to unlock anything. `then` is called once,
  /// later, unless this object has gone.
  void findSignIn(std::function<void(bool isKept)> then);
  /// Stops at once; the upload can't be taken up again, and the service is told. An object that just goes away leaves
  /// what it has uploaded for the next time, if there was time to write down what belongs to that.
  void cancel();
  /// Stops at once, and sees to it that the upload can be taken up again; the file may go away.
  void suspend();
  /// Forgets the sign-in that is kept, so that the next `publish` asks for one; for another account, say.
  void signOut();

 private:
  struct Run;
  Publisher(ServiceAddresses addresses, Events events, PublisherOptions options);
  void begin(const std::shared_ptr<Run>& run);
  TokenStore::Place tokenPlace(const ClientRegistration& client) const;

  ServiceAddresses addresses_;
  Events events_;
  PublisherOptions options_;
  std::shared_ptr<Run> run_;
  std::unique_ptr<TokenStore> signInStore_;  ///< that is looked into
};

}  // namespace publishing
