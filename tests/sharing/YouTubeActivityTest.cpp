#include "sharing/ZVYouTubeActivity.h"

#include "platform/AVFoundation/AVAsset.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSValueObjects.h"
#include "platform/Foundation/os_trace.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UINavigationController.h"
#include "sharing/ZVPublishingAgentClass.h"
#include "support/NSFileManagerZVExtensions.h"
#include "tests/common/EventLoop.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/golden/GoldenPicture.h"
#include "tests/sharing/SharingTest.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

namespace {

const std::string plugin = "/System/Library/PublishingBundles/PublishToYouTube.bundle/PublishToYouTube";

std::vector<std::string> leftovers() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(ZVScreenRecorderTempDirectory)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

bool wasTraced(const std::string& text) {
  const auto messages = trace_log::messages();
  return std::any_of(messages.begin(), messages.end(), [&](const TraceMessage& m) { return m.text == text; });
}

/// Stands where the plug-in's agent does and writes down what it is told.
class RecordingAgent : public NSObject, public ZVPublishingAgent {
 public:
  std::vector<std::string> log;
  Strong<UINavigationController> navigation =
      UINavigationController::initWithRootViewController(std::make_shared<UIViewController>());

  void setDelegate(const Strong<ZVPublishingAgentDelegate>&) override {}
  void setMediaPath(const std::string&) override {}
  Strong<UINavigationController> navigationController() override { return navigation; }
  std::string mediaURL() override { return ""; }
  void setMediaIsReady(bool ready) override { log.push_back(ready ? "ready" : "not ready"); }
  void setPreparationProgress(float) override {}
  void mediaPreparationFailed(const NSErrorPtr& error) override {
    log.push_back(error ? "failed" : "failed without a reason");
  }
};

class YouTubeActivity : public testing::Test {
 protected:
  void SetUp() override {
    trace_log::clear();
    begin();
  }
  /// As for the first time: nobody has published anything yet.
  void begin() {
    finished.reset();
    activity = std::make_shared<ZVYouTubeActivity>();
    activity->setFinishHandler([this](bool completed) { finished = completed; });
    agent = std::make_shared<RecordingAgent>();
    theWindow().dismiss();
    root = std::make_shared<UIViewController>();
    theWindow().present(root);
    ASSERT_TRUE(waitUntil([] { return theWindow().quickWindow().isExposed(); }));
  }
  void TearDown() override {
    theWindow().dismiss();
    activity = nullptr;
    EXPECT_TRUE(waitUntil([] { return leftovers().empty(); })) << leftovers().front() << " is left";
  }
  void prepare(const std::string& movie) {
    activity->prepareWithActivityItems(
        {"Recorded in Rainfall.", "https://rain.example/fall", NSURL::fileURLWithPath(movie)});
  }
  void present(const Strong<UIViewController>& form) {
    bool isShown = false;
    root->presentViewController_animated_completion(form, false, [&] { isShown = true; });
    ASSERT_TRUE(waitUntil([&] { return isShown; }));
  }
  bool isThere() const { return std::filesystem::exists(activity->movieURL().path()); }
  /// Publishing with an agent of the test's own, as far as its first message.
  void beginPublishing() {
    activity->setMovieURL(activity->tempFileURL());
    std::ofstream(activity->movieURL().path()) << "a movie";
    activity->setPublishingAgent(agent);
    ASSERT_NO_FATAL_FAILURE(present(agent->navigation));
    activity->publishingAgentDidBeginPublishing(*agent);
  }

  Strong<UIViewController> root;
  Strong<ZVYouTubeActivity> activity;
  Strong<RecordingAgent> agent;
  std::optional<bool> finished;
};

}  // namespace

TEST_F(YouTubeActivity, FillsInTheFormEveryTimeAndCancelLeavesNothing) {
  EXPECT_TRUE(activity->canPerformWithActivityItems({})) << "the plug-in is there";
  for (int time = 0; time < 3; ++time) {
    SCOPED_TRACE(time);
    ASSERT_NO_FATAL_FAILURE(begin());
    prepare(recordings::path("basic.mp4"));
    const auto navigation = std::dynamic_pointer_cast<UINavigationController>(activity->activityViewController());
    ASSERT_NE(navigation, nullptr);
    const auto form = navigation->viewControllers().front();
    ASSERT_NO_FATAL_FAILURE(present(navigation));
    std::map<std::string, UIWindow::Reachable> parts;
    for (const auto& found : theWindow().window()->reachableElements()) parts[found.element.label] = found;
    EXPECT_EQ(parts["Description"].element.value, "Recorded in Rainfall. https://rain.example/fall");
    EXPECT_EQ(parts["Category"].element.value, "Gaming") << "the exchange of the form's routine stays";
    ASSERT_NE(parts["Title"].view, nullptr);
    parts["Title"].view->becomeFirstResponder();
    activity->publishingAgentDoneButtonClicked(*activity->publishingAgent());
    EXPECT_EQ(UIResponder::firstResponder(), nullptr);
    EXPECT_EQ(finished, std::nullopt);

    form->performSelector("cancel");
    EXPECT_EQ(finished, false);
    bool isGone = false;
    root->dismissViewControllerAnimated_completion(false, [&] { isGone = true; });
    ASSERT_TRUE(waitUntil([&] { return isGone; }));
    EXPECT_TRUE(waitUntil([] { return leftovers().empty(); }));
  }
}

