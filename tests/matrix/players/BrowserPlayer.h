#pragma once

#include "tests/foundation/ScratchFolder.h"
#include "tests/matrix/Reading.h"
#include "tests/matrix/players/HttpServer.h"

#include <sys/types.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace matrix {

/// A browser without a window, one process for all files, that shows a page of ours (page.html). It is started by the
/// first call and ended with the object.
class BrowserPlayer {
 public:
  enum class Kind { Chromium, Firefox };

  explicit BrowserPlayer(Kind kind);
  ~BrowserPlayer();
  BrowserPlayer(const BrowserPlayer&) = delete;

  const std::string& name() const { return name_; }
  bool isInstalled() const { return !program_.empty(); }

  /// Loads the file and seeks to each moment, in seconds. The pictures are those seen, with the time that was asked
  /// for; the first one is what stands there before any seek.
  Reading play(const std::string& path, const std::vector<double>& moments);

 private:
  void start();
  HttpServer::Answer answer(const std::string& path, const std::string& body);

  Kind kind_;
  std::string name_, program_;
  std::unique_ptr<ScratchFolder> profile_;
  std::unique_ptr<HttpServer> server_;
  pid_t process_ = -1;
  bool gone_ = false;  ///< it has stopped answering once: not asked again

  std::mutex mutex_;
  std::condition_variable changed_;
  std::string file_;
  std::optional<std::string> job_, result_;
  int number_ = 0;
  bool ending_ = false;
};

}  // namespace matrix
