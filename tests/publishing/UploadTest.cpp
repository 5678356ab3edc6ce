#include "plugins/PublishToYouTube/upload/RemainingTime.h"
#include "plugins/PublishToYouTube/upload/TransferRate.h"
#include "tests/publishing/PublishingTest.h"

#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

using publishing::PublishingErrorCode;

namespace {

using UploadTest = PublishingTest;

TEST_F(UploadTest, BringsTheFileAndItsDetails) {
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(*mediaURL_, server_->base() + "/watch?v=video-1");
  EXPECT_TRUE(keptSessions().empty());
  EXPECT_EQ(server_->counts().chunks, 5);
  EXPECT_EQ(server_->videos()[0].metadata, QJsonDocument::fromJson(R"({
      "snippet": {"title": "Übung \"eins\"", "description": "Line one\nline two & more", "categoryId": "20",
                  "tags": ["screen recording", "日本"]},
      "status": {"privacyStatus": "private", "selfDeclaredMadeForKids": false}})")
                                               .object());
  ASSERT_FALSE(progress_.empty());
  EXPECT_EQ(progress_.back().sentBytes, 2'300'001);
  EXPECT_EQ(progress_.back().totalBytes, 2'300'001);
  EXPECT_TRUE(std::is_sorted(progress_.begin(), progress_.end(),
                             [](const auto& a, const auto& b) { return a.sentBytes < b.sentBytes; }));
}

// Whatever happens on the way, the whole file arrives once, and no more of it is sent again than was lost.
TEST_F(UploadTest, ComesThroughTroubles) {
  constexpr qint64 granule = 256 * 1024, chunk = 512 * 1024, whole = 2'300'001;
  struct Trouble {
    std::vector<std::string> faults;
    qint64 sentAgain;  ///< at most
    int starts;
  };
  const std::vector<Trouble> troubles{
      {{"start:status=503*3"}, 0, 4},
      {{"start:close*2"}, 0, 3},
      {{"start:status=429"}, 0, 2},
      {{"chunk:status=502*2"}, 0, 1},
      {{"chunk:close=0"}, 0, 1},
      {{"chunk:close=100000"}, granule, 1},
      {{"chunk:ok*2", "chunk:close=300000*4"}, 4 * granule, 1},
      {{"chunk:ok*4", "chunk:close=100000"}, granule, 1},  // the last one
      {{"chunk:ok*4", "chunk:close=202849"}, 0, 1},        // all of it: only the answer is lost
      {{"chunk:ok", "chunk:stall"}, chunk, 1},
      {{"chunk:close=300000", "query:status=500*2"}, granule, 1},
      {{"chunk:close=300000", "query:close*2"}, granule, 1},
      {{"chunk:ok", "chunk:lose=262144"}, granule, 1},
      {{"chunk:ok*2", "chunk:gone"}, whole, 2},
      {{"chunk:ok*2", "chunk:close=1000", "query:gone"}, whole + chunk, 2},
  };
  for (const Trouble& trouble : troubles) {
    SCOPED_TRACE(trouble.faults.back());
    options_.stallSeconds = trouble.faults.back() == "chunk:stall" ? 1 : 20;
    startServer();
    addFaults(trouble.faults);
    ASSERT_NO_FATAL_FAILURE(publish());
    ASSERT_TRUE(movieArrived());
    EXPECT_LE(server_->counts().bodyBytes, whole + trouble.sentAgain);
    EXPECT_EQ(server_->counts().starts, trouble.starts);
    EXPECT_EQ(server_->openSessions(), 0);
  }
}

TEST_F(UploadTest, WaitsLongerEachTimeAndAsLongAsTheServerAsks) {
  server_->add("chunk:status=503*4");
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_EQ(waits_.size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    const double longest = std::min(0.005 * double(1 << i), 0.04);
    EXPECT_LE(waits_[i], longest);
    EXPECT_GE(waits_[i], longest / 2);
  }
  startServer();
  server_->add("chunk:retry-after=1");
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(waits_, std::vector<double>{1});
}