TEST_F(YouTubeActivity, WithoutTheCategoryForGamesTheFormKeepsItsOwn) {
  const auto form = ZVMakePublishingAgent()->navigationController()->viewControllers().front();
  form->view();
  const auto variable = [&](const char* name) { return class_getInstanceVariable(form->class_(), name); };
  object_setIvar(form.get(), variable("_defaultCategory"), NSString::stringWithString("its own"));
  const auto other = NSDictionary::dictionaryWithObjects(
      {{categoryIDKey, NSString::stringWithString("200")}, {categoryLabelKey, NSString::stringWithString("Other")}});
  for (const auto& categories : {NSArray::arrayWithObjects({}), NSArray::arrayWithObjects({other})}) {
    object_setIvar(form.get(), variable("_categories"), categories);
    ZVYouTubeActivity::_selectComedyPickerRow(*form);
    const auto category = std::dynamic_pointer_cast<NSString>(object_getIvar(form.get(), variable("_defaultCategory")));
    EXPECT_EQ(category->text(), "its own");
  }
}

TEST_F(YouTubeActivity, LooksLikeThePictureThatWasFoundGood) {
  activity->setMovieURL(activity->tempFileURL());
  const std::string settings = std::string(std::getenv("XDG_CONFIG_HOME")) + "/zevanti/publishing.json";
  std::filesystem::create_directories(std::filesystem::path(settings).parent_path());
  std::ofstream(settings) << R"({"client_id": "a client"})";
  activity->setDescriptionText("Recorded in Hexagon Quest by Lantern Works. https://lantern.example/hexagon");
  const auto form = activity->activityViewController();
  ASSERT_NO_FATAL_FAILURE(present(form));
  activity->publishingAgentDidBeginPublishing(*activity->publishingAgent());
  const auto overlay = activity->progressOverlay();
  ASSERT_TRUE(waitUntil([&] { return overlay->activityIndicator() != nullptr; }));
  theWindow().commit();
  std::string difference;
  waitUntil([&] {  // the wheel turns: until it stands as in the picture
    difference = golden_picture::difference(theWindow().grab(), "uploading");
    return difference.empty();
  });
  EXPECT_EQ(difference, "");
  std::filesystem::remove(settings);
}

TEST_F(YouTubeActivity, TellsTheAgentWhenTheMovieIsWhole) {
  prepare(recordings::path("two_audio.mp4"));
  activity->setPublishingAgent(agent);
  ASSERT_TRUE(waitUntil([&] { return !agent->log.empty(); }));
  EXPECT_EQ(agent->log, (std::vector<std::string>{"ready"}));
  EXPECT_TRUE(isThere());
  EXPECT_TRUE(wasTraced("ZVYouTubeActivity: Export Mixed YouTube Video Complete."));
  const auto converted = AVURLAsset::initWithURL_options(activity->movieURL(), nullptr);
  EXPECT_EQ(converted->tracksWithMediaType(AVMediaTypeAudio).size(), 1U) << "both sound tracks in one";
  EXPECT_EQ(converted->tracksWithMediaType(AVMediaTypeVideo).size(), 1U);
  activity->publishingAgentCancelButtonClicked(*agent);
  EXPECT_TRUE(waitUntil([&] { return !isThere(); }));
}

TEST_F(YouTubeActivity, TellsTheAgentWhenTheMovieCouldNotBeMade) {
  prepare(recordings::path("empty.mp4"));
  activity->setPublishingAgent(agent);
  ASSERT_TRUE(waitUntil([&] { return agent->log.size() == 2; }));
  EXPECT_EQ(agent->log, (std::vector<std::string>{"not ready", "failed"}));
  EXPECT_FALSE(wasTraced("ZVYouTubeActivity: Export Mixed YouTube Video Complete."));
  EXPECT_EQ(finished, std::nullopt) << "the form says so; the person answers it";
}

