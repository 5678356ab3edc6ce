#include "EditorFixture.h"
#include "ScratchFile.h"
#include "platform/Foundation/DynamicLibrary.h"
#include "platform/MobileGestalt/MobileGestalt.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIDevice.h"
#include "platform/UIKit/UIPopoverPresentationController.h"
#include "tests/uikit/SystemActivities.h"

#include <algorithm>
#include <cstdlib>

namespace fs = std::filesystem;

namespace {

/// One of the desktop's activities that does what it is told.
class TestActivity : public UIActivity {
 public:
  TestActivity(std::string type, UIActivityCategory category) : type_(std::move(type)), category_(category) {}
  UIActivityCategory activityCategory() const override { return category_; }
  std::string activityType() const override { return type_; }
  std::string activityTitle() const override { return type_; }
  bool canPerformWithActivityItems(const std::vector<UIActivityItem>&) override { return true; }
  void prepareWithActivityItems(const std::vector<UIActivityItem>& given) override { items = given; }
  void performActivity() override { isUnderWay = true; }
  std::vector<UIActivityItem> items;
  bool isUnderWay = false;

 private:
  std::string type_;
  UIActivityCategory category_;
};

}  // namespace

class SharingTest : public EditorTest {
 public:
  void SetUp() override {
    EditorTest::SetUp();
    renew();
  }
  void TearDown() override {
    EditorTest::TearDown();
    setSystemActivities({});
  }

  /// New activities, as there are for each sheet.
  void renew() {
    using Category = UIActivityCategory;
    copy = std::make_shared<TestActivity>(UIActivityTypeCopyToPasteboard, Category::Action);
    post = std::make_shared<TestActivity>(UIActivityTypePostToFacebook, Category::Share);
    mail = std::make_shared<TestActivity>(UIActivityTypeMail, Category::Share);
    message = std::make_shared<TestActivity>(UIActivityTypeMessage, Category::Share);
    setSystemActivities({copy, post, mail, message});
  }
  Strong<UIActivityViewController> sheet() {
    return std::dynamic_pointer_cast<UIActivityViewController>(editor->presentedViewController());
  }
  ::testing::AssertionResult share() {
    renew();
    editor->shareAction();
    return pumpUntil([&] { return sheet() && !CAAnimator::shared().isAnimating(); });
  }
  std::vector<std::string> types() {
    std::vector<std::string> shown;
    for (const auto& activity : sheet()->activities()) shown.push_back(activity->activityType());
    return shown;
  }
  void tapNamed(const std::string& label) {
    for (const auto& [view, element] : testWindow().window()->reachableElements()) {
      if (element.label != label) continue;
      const CGPoint point{element.frame.origin.x + element.frame.size.width / 2,
                          element.frame.origin.y + element.frame.size.height / 2};
      testWindow().sendPointer(UIAutomation::Pointer::Press, point);
      testWindow().sendPointer(UIAutomation::Pointer::Release, point);
      return;
    }
    ADD_FAILURE() << "nothing is called " << label;
  }
  /// Shares with this activity, which then ends in this way.
  void complete(Strong<TestActivity> SharingTest::*activity, bool completed) {
    ASSERT_TRUE(share());
    const auto picked = this->*activity;
    tapNamed(picked->activityTitle());
    ASSERT_TRUE(pumpUntil([&] { return picked->isUnderWay; }));
    picked->activityDidFinish(completed);
  }
  std::string sharedFile() {
    if (!share()) return "no sheet";
    tapNamed(mail->activityTitle());
    if (!pumpUntil([&] { return mail->isUnderWay; })) return "not carried out";
    mail->activityDidFinish(false);
    return std::get<NSURL>(mail->items.at(2)).path();
  }
  static fs::path plugInPath() {
    return systemPath("/System/Library/PublishingBundles/PublishToYouTube.bundle/PublishToYouTube");
  }

  Strong<TestActivity> copy, post, mail, message;
};

TEST_F(SharingTest, SharesTextLinkAndMovieAndReportsWhatWasCompletedInOrder) {
  openReady("basic.mp4");
  complete(&SharingTest::mail, true);
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Done flex title flex Save");
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex");
  ASSERT_EQ(mail->items.size(), 3U);
  const auto& text = std::get<std::string>(mail->items[0]);
  EXPECT_EQ(text.find("SHARE_TEXT_FORMAT"), std::string::npos);
  EXPECT_LT(text.find("Rainfall"), text.find("Cloud Works"));
  EXPECT_NE(text.find("Cloud Works"), std::string::npos);
  EXPECT_EQ(std::get<std::string>(mail->items[1]), "https://rainfall.example.org/");
  EXPECT_EQ(std::get<NSURL>(mail->items[2]).path(), movie.string());

  complete(&SharingTest::copy, true);
  complete(&SharingTest::post, false);
  ASSERT_TRUE(share());
  EXPECT_NE(sheet()->modalPresentationStyle(), UIModalPresentationStyle::Popover);
  tapNamed("Cancel");
  ASSERT_TRUE(pumpUntil([&] { return !sheet() && !CAAnimator::shared().isAnimating(); }));
  complete(&SharingTest::mail, true);
  testWindow().sendKey("Return");  // Done
  ASSERT_TRUE(pumpUntil([&] { return !delegate->reports.empty(); }));
  EXPECT_EQ(delegate->reports[0],
            (std::vector<std::string>{UIActivityTypeMail, UIActivityTypeCopyToPasteboard, UIActivityTypeMail}));
}

