#include "platform/Foundation/os_trace.h"
#include "tests/common/Files.h"
#include "tests/plugin/PluginTest.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using Log = std::vector<std::string>;

class PublishTest : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    present();
    press("Title");
    type("My video");
    key("Escape");
  }
  bool hasEnded() const {
    return !delegate_->log.empty() && (delegate_->log.back() == "published" || delegate_->log.back() == "failed");
  }
};

}  // namespace

TEST_F(PublishTest, SignsInUploadsAndSaysWhereTheVideoIs) {
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(delegate_->log, (Log{"displayed", "begin", "published"})) << told();
  ASSERT_EQ(server_.videos().size(), 1U);
  EXPECT_EQ(server_.videos()[0].size, 3'000'000);
  const auto metadata = server_.videos()[0].metadata;
  EXPECT_EQ(metadata["snippet"]["title"].toString(), "My video");
  EXPECT_EQ(metadata["snippet"]["categoryId"].toString(), "23");
  EXPECT_EQ(metadata["status"]["privacyStatus"].toString(), "private") << "unless the person says otherwise";
  EXPECT_TRUE(agent_->mediaURL().find(server_.videos()[0].identifier.toStdString()) != std::string::npos);
  press("Publish");
  EXPECT_EQ(server_.counts().starts, 1) << "once";
}

TEST_F(PublishTest, WaitsUntilTheMovieIsWhole) {
  agent_->setMediaIsReady(false);
  agent_->setPreparationProgress(0.25F);
  EXPECT_TRUE(told("25%")) << told();
  press("Publish");
  agent_->setPreparationProgress(0.5F);
  EXPECT_TRUE(told("50%") && told("Publishing begins when it is ready")) << told();
  EXPECT_FALSE(isReachable("Publish"));
  EXPECT_EQ(server_.counts().authorizations, 0);
  agent_->setMediaIsReady(true);
  signIn();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(delegate_->log.back(), "published");
}

TEST_F(PublishTest, NeverUploadsAMovieThatCouldNotBeMade) {
  agent_->setMediaIsReady(false);
  press("Publish");
  agent_->mediaPreparationFailed(std::make_shared<NSError>("test", 1, "The disk is full."));
  EXPECT_TRUE(told("The disk is full.")) << told();
  EXPECT_FALSE(isReachable("Publish"));
  EXPECT_TRUE(isReachable("Cancel"));
  agent_->setMediaIsReady(true);
  waitUntil([turns = 0]() mutable { return ++turns > 20; });
  EXPECT_EQ(server_.counts().authorizations + server_.counts().starts, 0);
}

TEST_F(PublishTest, TellsWhatIsWrongInTheFormAndLetsThePersonTryAgain) {
  press("Title");
  key("Control+A");
  key("Delete");
  key("Escape");
  press("Publish");
  EXPECT_TRUE(told("needs a title")) << told();
  press("Title");
  type("Again");
  key("Escape");
  server_.add("start:quota");
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return isReachable("Publish"); })) << told();
  EXPECT_TRUE(told("used up what the video service lets it do")) << told();
  EXPECT_EQ(delegate_->log, (Log{"displayed"})) << "nothing has begun";
  press("Publish");
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(delegate_->log.back(), "published");
}

TEST_F(PluginTest, SaysWhichFileIsMissingAndWhatBelongsThere) {
  std::remove(clientFile().c_str());
  present();
  EXPECT_TRUE(told(clientFile()) && told("client_id")) << told();
  writeClientFile();
}

TEST_F(PublishTest, AFailureDuringTheUploadEndsItAndIsToldInFront) {
  server_.add("chunk:status=403");
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(delegate_->log, (Log{"displayed", "begin", "failed"}));
  ASSERT_NE(delegate_->error, nullptr);
  EXPECT_EQ(told(), delegate_->error->localizedDescription());
  EXPECT_TRUE(server_.videos().empty());
  const auto traced = trace_log::messages();
  EXPECT_TRUE(std::any_of(traced.begin(), traced.end(), [&](const TraceMessage& message) {
    return message.level == TraceLevel::Error && message.text.find(told()) != std::string::npos;
  }));
}

TEST_F(PublishTest, SaysThatItTriesAgainAndDoes) {
  server_.add("chunk:close=600000");
  press("Publish");
  signIn();
  std::string waiting;
  ASSERT_TRUE(waitUntil([&] {
    if (told("The next try comes in")) waiting = told();
    return hasEnded();
  })) << told();
  EXPECT_NE(waiting, "");
  EXPECT_EQ(delegate_->log, (Log{"displayed", "begin", "published"}));
}

