#pragma once

#include "plugins/PublishToYouTube/upload/Publisher.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"
#include "tests/common/EventLoop.h"
#include "tests/common/Files.h"
#include "tests/publishing/server/LoopbackServer.h"

#include <QtCore/QTemporaryDir>
#include <QtNetwork/QNetworkAccessManager>

#include <gtest/gtest.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

/// A movie, a person's folders, a server, and a browser in which everything is answered at once.
class PublishingTest : public testing::Test {
 protected:
  PublishingTest();
  void SetUp() override;
  void TearDown() override;  ///< nothing secret may have been logged

  /// A new server with `serverOptions_`, which knows nobody who signed in at the last one, and a new publisher.
  void startServer();
  /// A new publisher, which takes the place of the last one.
  void makePublisher();
  /// Publishes the movie and waits for the end of it.
  void publish();
  /// The same with a new publisher.
  void publishAnew() {
    makePublisher();
    publish();
  }
  /// Publishes, and doesn't wait.
  void beginPublishing() { publisher_->publish(movie_, details_); }
  bool hasEnded() const { return mediaURL_ || error_; }
  /// Opens a page as a browser would.
  void browse(const std::string& address);
  void addFaults(const std::vector<std::string>& faults) {
    for (const std::string& fault : faults) server_->add(fault);
  }

  std::string path(const std::string& name) const { return folder_.path().toStdString() + "/" + name; }
  std::string tokenFile() const { return path("state/publishing-tokens.json"); }
  /// Files with addresses of sessions.
  std::vector<std::string> keptSessions() const;
  void dropKeptSessions() const { std::filesystem::remove_all(path("state/uploads")); }
  static mode_t modeOf(const std::string& path);
  static void writeFile(const std::string& path, const std::string& content);
  /// Content in which no piece repeats.
  static std::string movieContent(size_t size);
  testing::AssertionResult failedWith(publishing::PublishingErrorCode code, const std::string& words = "") const;
  /// Whether the server has one video, which is the movie.
  testing::AssertionResult movieArrived() const;

  QTemporaryDir folder_;
  std::string movie_;
  publishing::VideoDetails details_;
  publishing_test::LoopbackServer::Options serverOptions_;
  std::unique_ptr<publishing_test::LoopbackServer> server_;
  publishing::PublisherOptions options_;
  Strong<publishing::Publisher> publisher_;
  QNetworkAccessManager browser_;

  // What has been reported.
  std::vector<publishing::Progress> progress_;
  std::vector<double> waits_;
  std::vector<std::string> pages_;       ///< addresses that the person was sent to
  std::vector<std::string> shownPages_;  ///< what the browser showed in the end
  int signedIn_ = 0;
  std::optional<std::string> mediaURL_;
  NSErrorPtr error_;
  std::function<void(const publishing::Progress&)> onProgress_ = [](const publishing::Progress&) {};
};
