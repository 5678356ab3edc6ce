#include "platform/Dispatch/dispatch.h"
#include "tests/publishing/PublishingTest.h"

#include <QtCore/QUrl>
#include <QtCore/QUrlQuery>

using publishing::PublishingErrorCode;

namespace {

class SignInTest : public PublishingTest {
 protected:
  bool browserShows(const std::string& text) const {
    return !shownPages_.empty() && shownPages_.back().find(text) != std::string::npos;
  }
};

// The server checks the challenge against the verifier, the redirect, the client and its secret.
TEST_F(SignInTest, SignsInOnceInTheBrowserAndKeepsThat) {
  umask(0);
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_EQ(signedIn_, 1);
  EXPECT_TRUE(waitUntil([this] { return browserShows("You can close this page"); }));
  ASSERT_EQ(pages_.size(), 1u);
  const QUrlQuery page(QUrl::fromEncoded(QByteArray::fromStdString(pages_[0])));
  EXPECT_EQ(page.queryItemValue("client_id", QUrl::FullyDecoded), "a client/of+ours.example");
  EXPECT_EQ(page.queryItemValue("state").size(), 43);
  EXPECT_FALSE(page.hasQueryItem("client_secret"));

  // The next time nobody is asked, until somebody signs out.
  for (const size_t asked : {0u, 1u}) {
    ASSERT_NO_FATAL_FAILURE(publishAnew());
    EXPECT_TRUE(mediaURL_);
    EXPECT_EQ(pages_.size(), asked);
    ASSERT_TRUE(dispatch_main::waitForBackgroundWork(20));
    EXPECT_EQ(modeOf(tokenFile()), 0600u);
    EXPECT_EQ(modeOf(path("state")), 0700u);
    publisher_->signOut();
  }
  umask(022);
}

TEST_F(SignInTest, WorksWithoutASecret) {
  // As the service offers it for download.
  writeFile(options_.clientFile, R"({"installed": {"client_id": "ours", "redirect_uris": ["http://localhost"]}})");
  ASSERT_NO_FATAL_FAILURE(publish());
  EXPECT_TRUE(movieArrived());
}

TEST_F(SignInTest, AnswersThatDoNotBelongToItAreNotUsed) {
  server_->add("authorize:wrong-state");
  beginPublishing();
  ASSERT_TRUE(waitUntil([this] { return browserShows("This sign-in is not known"); }));
  EXPECT_FALSE(hasEnded());
  EXPECT_EQ(server_->counts().codes, 0);
  // The person's own answer is still waited for.
  browse(pages_.at(0));
  ASSERT_TRUE(waitUntil([this] { return hasEnded(); }));
  EXPECT_TRUE(movieArrived());
}

TEST_F(SignInTest, TellsWhyNobodyIsSignedIn) {
  struct Case {
    std::string fault;
    PublishingErrorCode code;
    std::string page;
  };
  const std::vector<Case> cases{
      {"authorize:deny", PublishingErrorCode::SignInRefused, "You are not signed in"},
      {"authorize:no-code", PublishingErrorCode::WrongAnswer, "Something is missing"},
      {"authorize:stall", PublishingErrorCode::SignInAbandoned, ""},
      {"token:invalid-grant", PublishingErrorCode::SignInRefused, "You can close this page"},
      {"token:not-json", PublishingErrorCode::WrongAnswer, "You can close this page"},
      {"start:status=401*2", PublishingErrorCode::SignInRefused, "You can close this page"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.fault);
    options_.signInSeconds = each.fault == "authorize:stall" ? 0.2 : 60;
    startServer();
    server_->add(each.fault);
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(failedWith(each.code));
    EXPECT_TRUE(server_->videos().empty());
    EXPECT_TRUE(waitUntil([&] { return each.page.empty() || browserShows(each.page); }));
    // Nothing is left that stands in the way of another try.
    ASSERT_NO_FATAL_FAILURE(publishAnew());
    EXPECT_TRUE(movieArrived());
  }
}

TEST_F(SignInTest, CanBeCancelledWhileTheBrowserIsOpen) {
  server_->add("authorize:stall");
  beginPublishing();
  ASSERT_TRUE(waitUntil([this] { return pages_.size() == 1; }));
  publisher_->cancel();
  browse(pages_[0]);  // too late
  ASSERT_TRUE(waitUntil([this] { return !shownPages_.empty(); }));
  EXPECT_EQ(server_->counts().codes, 0);
  EXPECT_FALSE(hasEnded());
}

TEST_F(SignInTest, RenewsTokensBeforeTheyEndAndWhenTheyAreRefused) {
  serverOptions_.tokenSeconds = 30;  // too short to begin anything with
  startServer();
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_TRUE(movieArrived());
  EXPECT_GE(server_->counts().refreshes, 4);
  EXPECT_EQ(server_->counts().refused, 0);

  serverOptions_.tokenSeconds = 3600;
  for (const char* place : {"start:expire", "chunk:expire"}) {
    SCOPED_TRACE(place);
    startServer();
    ASSERT_NO_FATAL_FAILURE(publish());
    makePublisher();
    server_->add(place);
    server_->add("token:status=503");  // and that is not so easy
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(mediaURL_);
    EXPECT_TRUE(pages_.empty());
    EXPECT_EQ(waits_.size(), 1u);
    EXPECT_EQ(server_->counts().refreshes, 1);
  }
}

TEST_F(SignInTest, AsksAgainWhenTheSignInHasEnded) {
  for (const bool grantsRefresh : {true, false}) {
    SCOPED_TRACE(grantsRefresh);
    serverOptions_.grantsRefresh = grantsRefresh;
    startServer();
    ASSERT_NO_FATAL_FAILURE(publish());
    makePublisher();
    server_->expireTokens();
    if (grantsRefresh) server_->add("token:invalid-grant");
    ASSERT_NO_FATAL_FAILURE(publish());
    EXPECT_TRUE(mediaURL_);
    EXPECT_EQ(pages_.size(), 1u);
  }
}

// It takes the token for everything but what counts.
TEST_F(SignInTest, GivesUpWhereEveryChunkIsRefused) {
  options_.delays = {0.2, 0.4, 8, 600};
  ASSERT_NO_FATAL_FAILURE(publishAnew());
  makePublisher();
  server_->add("chunk:status=401*999");
  const int chunks = server_->counts().chunks;
  ASSERT_NO_FATAL_FAILURE(publish());
  EXPECT_TRUE(failedWith(PublishingErrorCode::SignInRefused));
  EXPECT_EQ(server_->counts().chunks, chunks + 3);
  EXPECT_EQ(pages_.size(), 1u) << "after the renewed token was refused as well";
  EXPECT_EQ(waits_.size(), 1u) << "the service is given time";
}

TEST_F(SignInTest, NamesTheFileWithTheClientIdentifier) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "is missing"},
      {"{\n\"client_id\": \n", "not valid JSON"},
      {"[]", "not valid JSON"},
      {"{}", "no client_id"},
      {R"({"client_id": 7})", "no client_id"},
      {R"({"web": {"client_id": "site"}})", "for a web site"},
  };
  for (const auto& [content, says] : cases) {
    SCOPED_TRACE(content);
    if (content.empty())
      std::remove(options_.clientFile.c_str());
    else
      writeFile(options_.clientFile, content);
    ASSERT_NO_FATAL_FAILURE(publishAnew());
    EXPECT_TRUE(failedWith(PublishingErrorCode::NoClient, says));
    EXPECT_TRUE(failedWith(PublishingErrorCode::NoClient, options_.clientFile));
  }
}

}  // namespace