TEST_F(YouTubeActivity, KeepsANameThatAnotherProgramCouldTake) {
  const std::string taken = activity->tempFileURL().path();
  std::ofstream(taken) << "somebody's";
  prepare(recordings::path("basic.mp4"));
  EXPECT_TRUE(isThere()) << "while the movie is still being read";
  const std::string path = activity->movieURL().path();
  EXPECT_NE(path, taken);
  EXPECT_TRUE(path.starts_with(ZVScreenRecorderTempDirectory + "/ZVZevanti_YouTube") && path.ends_with(".mp4")) << path;
  EXPECT_EQ(std::filesystem::status(path).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  activity->publishingAgentCancelButtonClicked(*agent);  // before there is anything to cancel
  dispatch_main::waitForBackgroundWork(20);
  EXPECT_EQ(leftovers().size(), 1U);
  EXPECT_TRUE(std::filesystem::remove(taken));
  EXPECT_FALSE(wasTraced("ZVYouTubeActivity: Export Mixed YouTube Video Complete."));
}

TEST_F(YouTubeActivity, LeavesNothingWhenItIsLetGoOf) {
  prepare(recordings::path("basic.mp4"));
  activity = std::make_shared<ZVYouTubeActivity>();  // the window closes in the middle of it
  dispatch_main::waitForBackgroundWork(20);
  EXPECT_TRUE(waitUntil([] { return leftovers().empty(); }));
}

TEST_F(YouTubeActivity, SaysHowItEndedAndEndsWithTheAnswer) {
  struct End {
    NSErrorPtr error;
    std::string title;
    std::vector<std::string> buttons;
  };
  for (const End& end : {End{nullptr, "The video has been published", {"View on YouTube", "Close"}},
                         End{NSError::posix(5, "uploading"), "The video could not be published", {"Close"}}}) {
    SCOPED_TRACE(end.title);
    ASSERT_NO_FATAL_FAILURE(begin());
    ASSERT_NO_FATAL_FAILURE(beginPublishing());
    const auto overlay = activity->progressOverlay();
    ASSERT_NE(overlay, nullptr);
    EXPECT_EQ(overlay->superview(), agent->navigation->view());
    EXPECT_EQ(overlay->frame(), agent->navigation->view()->bounds());
    ASSERT_TRUE(waitUntil([&] { return overlay->activityIndicator() != nullptr; }));
    activity->publishingAgentDidEndPublishing_error(*agent, end.error);
    EXPECT_EQ(overlay->activityIndicator()->superview(), nullptr);
    EXPECT_EQ(overlay->superview(), agent->navigation->view());
    EXPECT_TRUE(waitUntil([&] { return !isThere(); })) << "before the person has answered";
    const auto alert = std::dynamic_pointer_cast<UIAlertController>(agent->navigation->presentedViewController());
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->title(), end.title);
    std::vector<std::string> buttons;
    for (const auto& action : alert->actions()) buttons.push_back(action->title());
    EXPECT_EQ(buttons, end.buttons);
    EXPECT_EQ(finished, std::nullopt);
    theWindow().commit();
    theWindow().sendKey("Escape");
    ASSERT_TRUE(waitUntil([&] { return finished.has_value(); }));
    EXPECT_EQ(finished, end.error == nullptr);
  }
}

// Run by the next test in a folder of its own, where the system's part is not as it should be.
TEST(FatalReports, DISABLED_OpensTheForm) {
  std::make_shared<ZVYouTubeActivity>()->activityViewController();
}

TEST(FatalReports, NameWhatIsWrongWithThePlugIn) {
  const std::string folder = ZEVANTI_BUILD_DIR "/tests/fatal-reports-" + std::to_string(::getpid());
  const auto library = folder + plugin;
  std::filesystem::create_directories(std::filesystem::path(library).parent_path());
  std::filesystem::create_hard_link(std::filesystem::read_symlink("/proc/self/exe"), folder + "/program");
  const auto report = [&] {
    const std::string command = "'" + folder + "/program' --gtest_also_run_disabled_tests " +
                                "--gtest_filter=FatalReports.DISABLED_OpensTheForm >'" + folder + "/out' 2>&1";
    const int status = std::system(command.c_str());
    EXPECT_NE(status, 0);
    return contentOf(folder + "/out");
  };
  const std::string missing = report();
  EXPECT_NE(missing.find(library), std::string::npos) << missing;
  EXPECT_NE(missing.find("cannot open shared object file"), std::string::npos) << missing;
  std::ofstream(folder + "/empty.c").close();
  ASSERT_EQ(std::system(("cc -shared -o '" + library + "' '" + folder + "/empty.c'").c_str()), 0);
  const std::string empty = report();
  EXPECT_NE(empty.find("Unable to find class PublishToYouTubeAgent"), std::string::npos) << empty;
  std::filesystem::remove_all(folder);
}