TEST_F(UploadTest, GivesUpAfterManyTriesAndGoesOnLater) {
  options_.delays = {0.2, 0.3, 8, 600};  // time to know the file by
  makePublisher();
  addFaults({"chunk:ok*3", "chunk:status=503*9"});
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(failedWith(PublishingErrorCode::ConnectionLost));
  EXPECT_EQ(waits_.size(), 8u);
  ASSERT_EQ(keptSessions().size(), 1u);
  ASSERT_NO_FATAL_FAILURE(publishAnew());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(server_->counts().bodyBytes, 2'300'001);
  EXPECT_EQ(server_->counts().starts, 1);
}

TEST_F(UploadTest, EndsInAClearErrorOnAnswersThatMakeNoSense) {
  struct Case {
    std::vector<std::string> faults;
    PublishingErrorCode code;
    std::string says;
  };
  const std::vector<Case> cases{
      {{"start:no-location"}, PublishingErrorCode::WrongAnswer, "without an address"},
      {{"start:foreign-location"}, PublishingErrorCode::WrongAnswer, "another server"},
      {{"start:redirect"}, PublishingErrorCode::WrongAnswer, "another address"},
      {{"start:status=400"}, PublishingErrorCode::Refused, "Something broke."},
      {{"chunk:redirect"}, PublishingErrorCode::WrongAnswer, "another address"},
      {{"chunk:bad-range"}, PublishingErrorCode::WrongAnswer, "can't have received"},
      {{"chunk:range-beyond"}, PublishingErrorCode::WrongAnswer, "can't have received"},
      {{"chunk:status=204"}, PublishingErrorCode::WrongAnswer, "status 204"},
      {{"chunk:ok*4", "chunk:not-json"}, PublishingErrorCode::WrongAnswer, "Look at your channel"},
      {{"chunk:gone*4"}, PublishingErrorCode::WrongAnswer, "again and again"},
      {{"start:quota"}, PublishingErrorCode::QuotaExceeded, "Publish again after"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.faults.back());
    startServer();
    addFaults(each.faults);
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(failedWith(each.code, each.says));
    EXPECT_TRUE(keptSessions().empty());
  }
}

TEST_F(UploadTest, RefusesAFileThatChangesUnderWay) {
  const std::vector<std::pair<const char*, std::function<void()>>> changes{
      {"longer", [this] { std::ofstream(movie_, std::ios::app) << "more"; }},
      {"shorter", [this] { std::filesystem::resize_file(movie_, 1'000'000); }},
      {"written over", [this] {
         std::fstream file(movie_, std::ios::in | std::ios::out | std::ios::binary);
         file.seekp(2'000'000);
         file << "others";
       }}};
  for (const auto& [name, change] : changes) {
    SCOPED_TRACE(name);
    writeFile(movie_, movieContent(2'300'001));
    startServer();
    bool changed = false;
    onProgress_ = [&, change = change](const publishing::Progress& progress) {
      if (progress.sentBytes < 1'000'000 || changed) return;
      changed = true;
      change();
    };
    ASSERT_NO_FATAL_FAILURE(publish());
    ASSERT_TRUE(failedWith(PublishingErrorCode::FileChanged));
    EXPECT_TRUE(server_->videos().empty());
    EXPECT_TRUE(keptSessions().empty());
    EXPECT_TRUE(waitUntil([this] { return server_->counts().cancels == 1; }));
    onProgress_ = [](const publishing::Progress&) {};
  }
  for (const char* what : {"missing", "empty", "a folder"}) {
    SCOPED_TRACE(what);
    movie_ = path(what);
    if (std::string(what) == "empty") writeFile(movie_, "");
    if (std::string(what) == "a folder") std::filesystem::create_directory(movie_);
    startServer();
    ASSERT_NO_FATAL_FAILURE(publish());
    ASSERT_TRUE(error_);
    EXPECT_EQ(server_->counts().starts, 0);
  }
}

