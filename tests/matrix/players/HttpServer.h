#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace matrix {

/// A small HTTP server on the loopback interface, for a browser of this test: pages and messages from a function, files
/// in pieces as a browser's player asks for them.
class HttpServer {
 public:
  struct Answer {
    std::string body, type = "text/plain";
    std::string file;  ///< a file's path instead of a body
  };
  /// Called for each request with its path and body, on a thread of its own; may block.
  using Handler = std::function<Answer(const std::string& path, const std::string& body)>;

  /// Throws std::runtime_error when there is no port to be had.
  explicit HttpServer(Handler handler);
  /// When nobody asks any more.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;

  int port() const { return port_; }

 private:
  void accept();
  void serve(int connection) const;

  Handler handler_;
  int listener_ = -1, port_ = 0;
  std::atomic<bool> closing_{false};
  std::thread acceptor_;
  std::vector<std::thread> threads_;  ///< the acceptor's, then the destructor's
};

}  // namespace matrix
