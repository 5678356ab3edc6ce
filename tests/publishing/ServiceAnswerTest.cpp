#include "plugins/PublishToYouTube/upload/PublishingError.h"
#include "plugins/PublishToYouTube/upload/RetryDelays.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"
#include "plugins/PublishToYouTube/upload/ServiceAnswer.h"
#include "plugins/PublishToYouTube/upload/VideoDetails.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

#include <gtest/gtest.h>
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

using namespace publishing;

namespace {

HttpTransfer::Answer answerWith(int status, const std::string& body, const std::string& name = "",
                                const std::string& value = "") {
  HttpTransfer::Answer answer;
  answer.status = status;
  answer.body = body;
  if (!name.empty()) answer.headers[name] = value;
  return answer;
}

std::string failureBody(const std::string& reason, const std::string& message) {
  return R"({"error": {"message": ")" + message + R"(", "errors": [{"reason": ")" + reason + "\"}]}}";
}

TEST(ServiceAnswerTest, CountsReceivedBytes) {
  const auto received = [](const std::string& range) {
    return receivedBytes(answerWith(308, "", "range", range), 1000);
  };
  EXPECT_EQ(receivedBytes(answerWith(308, ""), 1000), 0);
  EXPECT_EQ(received("bytes=0-0"), 1);
  EXPECT_EQ(received("bytes=0-999"), 1000);
  for (const char* wrong : {"", "0-999", "bytes=0-1000", "bytes=1-999", "bytes=0-", "bytes=0--5", "bytes=0-12x",
                            "bytes=0-1, 5-9", "bytes=0-99999999999999999999"})
    EXPECT_FALSE(received(wrong)) << wrong;
}

TEST(ServiceAnswerTest, ReadsWhenToTryAgain) {
  const auto seconds = [](const std::string& text) { return retryAfter(answerWith(503, "", "retry-after", text)); };
  EXPECT_EQ(seconds("120"), 120.0);
  const QString date = QLocale::c().toString(QDateTime::currentDateTimeUtc().addSecs(90), "ddd, dd MMM yyyy hh:mm:ss");
  const auto untilDate = seconds((date + " GMT").toStdString());
  ASSERT_TRUE(untilDate);
  EXPECT_NEAR(*untilDate, 90, 5);
  EXPECT_EQ(seconds("Sun, 06 Nov 1994 08:49:37 GMT"), 0.0);
  EXPECT_FALSE(seconds("-5"));
  EXPECT_FALSE(seconds("soon"));
  // A server may ask for much, but not for ever.
  RetryDelays delays({1, 64, 3, 600});
  EXPECT_EQ(delays.next(1e9), 600.0);
}

TEST(ServiceAnswerTest, TakesOnlyPlainIdentifiers) {
  EXPECT_EQ(videoIdentifier(answerWith(200, R"({"id": "aB3-_x"})")), "aB3-_x");
  for (const char* wrong : {"", "[]", R"({"id": ""})", R"({"id": 5})", R"({"id": "a/../b"})", R"({"id": "a b"})"})
    EXPECT_FALSE(videoIdentifier(answerWith(200, wrong))) << wrong;
}

TEST(ServiceAnswerTest, TellsRefusalsApart) {
  EXPECT_TRUE(isTemporary(answerWith(403, failureBody("rateLimitExceeded", "Slow down"))));
  EXPECT_TRUE(isTemporary(answerWith(500, "")));
  EXPECT_FALSE(isTemporary(answerWith(403, failureBody("quotaExceeded", ""))));
  const auto text = [](int status, const std::string& body) {
    return refusal(answerWith(status, body))->localizedDescription();
  };
  struct Refusal {
    int status;
    std::string body, says;
  };
  const std::string time = nextAllowance();
  EXPECT_EQ(std::count(time.begin(), time.end(), ':'), 1) << time << " has seconds";
  for (const Refusal& each : {Refusal{403, failureBody("quotaExceeded", ""), time},
                              {400, failureBody("uploadLimitExceeded", ""), "24 hours"},
                              {401, failureBody("youtubeSignupRequired", ""), "channel"},
                              {418, "<html>", "418"}})
    EXPECT_NE(text(each.status, each.body).find(each.says), std::string::npos) << text(each.status, each.body);
  // The service's own words reach the person without markup, however long they are.
  const std::string said =
      text(400, failureBody("invalidTitle", "The <a href='x'>title</a>\\u0000\\n is wrong" + std::string(5000, '!')));
  EXPECT_NE(said.find("The title is wrong!!"), std::string::npos) << said;
  EXPECT_LT(said.size(), 500u);
}