TEST_F(PublishTest, CancelStopsTheUpload) {
  server_.add("chunk:stall");
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return told("Uploading"); })) << told();
  // The overlay over all of the form does not keep the panel from being pressed.
  CGRect button = CGRectZero;
  for (const auto& found : theWindow().window()->reachableElements()) {
    if (found.element.label == "Cancel") button = found.element.frame;
  }
  EXPECT_GT(button.origin.y, 500);
  pressAt({button.origin.x + button.size.width / 2, button.origin.y + button.size.height / 2});
  EXPECT_EQ(delegate_->log, (Log{"displayed", "begin", "cancel"}));
  EXPECT_TRUE(waitUntil([&] { return server_.openSessions() == 0; })) << "the service is told";
  EXPECT_TRUE(server_.videos().empty());
}

TEST_F(PublishTest, EscapeAsksBeforeItStopsTheUpload) {
  server_.add("chunk:stall");
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return told("Uploading"); })) << told();
  for (const char* answer : {"Escape", "Stop"}) {
    SCOPED_TRACE(answer);
    key("Escape");
    ASSERT_TRUE(waitUntil([&] { return isReachable("Stop") && isReachable("Continue"); }));
    EXPECT_EQ(element("Stop the upload?").role, UIAccessibilityRole::StaticText);
    EXPECT_EQ(delegate_->log.back(), "begin");
    if (std::string(answer) == "Stop") {
      press(answer);
    } else {
      key(answer);
      ASSERT_TRUE(waitUntil([&] { return isReachable("Cancel"); }));
      EXPECT_EQ(delegate_->log.back(), "begin") << "goes on";
      EXPECT_EQ(server_.openSessions(), 1);
    }
  }
  ASSERT_TRUE(waitUntil([&] { return delegate_->log.back() == "cancel"; }));
  EXPECT_TRUE(waitUntil([&] { return server_.openSessions() == 0; }));
}

TEST_F(PublishTest, TheQuestionGoesWhenTheUploadEnds) {
  server_.add("chunk:close=600000");
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return told("The next try comes in"); })) << told();
  key("Escape");
  ASSERT_TRUE(waitUntil([&] { return isReachable("Stop"); }));
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(delegate_->log, (Log{"displayed", "begin", "published"}));
  EXPECT_EQ(agent_->navigationController()->presentedViewController(), nullptr) << "the result wants its place";
}

// The window closes in the middle of it; the next time the program makes the movie anew.
TEST_F(PublishTest, GoesOnAfterAnEndWithWhatThePersonSaid) {
  press("Unlisted");
  press("Tags");
  type("one, two");
  key("Escape");
  server_.add("chunk:stall");
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return told("Uploading") && server_.counts().chunks > 0; })) << told();
  const std::filesystem::path uploads = std::string(std::getenv("XDG_STATE_HOME")) + "/zevanti/uploads";
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(uploads) && !std::filesystem::is_empty(uploads); }));
  const auto content = contentOf(movie_);
  closeAndStartAgain();
  std::filesystem::remove(movie_);
  movie_ += ".again.mp4";
  std::ofstream(movie_, std::ios::binary) << content;
  EXPECT_EQ(server_.openSessions(), 1);

  agent_->setMediaPath(movie_);
  agent_->setMediaIsReady(false);
  present();
  agent_->setMediaIsReady(true);
  ASSERT_TRUE(waitUntil([&] { return told("go on where it stopped"); })) << told();
  EXPECT_EQ(element("Title").value, "My video");
  EXPECT_EQ(element("Tags").value, "one, two");
  EXPECT_TRUE(element("Unlisted").checked);
  press("Publish");
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(delegate_->log.back(), "published");
  EXPECT_EQ(server_.counts().starts, 1);
  ASSERT_EQ(server_.videos().size(), 1U);
  EXPECT_EQ(server_.videos()[0].metadata["status"]["privacyStatus"].toString(), "unlisted");
}

TEST_F(PublishTest, AsksForAnotherAccount) {
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  closeAndStartAgain();
  present();
  press("Title");
  type("Another");
  key("Escape");
  while (theWindow().window()->focusedLabel() != "Use Another Account") key("Tab");
  key("Space");
  EXPECT_TRUE(told("asked to sign in")) << told();
  press("Publish");
  signIn();
  ASSERT_TRUE(waitUntil([&] { return hasEnded(); })) << told();
  EXPECT_EQ(server_.videos().size(), 2U);
}