TEST_F(SharingTest, TheEditorSleepsUnderTheSheetAndIsAliveAfterwards) {
  openReady("basic.mp4", {667, 375});
  const std::string itemsBefore = itemsOf(editor->topToolBar());
  ASSERT_TRUE(share());
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Done flex title flex Play fix Share fix Save");
  EXPECT_EQ(sheet()->modalPresentationStyle(), UIModalPresentationStyle::Popover);
  EXPECT_EQ(sheet()->popoverPresentationController()->barButtonItem(), editor->shareButton());
  for (const char* key : {"Space", "Return", "Control+S", "Control+Z", "Left", "Home"}) testWindow().sendKey(key);
  testWindow().sendShake();
  editor->shareAction();
  pump(0.3);
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
  EXPECT_FALSE(editor->isExporting());
  EXPECT_TRUE(libraryFiles().empty());
  EXPECT_TRUE(delegate->reports.empty());
  ASSERT_TRUE(sheet());
  EXPECT_EQ(sheet()->presentedViewController(), nullptr) << "no second sheet on the first";

  testWindow().resize({375, 667});
  ASSERT_TRUE(pumpUntil([&] { return testWindow().window()->bounds().size.width == 375; }));
  const CGRect share = *editor->shareButton()->frameInWindow(testWindow().window());
  EXPECT_GT(share.origin.y, 600);
  EXPECT_LT(sheet()->view()->frame().maxY(), share.maxY()) << "the popover follows its button to the bottom";
  EXPECT_GT(sheet()->view()->frame().maxY(), 560);

  testWindow().sendKey("Escape");
  ASSERT_TRUE(pumpUntil([&] { return !sheet() && !CAAnimator::shared().isAnimating(); }));
  EXPECT_TRUE(delegate->reports.empty());
  EXPECT_TRUE(editor->isFirstResponder());
  testWindow().sendKey("Space");
  EXPECT_TRUE(pumpUntil([&] { return editor->avPlayer()->rate() != 0; }));
}

TEST_F(SharingTest, ASecondTapWhileTheStoreIsAskedOpensOneSheet) {
  openReady("basic.mp4");
  editor->shareAction();
  editor->shareAction();
  ASSERT_TRUE(pumpUntil([&] { return sheet() != nullptr; }));
  const auto first = sheet();
  testWindow().sendKey("Escape");
  pump(0.5);
  EXPECT_EQ(sheet(), nullptr) << "the second answer must not open another once the first is closed";
  EXPECT_TRUE(share()) << "a later tap opens one again";
  EXPECT_NE(sheet(), first);
}

TEST_F(SharingTest, AWindowThatClosesMeanwhileLetsEverythingGo) {
  openReady("basic.mp4");
  editor->shareAction();
  pump(0);
  close();  // the store's answer finds nobody
  openReady("basic.mp4");
  ASSERT_TRUE(share());
  close();
  openReady("basic.mp4");
  ASSERT_TRUE(share());
  tapNamed(mail->activityTitle());
  ASSERT_TRUE(pumpUntil([&] { return mail->isUnderWay; }));
  close();
  EXPECT_TRUE(mail->isFinished());
}

TEST_F(SharingTest, SharesTheMovieOnScreen) {
  openReady("basic.mp4");
  select(4, 12);
  EXPECT_EQ(sharedFile(), movie.string()) << "a selection that was not saved is not applied";
  editor->saveAction();
  ASSERT_TRUE(pumpUntil([&] { return !editor->isExporting() && libraryFiles().size() == 1; }));
  ASSERT_TRUE(pumpUntil([&] { return editor->videoURL() == editor->trimFilePath(); }));
  EXPECT_EQ(sharedFile(), editor->trimFilePath().path());
}

TEST_F(SharingTest, OffersPublishingUnlessTheApplicationsOwnExtensionIsThere) {
  std::unique_ptr<ScratchFile> plugIn;
  if (!MGGetBoolAnswer("not-green-tea")) plugIn = std::make_unique<ScratchFile>(plugInPath(), "");
  ASSERT_TRUE(MGGetBoolAnswer("not-green-tea"));
  openReady("basic.mp4");
  const std::vector<std::string> withPublishing = {UIActivityTypeMail, UIActivityTypeMessage, "ZVPublishToYouTube",
                                                   UIActivityTypeCopyToPasteboard, UIActivityTypePostToFacebook};
  const std::vector<std::string> ownOrder = {UIActivityTypePostToFacebook, UIActivityTypeMail, UIActivityTypeMessage,
                                             UIActivityTypeCopyToPasteboard};
  const auto shown = [&] {
    std::vector<std::string> result;
    if (share()) {
      result = types();
      testWindow().sendKey("Escape");
      EXPECT_TRUE(pumpUntil([&] { return !sheet() && !CAAnimator::shared().isAnimating(); }));
    }
    return result;
  };
  EXPECT_EQ(shown(), withPublishing);
  const auto extension = installShareExtension();
  EXPECT_EQ(shown(), ownOrder);
  const ScratchFile disabled(
      fs::path(getenv("XDG_CONFIG_HOME")) / "zevanti/disabled-extensions" / shareExtensionIdentifier, "");
  EXPECT_EQ(shown(), withPublishing);
}
