#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "platform/UIKit/UIPasteboard.h"
#include "tests/common/Files.h"
#include "tests/plugin/PluginTest.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

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
  /// The question before an upload is stopped is there, in the same words whichever way it came.
  void expectQuestion() {
    ASSERT_TRUE(waitUntil([&] { return isReachable("Keep for Later"); }));
    EXPECT_TRUE(isReachable("Discard") && isReachable("Continue Uploading"));
    EXPECT_EQ(element("Stop the upload?").role, UIAccessibilityRole::StaticText);
    EXPECT_EQ(delegate_->log.back(), "begin");
  }
  /// Presses the panel's button, the lower one of two with this name.
  void pressCancelOfUpload() {
    EXPECT_GT(elements("Cancel").back().frame.origin.y, 500);
    press(elements("Cancel").back());
  }
  void clearTitle() {
    press("Title");
    pressKeys({"Control+A", "Delete"});
  }
  /// Waits until the panel says it.
  testing::AssertionResult isTold(const std::string& what) {
    if (waitUntil([&] { return told(what); })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "says: " << told();
  }
  static std::filesystem::path uploads() { return std::string(std::getenv("XDG_STATE_HOME")) + "/zevanti/uploads"; }
  static bool isKept() { return std::filesystem::exists(uploads()) && !std::filesystem::is_empty(uploads()); }
  void startStalledUpload() {
    server_.add("chunk:stall");
    publishAndSignIn();
    ASSERT_TRUE(waitUntil([&] { return told("Uploading") && server_.counts().chunks > 0; })) << told();
  }
  /// The window closes in the middle of an upload; the next time the program makes the movie anew.
  void interruptAndStartAgain() {
    ASSERT_NO_FATAL_FAILURE(startStalledUpload());
    ASSERT_TRUE(waitUntil([&] { return isKept(); }));
    const auto content = contentOf(movie_);
    closeAndStartAgain();
    std::filesystem::remove(movie_);
    movie_ += ".again.mp4";
    std::ofstream(movie_, std::ios::binary) << content;
    EXPECT_EQ(server_.openSessions(), 1);
    agent_->setMediaPath(movie_);
    agent_->setMediaIsReady(false);
    present();
  }
  void publishAndSignIn() {
    press("Publish");
    ASSERT_NO_FATAL_FAILURE(signIn());
  }
  /// Waits until publishing has ended, which the delegate was told after all this.
  void expectEnd(const Log& log) {
    const auto hasEnded = [&] {
      return !delegate_->log.empty() && (delegate_->log.back() == "published" || delegate_->log.back() == "failed");
    };
    ASSERT_TRUE(waitUntil(hasEnded)) << told();
    EXPECT_EQ(delegate_->log, log) << told();
  }
};

}  // namespace

TEST_F(PublishTest, SignsInUploadsAndSaysWhereTheVideoIs) {
  press("Description");
  type("still typing");
  press("Publish");
  EXPECT_EQ(UIResponder::firstResponder(), nullptr) << "one press publishes wherever the cursor is";
  ASSERT_TRUE(waitUntil([&] { return isReachable("Copy Address"); })) << told();
  press("Copy Address");
  EXPECT_TRUE(isReachable("Copied"));
  EXPECT_TRUE(UIPasteboard::generalPasteboard().string().find("/authorize?") != std::string::npos);
  signIn();
  ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "done", "begin", "published"}));
  ASSERT_EQ(server_.videos().size(), 1U);
  EXPECT_EQ(server_.videos()[0].size, 3'000'000);
  const auto metadata = server_.videos()[0].metadata;
  EXPECT_EQ(metadata["snippet"]["title"].toString(), "My video");
  EXPECT_EQ(metadata["snippet"]["description"].toString(), "still typing");
  EXPECT_EQ(metadata["snippet"]["categoryId"].toString(), "23");
  EXPECT_EQ(metadata["status"]["privacyStatus"].toString(), "private") << "unless the person says otherwise";
  EXPECT_TRUE(agent_->mediaURL().find(server_.videos()[0].identifier.toStdString()) != std::string::npos);
  EXPECT_EQ(UIPasteboard::generalPasteboard().string(), agent_->mediaURL()) << "to be sent on";
  EXPECT_TRUE(told("on the clipboard")) << told();
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
  ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "begin", "published"}));
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
  clearTitle();
  press("Publish");
  EXPECT_TRUE(told("needs a title")) << told();
  press("Title");
  type("A");
  EXPECT_EQ(told(), "") << "it is no longer so";
  type("<");
  EXPECT_EQ(told(), "") << "who types is not interrupted";
  key("Escape");
  press("Publish");
  EXPECT_TRUE(told("may not contain")) << told();
  press("Description");
  type("b");
  EXPECT_TRUE(told("may not contain")) << "this does not mend it: " << told();
  clearTitle();
  EXPECT_TRUE(told("needs a title")) << "another fault in the place of the first: " << told();
  type("Again");
  EXPECT_EQ(told(), "");
  key("Escape");
  server_.add("start:quota");
  delegate_->log.clear();
  publishAndSignIn();
  ASSERT_TRUE(waitUntil([&] { return isReachable("Publish"); })) << told();
  EXPECT_TRUE(told("used up what the video service lets it do")) << told();
  EXPECT_EQ(delegate_->log, Log()) << "nothing has begun";
  press("Publish");
  ASSERT_NO_FATAL_FAILURE(expectEnd({"begin", "published"}));
}

