#include "plugins/PublishToYouTube/upload/HttpTransfer.h"

#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include <curl/curl.h>

namespace publishing {

namespace {

constexpr size_t largestBody = size_t(256) * 1024, largestHeaders = size_t(64) * 1024;
constexpr long sendBuffer = 1024L * 1024, connectSeconds = 30, forgottenSeconds = 10;
constexpr auto progressInterval = std::chrono::milliseconds(100);

using Clock = std::chrono::steady_clock;

/// One request with libcurl, on whichever thread.
class Exchange {
 public:
  explicit Exchange(HttpTransfer::Request request) : request_(std::move(request)) {}
  ~Exchange() { curl_slist_free_all(headers_); }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  void prepare(CURL* curl, double stallSeconds);
  HttpTransfer::Answer finish(CURL* curl, CURLcode code);
  std::function<void(std::int64_t)> progress;
  const std::atomic<bool>* aborted = nullptr;

 private:
  static size_t read(char* data, size_t size, size_t count, void* self);
  static size_t readHeader(char* data, size_t size, size_t count, void* self);
  static size_t readBody(char* data, size_t size, size_t count, void* self);
  static int seek(void* self, curl_off_t offset, int origin);
  static int report(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);

  HttpTransfer::Request request_;
  HttpTransfer::Answer answer_;
  curl_slist* headers_ = nullptr;
  std::int64_t position_ = 0;
  size_t headerBytes_ = 0;
  bool unreadable_ = false, stalled_ = false;
  double stallSeconds_ = 0;
  curl_off_t moved_ = 0;
  Clock::time_point reported_{}, movedAt_ = Clock::now();
};

void Exchange::prepare(CURL* curl, double stallSeconds) {
  curl_easy_reset(curl);  // the connection stays
  stallSeconds_ = stallSeconds;
  const bool loopback = isLoopback(request_.address), secure = request_.address.starts_with("https:");
  curl_easy_setopt(curl, CURLOPT_URL, request_.address.c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, secure ? "https" : "http");
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request_.method.c_str());
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, connectSeconds);
  curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
  if (loopback) curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  for (const std::string& header : request_.headers) headers_ = curl_slist_append(headers_, header.c_str());
  headers_ = curl_slist_append(headers_, "Expect:");
  headers_ = curl_slist_append(headers_, "Accept:");
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers_);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, readHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, readBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, report);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
  if (request_.file) {
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, sendBuffer);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, curl_off_t(request_.size));
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, read);
    curl_easy_setopt(curl, CURLOPT_READDATA, this);
    curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, seek);
    curl_easy_setopt(curl, CURLOPT_SEEKDATA, this);
  } else if (request_.method != "DELETE") {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request_.body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request_.body.c_str());
  }
}

size_t Exchange::read(char* data, size_t size, size_t count, void* opaque) {
  Exchange& self = *static_cast<Exchange*>(opaque);
  const std::int64_t wanted = std::min<std::int64_t>(std::int64_t(size * count), self.request_.size - self.position_);
  const std::int64_t done = self.request_.file->read(self.request_.from + self.position_, data, wanted);
  if (done < wanted) {
    self.unreadable_ = true;
    return CURL_READFUNC_ABORT;
  }
  self.position_ += done;
  return size_t(done);
}

/// The kept connection turned out to be closed, and the request is to begin anew on another one. Once some of the file
/// is on its way, nobody but the server knows from where.
int Exchange::seek(void* opaque, curl_off_t offset, int origin) {
  Exchange& self = *static_cast<Exchange*>(opaque);
  return origin == SEEK_SET && offset == self.position_ ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

size_t Exchange::readHeader(char* data, size_t size, size_t count, void* opaque) {
  Exchange& self = *static_cast<Exchange*>(opaque);
  std::string line(data, size * count);
  if (line.starts_with("HTTP/")) self.answer_.headers.clear();  // after an interim answer
  self.headerBytes_ += line.size();
  if (self.headerBytes_ > largestHeaders) return 0;
  const size_t colon = line.find(':');
  if (colon == std::string::npos) return size * count;
  std::string name = line.substr(0, colon);
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
  const size_t begin = line.find_first_not_of(" \t\r\n", colon + 1), end = line.find_last_not_of(" \t\r\n");
  self.answer_.headers[name] = begin == std::string::npos ? "" : line.substr(begin, end + 1 - begin);
  return size * count;
}

size_t Exchange::readBody(char* data, size_t size, size_t count, void* opaque) {
  Exchange& self = *static_cast<Exchange*>(opaque);
  const size_t room = largestBody - self.answer_.body.size();
  self.answer_.body.append(data, std::min(room, size * count));
  return size * count;
}

/// Comes about once in a second while nothing moves, and often while something does.
int Exchange::report(void* opaque, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
  Exchange& self = *static_cast<Exchange*>(opaque);
  if (self.aborted && *self.aborted) return 1;
  const auto now = Clock::now();
  if (received + sent != self.moved_) {
    self.moved_ = received + sent;
    self.movedAt_ = now;
  }
  self.stalled_ = std::chrono::duration<double>(now - self.movedAt_).count() > self.stallSeconds_;
  if (self.stalled_) return 1;
  if (self.progress && self.request_.file && sent > 0 && now - self.reported_ >= progressInterval) {
    self.reported_ = now;
    self.progress(sent);
  }
  return 0;
}

HttpTransfer::Answer Exchange::finish(CURL* curl, CURLcode code) {
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  using Failure = HttpTransfer::Failure;
  if (unreadable_) {
    answer_.failure = Failure::FileUnreadable;
  } else if (code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE ||
             code == CURLE_SSL_ISSUER_ERROR || code == CURLE_SSL_CIPHER) {
    answer_.failure = Failure::Insecure;
  } else if (stalled_ || code == CURLE_OPERATION_TIMEDOUT) {
    answer_.failure = Failure::Stalled;
  } else if (code != CURLE_OK || status < 200) {
    answer_.failure = Failure::NoConnection;
  } else {
    answer_.status = int(status);
  }
  return std::move(answer_);
}

}  // namespace

