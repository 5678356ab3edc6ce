#include "tests/publishing/PublishingTest.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "tests/common/Requests.h"

#include <QtCore/QCryptographicHash>
#include <QtNetwork/QNetworkReply>

#include <filesystem>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> qtMessages;

}  // namespace

PublishingTest::PublishingTest() {
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
    qtMessages.push_back(text.toStdString());
    std::fprintf(stderr, "%s\n", qPrintable(text));
  });
  movie_ = path("movie.mp4");
  details_.title = "Übung \"eins\"";
  details_.description = "Line one\nline two & more";
  details_.categoryIdentifier = "20";
  details_.tags = {"screen recording", "日本"};
  options_.clientFile = path("config/publishing.json");
  options_.stateFolder = path("state");
  options_.secretService = false;
  options_.signInSeconds = 60;
  options_.stallSeconds = 20;
  options_.keepAfterSeconds = 0;
  options_.delays = {0.005, 0.04, 8, 600};
  options_.smallestChunk = options_.largestChunk = 512 * 1024;
  options_.openPage = [this](const std::string& address) {
    browse(address);
    return true;
  };
}

void PublishingTest::SetUp() {
  qtMessages.clear();
  trace_log::clear();
  writeFile(movie_, movieContent(2'300'001));
  writeFile(options_.clientFile, R"({"client_id": "a client/of+ours.example", "client_secret": "se&cret%41"})");
  startServer();
}

void PublishingTest::TearDown() {
  publisher_.reset();
  dispatch_main::waitForBackgroundWork(20);
  EXPECT_TRUE(endRequests(browser_));
  deleteWhatIsLeft();
  std::vector<std::string> texts = qtMessages;
  for (const TraceMessage& message : trace_log::messages()) texts.push_back(message.text);
  if (error_) texts.push_back(error_->localizedDescription());
  for (const std::string& text : texts) {
    // How the server's codes and tokens begin, and the addresses of sessions.
    for (const char* secret : {"code/4", "access/4", "refresh/4", "/session/", "se&cret"})
      EXPECT_EQ(text.find(secret), std::string::npos) << text;
  }
}

void PublishingTest::startServer() {
  publisher_.reset();
  server_ = std::make_unique<publishing_test::LoopbackServer>(serverOptions_);
  ASSERT_TRUE(server_->listen());
  makePublisher();
}

void PublishingTest::makePublisher() {
  publishing::Publisher::Events events;
  events.progress = [this](const publishing::Progress& progress) {
    progress_.push_back(progress);
    onProgress_(progress);
  };
  events.signInNeeded = [this](const std::string& address) { pages_.push_back(address); };
  events.signedIn = [this] { ++signedIn_; };
  events.published = [this](const std::string& address) {
    EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
    EXPECT_FALSE(hasEnded());
    mediaURL_ = address;
  };
  events.failed = [this](const NSErrorPtr& error) {
    EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
    EXPECT_FALSE(hasEnded());
    error_ = error;
  };
  events.waiting = [this](const std::string& why, double seconds) {
    EXPECT_FALSE(why.empty());
    waits_.push_back(seconds);
  };
  NSErrorPtr error;
  publisher_ =
      publishing::Publisher::create(*publishing::ServiceAddresses::loopback(server_->base(), &error), events, options_);
  progress_.clear();
  waits_.clear();
  pages_.clear();
  shownPages_.clear();
  signedIn_ = 0;
  mediaURL_.reset();
  error_.reset();
}

void PublishingTest::publish() {
  beginPublishing();
  ASSERT_TRUE(waitUntil([this] { return hasEnded(); }));
}

void PublishingTest::browse(const std::string& address) {
  QNetworkReply* reply = browser_.get(QNetworkRequest(QUrl::fromEncoded(QByteArray::fromStdString(address))));
  QObject::connect(reply, &QNetworkReply::finished, reply, [this, reply] {
    if (reply->isOpen()) shownPages_.push_back(reply->readAll().toStdString());
    reply->deleteLater();
  });
}

std::vector<std::string> PublishingTest::keptSessions() const {
  std::vector<std::string> paths;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(path("state/uploads"), error)) paths.push_back(entry.path().string());
  return paths;
}

mode_t PublishingTest::modeOf(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

void PublishingTest::writeFile(const std::string& path, const std::string& content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

std::string PublishingTest::movieContent(size_t size) {
  std::string content(size, '\0');
  std::mt19937_64 random(size);
  for (size_t at = 0; at + 8 <= size; at += 8) {
    const std::uint64_t number = random();
    content.replace(at, 8, reinterpret_cast<const char*>(&number), 8);
  }
  return content;
}

testing::AssertionResult PublishingTest::failedWith(publishing::PublishingErrorCode code,
                                                    const std::string& words) const {
  if (!error_) return testing::AssertionFailure() << "no error";
  if (isPublishingError(error_, code) && error_->localizedDescription().find(words) != std::string::npos)
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << error_->code() << ": " << error_->localizedDescription();
}

testing::AssertionResult PublishingTest::movieArrived() const {
  if (error_) return testing::AssertionFailure() << error_->localizedDescription();
  if (server_->videos().size() != 1) return testing::AssertionFailure() << server_->videos().size() << " videos";
  const QByteArray hash =
      QCryptographicHash::hash(QByteArray::fromStdString(contentOf(movie_)), QCryptographicHash::Sha256);
  if (server_->videos()[0].hash != hash) return testing::AssertionFailure() << "another content";
  return testing::AssertionSuccess();
}