TEST_F(PluginTest, SaysWhichFileIsMissingAndWhatBelongsThere) {
  std::remove(clientFile().c_str());
  present();
  EXPECT_TRUE(told("\n" + clientFile() + "\n") && told("\n{ \"client_id\"")) << told();
  press("Title");
  type("a");
  EXPECT_TRUE(told("is missing")) << told();
  writeClientFile();
  type("b");
  EXPECT_EQ(told(), "") << "it is there now";
}

TEST_F(PublishTest, AnUploadThatTheServiceRefusesIsToldAndDoesNotCostTheWords) {
  ASSERT_NO_FATAL_FAILURE(interruptAndStartAgain());
  agent_->setMediaIsReady(true);
  ASSERT_TRUE(waitUntil([&] { return element("Title").value == "My video"; })) << "from the upload that is kept";
  // Once with the earlier words, once with the person's own.
  for (const char* typed : {"", "!"}) {
    SCOPED_TRACE(typed);
    server_.add("chunk:status=400");
    press("Title");
    type(typed);
    key("Escape");
    const std::string title = element("Title").value;
    press("Publish");
    ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "begin", "failed"}));
    ASSERT_NE(delegate_->error, nullptr);
    EXPECT_EQ(told(), delegate_->error->localizedDescription());
    const auto traced = trace_log::messages();
    EXPECT_TRUE(std::any_of(traced.begin(), traced.end(), [&](const TraceMessage& message) {
      return message.level == TraceLevel::Error && message.text.find(told()) != std::string::npos;
    }));
    EXPECT_FALSE(isKept()) << "it can't go on";
    EXPECT_TRUE(server_.videos().empty());
    closeAndStartAgain();
    present();
    EXPECT_EQ(element("Title").value, title);
  }
}

TEST_F(PublishTest, AsksBeforeItStopsTheUploadWhicheverWayItIsCancelled) {
  ASSERT_NO_FATAL_FAILURE(startStalledUpload());
  int closed = 0;
  const std::vector<std::function<void()>> ways{
      [&] { key("Escape"); }, [&] { pressCancelOfUpload(); },  // through the overlay over all of the form
      [&] { EXPECT_FALSE(agent_->navigationController()->windowShouldClose([&] { ++closed; })); }};
  for (const auto& way : ways) {
    for (const char* goOn : {"Escape", "Return"}) {
      SCOPED_TRACE(goOn);
      way();
      ASSERT_NO_FATAL_FAILURE(expectQuestion());
      key(goOn);
      ASSERT_TRUE(waitUntil([&] { return isReachable("Cancel"); }));  // the question may still be fading away
      EXPECT_EQ(delegate_->log.back(), "begin") << "goes on";
      EXPECT_EQ(server_.openSessions(), 1);
    }
  }
  EXPECT_EQ(closed, 0);
  pressCancelOfUpload();
  ASSERT_NO_FATAL_FAILURE(expectQuestion());
  EXPECT_FALSE(agent_->navigationController()->windowShouldClose([&] { ++closed; })) << "the question is there";
  press("Discard");
  ASSERT_TRUE(waitUntil([&] { return delegate_->log.back() == "cancel"; }));
  EXPECT_EQ(closed, 1);
  EXPECT_TRUE(waitUntil([&] { return server_.openSessions() == 0; })) << "the service is told";
  EXPECT_FALSE(isKept());
  EXPECT_TRUE(server_.videos().empty());
  closeAndStartAgain();
  present();
  EXPECT_EQ(element("Title").value, "My video") << "the words need not be typed again";
}

TEST_F(PublishTest, TriesAgainAndTheQuestionGoesWhenTheUploadEnds) {
  server_.add("chunk:close=600000");
  publishAndSignIn();
  ASSERT_TRUE(isTold("The next try comes in"));
  key("Escape");
  ASSERT_NO_FATAL_FAILURE(expectQuestion());
  ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "begin", "published"}));
  EXPECT_EQ(agent_->navigationController()->presentedViewController(), nullptr) << "the result wants its place";
}