// In the middle of a chunk, while waiting for the next try, and before anything was sent.
TEST_F(UploadTest, CancelsAtAnyMoment) {
  options_.stallSeconds = 600;
  options_.delays = {600, 600, 3, 600};
  for (const std::string fault : {"chunk:stall", "chunk:status=503", "start:stall", ""}) {
    SCOPED_TRACE(fault);
    startServer();
    if (fault.starts_with("chunk")) server_->add("chunk:ok");
    if (!fault.empty()) server_->add(fault);
    beginPublishing();
    const auto& counts = server_->counts();
    if (fault.starts_with("chunk")) {
      ASSERT_TRUE(waitUntil([&] { return fault == "chunk:stall" ? counts.chunks == 2 : waits_.size() == 1; }));
    } else if (!fault.empty()) {
      ASSERT_TRUE(waitUntil([&] { return counts.starts == 1; }));
    }
    publisher_->cancel();
    const size_t events = progress_.size() + waits_.size();
    const int cancels = fault.starts_with("chunk") ? 1 : 0;
    ASSERT_TRUE(waitUntil([&] { return counts.cancels == cancels; }));
    // The publisher is of use again, and only what it does now is reported.
    EXPECT_EQ(progress_.size() + waits_.size(), events);
    EXPECT_FALSE(hasEnded());
    EXPECT_TRUE(keptSessions().empty());
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(movieArrived());
  }
}

TEST_F(UploadTest, TellsTheSpeedOfTheLastSeconds) {
  publishing::TransferRate rate;
  rate.add(0, 0);
  rate.add(1, 1'000'000);
  EXPECT_FALSE(rate.secondsRemaining(10'000'000));  // too early to tell
  for (int second = 2; second <= 10; ++second) rate.add(second, second * 1'000'000);
  EXPECT_DOUBLE_EQ(*rate.secondsRemaining(20'000'000), 10);
  for (int second = 11; second <= 40; ++second) rate.add(second, 10'000'000 + (second - 10) * 100'000);
  EXPECT_NEAR(*rate.bytesPerSecond(), 100'000, 1'000);  // the fast start is forgotten
  rate.add(41, 1'000'000);                              // the server has lost some
  EXPECT_FALSE(rate.bytesPerSecond());
  // What disappears in the system's buffers at once is no speed.
  publishing::TransferRate buffered;
  buffered.add(0, 0);
  buffered.add(0.1, 4'000'000);
  for (int second = 1; second <= 6; ++second) buffered.add(second, 4'000'000 + second * 100'000);
  EXPECT_NEAR(*buffered.bytesPerSecond(), 100'000, 10'000);
}

TEST_F(UploadTest, TellsTheTimeThatRemainsInStepsAPersonCanFollow) {
  publishing::RemainingTime remaining;
  EXPECT_FALSE(remaining.tell(0, std::nullopt));
  // Two minutes, told ten times in a second by something that is off by a third, up and down.
  constexpr int steps = 1200;
  int changes = 0, rises = 0;
  double last = 0, worst = 0;
  for (int i = 0; i < steps; ++i) {
    const double time = i / 10.0, truth = 120 - time;
    const double told = *remaining.tell(time, truth * (i % 7 < 3 ? 1.33 : 0.75));
    if (i > 0 && told != last) ++changes;
    if (i > 0 && told > last) ++rises;
    if (truth > 10) worst = std::max(worst, std::abs(told - truth) / truth);
    last = told;
  }
  EXPECT_LE(changes, 20);
  EXPECT_EQ(rises, 0);
  EXPECT_LT(worst, 1.0);
  EXPECT_EQ(last, 5);
  // A line that becomes slower for good is told of.
  for (int i = 0; i < 200; ++i) last = *remaining.tell(120 + i / 10.0, 300);
  EXPECT_EQ(last, 300);
  EXPECT_FALSE(remaining.tell(141, std::nullopt));
  EXPECT_EQ(remaining.tell(142, 33), 35) << "anew after a break";
}

}  // namespace
