#include "platform/Dispatch/dispatch.h"
#include "tests/publishing/PublishingTest.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonDocument>
#include <QtCore/QProcess>

#include <ctime>
#include <filesystem>
#include <optional>

#include <sys/stat.h>
#include <utime.h>

namespace {

constexpr qint64 movieSize = 2'300'001, granule = 256 * 1024;

/// An upload that was left in its third chunk, with two whole ones at the server.
class RestartTest : public PublishingTest {
 protected:
  void SetUp() override {
    PublishingTest::SetUp();
    signInBefore();
    leaveUpload();
  }
  void leaveUpload() {
    makePublisher();
    server_->add("chunk:ok*2");
    server_->add("chunk:stall");
    const int chunks = server_->counts().chunks;
    beginPublishing();
    ASSERT_TRUE(waitUntil([&] { return server_->counts().chunks == chunks + 3; }));
    ASSERT_TRUE(waitUntil([&] { return keptSessions().size() == 1; }));
    publisher_.reset();
    makePublisher();
  }
  std::optional<publishing::Publisher::KeptUpload> findKept(const std::string& movie) {
    bool answered = false;
    std::optional<publishing::Publisher::KeptUpload> found;
    publisher_->findKept(movie, [&](const auto& kept) {
      answered = true;
      found = kept;
    });
    EXPECT_TRUE(waitUntil([&] { return answered; }));
    return found;
  }
};

TEST_F(RestartTest, GoesOnWhereItStopped) {
  struct stat status {};
  ASSERT_EQ(lstat(keptSessions()[0].c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(server_->counts().starts, 1);
  EXPECT_EQ(server_->counts().bodyBytes, movieSize);
  EXPECT_GE(progress_.front().sentBytes, 2 * 512 * 1024);  // what is there counts from the start
  EXPECT_TRUE(keptSessions().empty());
}

// The program makes its movie anew each time it is used, and clears the last one away.
TEST_F(RestartTest, GoesOnWithAnotherFileOfTheSameContent) {
  const std::string content = contentOf(movie_);
  std::filesystem::remove(movie_);
  movie_ = path("made anew.mp4");
  writeFile(movie_, content);
  const utimbuf times{1'000'000, 1'000'000};
  utime(movie_.c_str(), &times);
  const auto kept = findKept(movie_);
  ASSERT_TRUE(kept) << "what the person said is kept as well";
  EXPECT_EQ(kept->details, details_);
  EXPECT_FLOAT_EQ(kept->part, 2 * 512 * 1024 / float(movieSize)) << "what the service has confirmed";
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(server_->counts().starts, 1);
  EXPECT_EQ(server_->counts().bodyBytes, movieSize);
  EXPECT_TRUE(keptSessions().empty());
}

TEST_F(RestartTest, KnowsNothingOfAnotherMovie) {
  EXPECT_TRUE(findKept(movie_));
  writeFile(path("other.mp4"), contentOf(movie_) + "x");
  EXPECT_FALSE(findKept(path("other.mp4")));
  EXPECT_FALSE(findKept(path("missing.mp4")));
  const std::string client = contentOf(options_.clientFile);
  writeFile(options_.clientFile, R"({"client_id": "another"})");
  EXPECT_FALSE(findKept(movie_)) << "it would not go on";
  writeFile(options_.clientFile, client);
  EXPECT_TRUE(findKept(movie_));
  writeFile(keptSessions()[0], "{\"details\": 7");
  EXPECT_FALSE(findKept(movie_));
  std::filesystem::remove(keptSessions()[0]);
  EXPECT_FALSE(findKept(movie_));
}

// The person keeps it for later: at once, before it is known what file it is, and though that goes away.
TEST_F(RestartTest, AnUploadThatIsSuspendedCanBeTakenUpHoweverShortItRan) {
  const std::string content = contentOf(movie_);
  for (const double keepAfter : {0.0, 600.0}) {
    SCOPED_TRACE(keepAfter);
    for (const std::string& kept : keptSessions()) std::remove(kept.c_str());
    options_.keepAfterSeconds = keepAfter;
    makePublisher();
    const auto& counts = server_->counts();
    const int starts = counts.starts, chunks = counts.chunks, cancels = counts.cancels;
    server_->add("chunk:ok");
    server_->add("chunk:stall");
    beginPublishing();
    ASSERT_TRUE(waitUntil([&] { return counts.chunks == chunks + 2; }));
    publisher_->suspend();
    std::filesystem::remove(movie_);
    publisher_.reset();
    EXPECT_TRUE(dispatch_main::waitForBackgroundWork(20));
    ASSERT_EQ(keptSessions().size(), 1u);
    writeFile(movie_, content);
    makePublisher();
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(mediaURL_);
    EXPECT_EQ(counts.starts, starts + 1);
    EXPECT_EQ(counts.cancels, cancels) << "the service is not told to forget it";
  }
}

// Two windows with one recording: what the first uploads is neither used nor given up by the second.
TEST_F(RestartTest, OnlyOneOfTwoUploadsARecording) {
  const auto& counts = server_->counts();
  const int chunks = counts.chunks;
  server_->add("chunk:stall");
  beginPublishing();
  ASSERT_TRUE(waitUntil([&] { return counts.chunks == chunks + 1; }));
  const auto first = publisher_;
  makePublisher();
  const auto kept = findKept(movie_);
  EXPECT_TRUE(kept && kept->isUploading);
  for (const char* title : {"", "With other details"}) {
    if (*title) details_.title = title;
    error_ = nullptr;
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(publishing::isPublishingError(error_, publishing::PublishingErrorCode::AlreadyUploading));
    publisher_->cancel();
  }
  EXPECT_EQ(counts.starts, 1);
  EXPECT_EQ(counts.cancels, 0);
  EXPECT_EQ(keptSessions().size(), 1u);
  first->suspend();
  EXPECT_FALSE(findKept(movie_)->isUploading);
  details_ = findKept(movie_)->details;
  error_ = nullptr;
  ASSERT_NO_FATAL_FAILURE(publish());
  EXPECT_TRUE(movieArrived());
  EXPECT_EQ(counts.starts, 1) << "goes on";
}

// Both begin before it is known what movie it is.
TEST_F(RestartTest, OneOfTwoThatBeginAtOnceEnds) {
  for (const std::string& kept : keptSessions()) std::remove(kept.c_str());
  const auto& counts = server_->counts();
  options_.keepAfterSeconds = 0.3;
  server_->add("chunk:stall");
  server_->add("chunk:stall");
  makePublisher();
  beginPublishing();
  const auto first = publisher_;
  makePublisher();
  beginPublishing();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); }));
  EXPECT_TRUE(publishing::isPublishingError(error_, publishing::PublishingErrorCode::AlreadyUploading));
  EXPECT_TRUE(waitUntil([] { return dispatch_main::waitForBackgroundWork(0); }));
  EXPECT_LE(counts.cancels, 1) << "the session of one only";
  EXPECT_TRUE(waitUntil([&] { return keptSessions().size() == 1; }));
}