TEST(ServiceAddressesTest, OnlyAServerOnThisComputerStandsIn) {
  NSErrorPtr error;
  for (const char* good : {"http://127.0.0.1:8080", "http://localhost:1/", "http://[::1]:99", "https://127.0.0.1"})
    EXPECT_TRUE(ServiceAddresses::loopback(good, &error)) << good;
  for (const char* bad :
       {"", "127.0.0.1:80", "http://example.org", "http://127.0.0.1.example.org", "http://localhost.example:80",
        "http://127.0.0.1@example.org/", "http://example.org#127.0.0.1", "http://127.0.0.1/path", "ftp://127.0.0.1",
        "file://127.0.0.1", "http://user@127.0.0.1", "http://2130706433.example", "http://10.0.0.1",
        "http://0.0.0.0"}) {
    error.reset();
    EXPECT_FALSE(ServiceAddresses::loopback(bad, &error)) << bad;
    EXPECT_TRUE(isPublishingError(error, PublishingErrorCode::WrongServerAddress)) << bad;
  }
  EXPECT_NE(originOf("https://a.example"), originOf("http://a.example"));
  EXPECT_EQ(originOf("https://A.example/x?y"), originOf("https://a.example:443"));

  setenv("ZEVANTI_PUBLISHING_SERVER", "http://127.0.0.1:77", 1);
  EXPECT_EQ(ServiceAddresses::configured(&error)->token, "http://127.0.0.1:77/token");
  setenv("ZEVANTI_PUBLISHING_SERVER", "http://example.org", 1);
  EXPECT_FALSE(ServiceAddresses::configured(&error));
  unsetenv("ZEVANTI_PUBLISHING_SERVER");
  const auto service = ServiceAddresses::configured(&error);
  for (const std::string& address : {service->authorization, service->token, service->upload, service->video}) {
    EXPECT_TRUE(address.starts_with("https://")) << address;
    EXPECT_FALSE(isLoopback(address));
  }
}

TEST(VideoDetailsTest, NamesWhatTheServiceWouldRefuse) {
  using Tags = std::vector<std::string>;
  const auto isTaken = [](const std::string& title, const std::string& description, const Tags& tags) {
    VideoDetails details;
    details.title = title;
    details.description = description;
    details.tags = tags;
    return details.check() == nullptr;
  };
  const std::string letter = "日";
  std::string longest;
  for (int i = 0; i < 100; ++i) longest += letter;
  EXPECT_TRUE(isTaken(longest, std::string(5000, 'x'), {std::string(249, 'x'), std::string(250, 'y')}));
  EXPECT_FALSE(isTaken(longest + letter, "", {}));
  EXPECT_FALSE(isTaken("  \n", "", {}));
  EXPECT_FALSE(isTaken("a > b", "", {}));
  EXPECT_FALSE(isTaken("A title", std::string(5001, 'x'), {}));
  EXPECT_FALSE(isTaken("A title", "", {std::string(249, 'x'), std::string(249, 'y') + " y"})) << "in quotation marks";

  EXPECT_EQ(publishing::tagsInLine(""), Tags{});
  EXPECT_EQ(publishing::tagsInLine(" rain ,, two words,\t, Rain, STRASSE,straße,日本,日本"),
            (Tags{"rain", "two words", "STRASSE", "straße", "日本"}))
      << "each once";
}

}  // namespace