TEST_F(PublishTest, GoesOnAfterAnEndWithWhatThePersonSaid) {
  press("Unlisted");
  press("Tags");
  type("one, two");
  key("Escape");
  ASSERT_NO_FATAL_FAILURE(interruptAndStartAgain());
  agent_->setMediaIsReady(true);
  ASSERT_TRUE(isTold("was interrupted. It goes on when you tap Publish"));
  EXPECT_EQ(element("Title").value, "My video");
  EXPECT_EQ(element("Tags").value, "one, two");
  EXPECT_TRUE(element("Unlisted").checked);
  EXPECT_TRUE(agent_->navigationController()->windowShouldClose([] {})) << "nobody has said anything here";
  // Other words would begin it anew, and that is told while they are typed.
  press("Title");
  type("!");
  EXPECT_TRUE(told("starts again from the beginning")) << told();
  press("Public");
  press("Use the Earlier Details");
  EXPECT_TRUE(told("It goes on")) << told();
  EXPECT_TRUE(element("Unlisted").checked);
  delegate_->log.clear();
  press("Publish");
  ASSERT_NO_FATAL_FAILURE(expectEnd({"begin", "published"}));
  EXPECT_EQ(server_.counts().starts, 1);
  ASSERT_EQ(server_.videos().size(), 1U);
  EXPECT_EQ(server_.videos()[0].metadata["status"]["privacyStatus"].toString(), "unlisted");
}

TEST_F(PublishTest, SaysThatAnotherWindowPublishesTheRecording) {
  ASSERT_NO_FATAL_FAILURE(interruptAndStartAgain());
  const std::string name = std::filesystem::directory_iterator(uploads())->path().stem();
  const auto folder = uploads().parent_path() / "uploading";
  std::filesystem::create_directories(folder);
  int lock = open((folder / (name + ".lock")).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  struct flock whole {};
  whole.l_type = F_WRLCK;
  ASSERT_EQ(fcntl(lock, F_OFD_SETLK, &whole), 0);
  agent_->setMediaIsReady(true);
  ASSERT_TRUE(isTold("in another window"));
  EXPECT_EQ(element("Title").value, "") << "nothing is offered";
  press("Title");
  type("Another title");
  key("Escape");
  press("Publish");
  ASSERT_TRUE(waitUntil([&] { return isReachable("Publish"); }));
  EXPECT_TRUE(told("in another window")) << told();
  EXPECT_EQ(delegate_->log, (Log{"displayed"})) << "nothing has begun";
  EXPECT_TRUE(isKept());
  close(lock);
  press("Publish");
  ASSERT_TRUE(isTold("starts again from the beginning")) << "it has ended since";
  EXPECT_EQ(server_.counts().starts, 1);
}

TEST_F(PublishTest, NeverBeginsAnewWithoutAWord) {
  ASSERT_NO_FATAL_FAILURE(interruptAndStartAgain());
  // Published before it is known that something was interrupted.
  press("Title");
  type("Another title");
  press("Publish");
  EXPECT_TRUE(told("Publishing begins when it is ready")) << told();
  agent_->setMediaIsReady(true);
  ASSERT_TRUE(isTold("starts again from the beginning"));
  EXPECT_EQ(element("Title").value, "Another title");
  EXPECT_EQ(server_.counts().starts, 1);
  // Given up, the upload stays for another time.
  press("Cancel");
  EXPECT_TRUE(isKept());
  closeAndStartAgain();
  present();
  ASSERT_TRUE(isTold("starts again from the beginning")) << "the draft is another";
  press("Publish");
  ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "begin", "published"}));
  EXPECT_EQ(server_.counts().starts, 2);
  ASSERT_EQ(server_.videos().size(), 1U);
  EXPECT_EQ(server_.videos()[0].metadata["snippet"]["title"].toString(), "Another title");
}

TEST_F(PublishTest, AsksForAnotherAccount) {
  const auto hasAccount = [&] { return isReachable("Use Another Account"); };
  EXPECT_TRUE(dispatch_main::waitForBackgroundWork(20));
  EXPECT_FALSE(hasAccount()) << "there is none yet";
  publishAndSignIn();
  ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "begin", "published"}));
  closeAndStartAgain();
  present();
  ASSERT_TRUE(waitUntil(hasAccount));
  press("Title");
  type("Another");
  key("Escape");
  while (theWindow().window()->focusedLabel() != "Use Another Account") key("Tab");
  key("Space");
  EXPECT_TRUE(told("asked to sign in")) << told();
  EXPECT_FALSE(hasAccount());
  publishAndSignIn();
  ASSERT_NO_FATAL_FAILURE(expectEnd({"displayed", "begin", "published"}));
  EXPECT_EQ(server_.videos().size(), 2U);
}