/// The thread and what it shares with the main queue.
struct HttpTransfer::Worker {
  struct Job {
    Request request;
    Progress progress;
    std::function<void(const Answer&)> handler;
    std::atomic<bool> aborted{false};
  };

  explicit Worker(double stallSeconds) : stallSeconds_(stallSeconds) {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    multi_ = ready == CURLE_OK ? curl_multi_init() : nullptr;
    thread_ = std::thread([this] { run(); });
  }
  ~Worker() {
    abort();
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    changed_.notify_one();
    thread_.join();
    if (multi_) curl_multi_cleanup(multi_);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void start(std::shared_ptr<Job> job) {
    current_ = job;
    {
      const std::lock_guard lock(mutex_);
      next_ = std::move(job);
    }
    changed_.notify_one();
  }

  void abort() {
    if (!current_) return;
    current_->aborted = true;
    current_.reset();
    if (multi_) curl_multi_wakeup(multi_);
  }

 private:
  void run();
  Answer carryOut(CURL* curl, const std::shared_ptr<Job>& job);

  const double stallSeconds_;
  CURLM* multi_ = nullptr;
  std::shared_ptr<Job> current_;  // the main queue's
  std::mutex mutex_;
  std::condition_variable changed_;
  std::shared_ptr<Job> next_;
  bool ended_ = false;
  std::thread thread_;
};

void HttpTransfer::Worker::run() {
  CURL* curl = multi_ ? curl_easy_init() : nullptr;
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ended_ || next_; });
    if (ended_) break;
    const std::shared_ptr<Job> job = std::move(next_);
    next_.reset();
    lock.unlock();
    Answer answer;
    answer.failure = Failure::NoConnection;
    if (curl && !job->aborted) answer = carryOut(curl, job);
    dispatch_async(dispatch_get_main_queue(), [job, answer = std::move(answer)] {
      if (!job->aborted) job->handler(answer);
    });
    lock.lock();
  }
  lock.unlock();
  if (curl) curl_easy_cleanup(curl);
}

HttpTransfer::Answer HttpTransfer::Worker::carryOut(CURL* curl, const std::shared_ptr<Job>& job) {
  Exchange exchange(std::move(job->request));
  exchange.aborted = &job->aborted;
  exchange.progress = [job](std::int64_t sent) {
    dispatch_async(dispatch_get_main_queue(), [job, sent] {
      if (!job->aborted) job->progress(sent);
    });
  };
  exchange.prepare(curl, stallSeconds_);
  curl_multi_add_handle(multi_, curl);
  CURLcode code = CURLE_FAILED_INIT;
  for (int running = 1; running > 0 && !job->aborted;) {
    if (curl_multi_perform(multi_, &running) != CURLM_OK) break;
    if (running > 0) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
  }
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left))
    if (message->msg == CURLMSG_DONE) code = message->data.result;
  Answer answer = exchange.finish(curl, code);
  curl_multi_remove_handle(multi_, curl);
  return answer;
}

HttpTransfer::HttpTransfer(double stallSeconds) : worker_(std::make_shared<Worker>(stallSeconds)) {}

HttpTransfer::~HttpTransfer() = default;

void HttpTransfer::perform(Request request, Progress progress, std::function<void(const Answer&)> handler) {
  abort();
  auto job = std::make_shared<Worker::Job>();
  job->request = std::move(request);
  job->progress = std::move(progress);
  job->handler = std::move(handler);
  worker_->start(std::move(job));
}

void HttpTransfer::abort() {
  worker_->abort();
}

void HttpTransfer::performAndForget(Request request) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_LOW), [request = std::move(request)] {
    CURL* curl = curl_easy_init();
    if (!curl) return;
    Exchange exchange(request);
    exchange.prepare(curl, double(forgottenSeconds));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, forgottenSeconds);
    curl_easy_perform(curl);
    curl_easy_cleanup(curl);
  });
}

}  // namespace publishing
