#include "platform/Dispatch/dispatch.h"
#include "tests/publishing/PublishingTest.h"

#include <QtCore/QJsonDocument>

#include <ctime>
#include <filesystem>
#include <optional>
#include <utility>

#include <utime.h>

namespace {

constexpr qint64 movieSize = 2'300'001;

/// An upload that was left in its third chunk, with two whole ones at the server.
class RestartTest : public PublishingTest {
 protected:
  void SetUp() override {
    PublishingTest::SetUp();
    leaveUpload();
  }
  void leaveUpload() {
    makePublisher();
    addFaults({"chunk:ok*2", "chunk:stall"});
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

// The program makes its movie anew each time it is used, and clears the last one away.
TEST_F(RestartTest, GoesOnWhereItStoppedWithAnyFileOfThatContent) {
  EXPECT_EQ(modeOf(keptSessions()[0]), 0600u);
  const std::string first = std::exchange(movie_, path("made anew.mp4"));
  std::filesystem::copy_file(first, movie_);
  std::filesystem::remove(first);
  EXPECT_FALSE(findKept(first));
  const auto kept = findKept(movie_);
  ASSERT_TRUE(kept) << "what the person said is kept as well";
  EXPECT_EQ(kept->details, details_);
  EXPECT_FLOAT_EQ(kept->part, 2 * 512 * 1024 / float(movieSize)) << "what the service has confirmed";
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(server_->counts().starts, 1);
  EXPECT_EQ(server_->counts().bodyBytes, movieSize);
  EXPECT_GE(progress_.front().sentBytes, 2 * 512 * 1024);  // what is there counts from the start
  EXPECT_TRUE(keptSessions().empty());
  EXPECT_FALSE(findKept(movie_));
}

// The person keeps it for later: at once, before it is known what file it is, and though that goes away.
TEST_F(RestartTest, AnUploadThatIsSuspendedCanBeTakenUpHoweverShortItRan) {
  const std::string content = contentOf(movie_);
  for (const double keepAfter : {0.0, 600.0}) {
    SCOPED_TRACE(keepAfter);
    dropKeptSessions();
    options_.keepAfterSeconds = keepAfter;
    makePublisher();
    const auto& counts = server_->counts();
    const int starts = counts.starts, chunks = counts.chunks, cancels = counts.cancels;
    addFaults({"chunk:ok", "chunk:stall"});
    beginPublishing();
    ASSERT_TRUE(waitUntil([&] { return counts.chunks == chunks + 2; }));
    publisher_->suspend();
    std::filesystem::remove(movie_);
    publisher_.reset();
    EXPECT_TRUE(dispatch_main::waitForBackgroundWork(20));
    ASSERT_EQ(keptSessions().size(), 1u);
    writeFile(movie_, content);
    ASSERT_NO_FATAL_FAILURE(publishAnew());
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
    EXPECT_TRUE(failedWith(publishing::PublishingErrorCode::AlreadyUploading));
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
  dropKeptSessions();
  const auto& counts = server_->counts();
  options_.keepAfterSeconds = 0.3;
  server_->add("chunk:stall*2");
  makePublisher();
  beginPublishing();
  const auto first = publisher_;
  makePublisher();
  beginPublishing();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); }));
  EXPECT_TRUE(failedWith(publishing::PublishingErrorCode::AlreadyUploading));
  EXPECT_TRUE(waitUntil([] { return dispatch_main::waitForBackgroundWork(0); }));
  EXPECT_LE(counts.cancels, 1) << "the session of one only";
  EXPECT_TRUE(waitUntil([&] { return keptSessions().size() == 1; }));
}

// Only the very same upload is taken up again; anything else begins anew, and ends as it should.
TEST_F(RestartTest, BeginsAnewWhenSomethingIsDifferent) {
  const std::string content = contentOf(movie_), client = contentOf(options_.clientFile);
  const auto changeKept = [&](const char* key, const QJsonValue& value) {
    QJsonObject kept = QJsonDocument::fromJson(QByteArray::fromStdString(contentOf(keptSessions()[0]))).object();
    kept[key] = value;
    writeFile(keptSessions()[0], QJsonDocument(kept).toJson().toStdString());
  };
  struct Difference {
    const char* name;
    bool isOffered;  ///< as something that could go on: with the earlier details, or as far as anybody knows here
    std::function<void()> make;
  };
  const std::vector<Difference> differences{
      {"details", true, [&] { details_.title = "Another title"; }},
      {"content", false, [&] { writeFile(movie_, content.substr(1) + "x"); }},
      {"client", false, [&] { writeFile(options_.clientFile, R"({"client_id": "another"})"); }},
      {"age", false, [&] { changeKept("begun", qint64(std::time(nullptr)) - 7 * 24 * 3600); }},
      {"server", true, [&] { changeKept("session", "http://localhost:1/session/1"); }},
      {"damage", false, [&] { writeFile(keptSessions()[0], "{\"session\": \"http://"); }},
      {"service", true, [&] { server_->add("query:gone"); }}};
  for (const Difference& difference : differences) {
    SCOPED_TRACE(difference.name);
    difference.make();
    makePublisher();
    EXPECT_EQ(findKept(movie_).has_value(), difference.isOffered);
    const int starts = server_->counts().starts;
    const size_t videos = server_->videos().size();
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(mediaURL_);
    EXPECT_EQ(server_->counts().starts, starts + 1);
    ASSERT_EQ(server_->videos().size(), videos + 1);
    EXPECT_EQ(server_->videos().back().metadata["snippet"]["title"].toString().toStdString(), details_.title);
    writeFile(options_.clientFile, client);
    dropKeptSessions();
    ASSERT_NO_FATAL_FAILURE(leaveUpload());
  }
}

TEST_F(RestartTest, SweepsSessionsThatTheServiceHasForgotten) {
  const auto leave = [&](const char* name, std::time_t age) {
    writeFile(path(name), "{}");
    const utimbuf times{std::time(nullptr) - age, std::time(nullptr) - age};
    utime(path(name).c_str(), &times);
  };
  leave("state/uploads/0123.json", 8 * 24 * 3600);
  leave("state/uploads/4567.json", -3600);  // before the clock was put right
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_EQ(keptSessions().size(), 1U);
  EXPECT_TRUE(keptSessions()[0].ends_with("4567.json"));
}

}  // namespace