// Only the very same upload is taken up again; anything else begins anew, and ends as it should.
TEST_F(RestartTest, BeginsAnewWhenSomethingIsDifferent) {
  const std::string content = contentOf(movie_);
  const std::vector<std::pair<const char*, std::function<void()>>> differences{
      {"details", [&] { details_.title = "Another title"; }},
      {"content", [&] { writeFile(movie_, content.substr(1) + "x"); }},
      {"client", [&] { writeFile(options_.clientFile, R"({"client_id": "another"})"); }},
      {"age",
       [&] {
         QJsonObject kept = QJsonDocument::fromJson(QByteArray::fromStdString(contentOf(keptSessions()[0]))).object();
         kept["begun"] = kept["begun"].toInteger() - 7 * 24 * 3600;
         writeFile(keptSessions()[0], QJsonDocument(kept).toJson().toStdString());
       }},
      {"server",
       [&] {
         QJsonObject kept = QJsonDocument::fromJson(QByteArray::fromStdString(contentOf(keptSessions()[0]))).object();
         kept["session"] = "http://localhost:1/session/1";
         writeFile(keptSessions()[0], QJsonDocument(kept).toJson().toStdString());
       }},
      {"damage", [&] { writeFile(keptSessions()[0], "{\"session\": \"http://"); }},
      {"service", [&] { server_->add("query:gone"); }}};
  for (const auto& [name, change] : differences) {
    SCOPED_TRACE(name);
    change();
    makePublisher();
    const int starts = server_->counts().starts;
    const size_t videos = server_->videos().size();
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(mediaURL_);
    EXPECT_EQ(server_->counts().starts, starts + 1);
    ASSERT_EQ(server_->videos().size(), videos + 1);
    EXPECT_EQ(server_->videos().back().metadata["snippet"]["title"].toString().toStdString(), details_.title);
    writeFile(options_.clientFile, R"({"client_id": "a client/of+ours.example", "client_secret": "se&cret%41"})");
    for (const std::string& kept : keptSessions()) std::remove(kept.c_str());
    ASSERT_NO_FATAL_FAILURE(leaveUpload());
  }
}

TEST_F(RestartTest, SweepsSessionsThatTheServiceHasForgotten) {
  const std::string old = path("state/uploads/0123.json");
  writeFile(old, "{}");
  const utimbuf times{std::time(nullptr) - 8 * 24 * 3600, std::time(nullptr) - 8 * 24 * 3600};
  utime(old.c_str(), &times);
  const std::string future = path("state/uploads/4567.json");  // before the clock was put right
  writeFile(future, "{}");
  const utimbuf later{std::time(nullptr) + 3600, std::time(nullptr) + 3600};
  utime(future.c_str(), &later);
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_EQ(keptSessions().size(), 1U);
  EXPECT_TRUE(keptSessions()[0].ends_with("4567.json"));
}

// A whole process, ended without a word in the middle of a chunk.
TEST_F(RestartTest, SurvivesTheEndOfTheProcess) {
  writeFile(movie_, movieContent(4'000'000));
  const qint64 before = server_->counts().bodyBytes;
  const int chunks = server_->counts().chunks;
  server_->add("chunk:ok*3");
  server_->add("chunk:close=300000");
  server_->add("query:stall");
  const QStringList arguments{"--publish", QString::fromStdString(server_->base()),
                              QString::fromStdString(path("").substr(0, path("").size() - 1)),
                              QString::fromStdString(movie_)};
  const auto start = [&](QProcess& process) {
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), arguments);
  };
  QProcess first;
  start(first);
  ASSERT_TRUE(waitUntil([&] { return server_->counts().chunks == chunks + 4 && server_->counts().queries == 1; }));
  first.kill();
  ASSERT_TRUE(waitUntil([&] { return first.state() == QProcess::NotRunning; }));

  QProcess second;
  start(second);
  ASSERT_TRUE(waitUntil([&] { return second.state() == QProcess::NotRunning; }));
  EXPECT_EQ(second.exitCode(), 0);
  ASSERT_TRUE(movieArrived());
  EXPECT_LE(server_->counts().bodyBytes - before, 4'000'000 + granule);
  EXPECT_EQ(server_->videos()[0].metadata["snippet"]["title"].toString(), "In another process");
}

}  // namespace
