#pragma once

#include "plugins/PublishToYouTube/upload/UploadFile.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace publishing {

/// Requests of an upload, one at a time, over one connection that is kept. They run on a thread of their own, with
/// libcurl: it moves a file several times faster than Qt's network access, which hands it from thread to thread in
/// pieces of 16 KB. Main queue only. Nothing comes after the object is gone.
class HttpTransfer {
 public:
  struct Request {
    std::string method, address;
    std::vector<std::string> headers;  ///< "Name: value"
    std::string body;                  ///< unless a part of the file is sent
    std::shared_ptr<UploadFile> file;
    std::int64_t from = 0, size = 0;  ///< the part of the file
  };
  enum class Failure { None, NoConnection, Insecure, Stalled, FileUnreadable };
  struct Answer {
    Failure failure = Failure::None;
    int status = 0;                              ///< 0 without an answer
    std::map<std::string, std::string> headers;  ///< names in lower case; the last of each name
    std::string body;                            ///< the first 256 KB
  };
  using Progress = std::function<void(std::int64_t sentBytes)>;

  /// Ends a request with `Stalled` when nothing has moved for that many seconds.
  explicit HttpTransfer(double stallSeconds);
  ~HttpTransfer();
  HttpTransfer(const HttpTransfer&) = delete;
  HttpTransfer& operator=(const HttpTransfer&) = delete;

  /// One request at a time. `progress` comes a few times in a second while a file is sent. Redirects aren't followed.
  void perform(Request request, Progress progress, std::function<void(const Answer&)> handler);
  /// Ends the request that is under way, if there is one; its handlers are not called any more.
  void abort();

  /// Carries a request out in the background; nobody hears of its answer. Ends after ten seconds.
  static void performAndForget(Request request);

 private:
  struct Worker;
  std::shared_ptr<Worker> worker_;
};

}  // namespace publishing
