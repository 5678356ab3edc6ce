#include "EditorFixture.h"
#include "ScratchFile.h"
#include "platform/Foundation/DynamicLibrary.h"
#include "platform/MobileGestalt/MobileGestalt.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "tests/uikit/SystemActivities.h"

#include <cstdlib>

namespace fs = std::filesystem;

namespace {

/// One of the desktop's activities that does what it is told.
class TestActivity : public NamedActivity {
 public:
  using NamedActivity::NamedActivity;
  void prepareWithActivityItems(const std::vector<UIActivityItem>& given) override { items = given; }
  void performActivity() override { isUnderWay = true; }
  std::vector<UIActivityItem> items;
  bool isUnderWay = false;
};

}  // namespace

class SharingTest : public EditorTest {
 public:
  void TearDown() override {
    EditorTest::TearDown();
    setSystemActivities({});
  }

  Strong<UIActivityViewController> sheet() {
    return std::dynamic_pointer_cast<UIActivityViewController>(editor->presentedViewController());
  }
  bool share() {
    using Category = UIActivityCategory;
    mail = std::make_shared<TestActivity>(UIActivityTypeMail, Category::Share);
    setSystemActivities({std::make_shared<TestActivity>(UIActivityTypeCopyToPasteboard, Category::Action),
                         std::make_shared<TestActivity>(UIActivityTypePostToFacebook, Category::Share), mail,
                         std::make_shared<TestActivity>(UIActivityTypeMessage, Category::Share)});
    editor->shareAction();
    return waitUntil([&] { return sheet() && !CAAnimator::shared().isAnimating(); });
  }
  /// Presses the mail activity in the sheet, as a screen reader does.
  bool pickMail() {
    for (const auto& [view, element] : testWindow().window()->reachableElements()) {
      if (element.label == mail->activityTitle()) element.activate();
    }
    return waitUntil([&] { return mail->isUnderWay; });
  }

  Strong<TestActivity> mail;
};

TEST_F(SharingTest, APopoverFollowsItsButtonAndTheEditorIsAliveAfterwards) {
  openReady("basic.mp4", {667, 375});
  ASSERT_TRUE(share());
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Done flex title flex Play fix Share fix Save");

  testWindow().resize({375, 667});
  ASSERT_TRUE(waitUntil([&] { return testWindow().window()->bounds().size.width == 375; }));
  const CGRect share = *editor->shareButton()->frameInWindow(testWindow().window());
  EXPECT_GT(share.origin.y, 600);
  EXPECT_LT(sheet()->view()->frame().maxY(), share.maxY()) << "the popover follows its button to the bottom";
  EXPECT_GT(sheet()->view()->frame().maxY(), 560);

  testWindow().sendKey("Escape");
  ASSERT_TRUE(waitUntil([&] { return !sheet() && !CAAnimator::shared().isAnimating(); }));
  testWindow().sendKey("Space");
  EXPECT_TRUE(waitUntil([&] { return editor->avPlayer()->rate() != 0; }));
}

TEST_F(SharingTest, ASecondTapWhileTheStoreIsAskedOpensOneSheet) {
  openReady("basic.mp4");
  editor->shareAction();
  editor->shareAction();
  ASSERT_TRUE(waitUntil([&] { return sheet() != nullptr; }));
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
  select(4, 12);
  ASSERT_TRUE(share());
  ASSERT_TRUE(pickMail());
  EXPECT_EQ(std::get<NSURL>(mail->items.at(2)).path(), movie.string()) << "what was not saved is not cut out";
  close();
  EXPECT_TRUE(mail->isFinished());
}

TEST_F(SharingTest, OffersPublishingUnlessTheApplicationsOwnExtensionIsThere) {
  std::unique_ptr<ScratchFile> plugIn;
  if (!MGGetBoolAnswer("not-green-tea")) {
    plugIn = std::make_unique<ScratchFile>(
        systemPath("/System/Library/PublishingBundles/PublishToYouTube.bundle/PublishToYouTube"), "");
  }
  ASSERT_TRUE(MGGetBoolAnswer("not-green-tea"));
  openReady("basic.mp4");
  const std::vector<std::string> withPublishing = {UIActivityTypeMail, UIActivityTypeMessage, "ZVPublishToYouTube",
                                                   UIActivityTypeCopyToPasteboard, UIActivityTypePostToFacebook};
  const std::vector<std::string> ownOrder = {UIActivityTypePostToFacebook, UIActivityTypeMail, UIActivityTypeMessage,
                                             UIActivityTypeCopyToPasteboard};
  const auto shown = [&] {
    std::vector<std::string> result;
    if (share()) {
      for (const auto& activity : sheet()->activities()) result.push_back(activity->activityType());
      testWindow().sendKey("Escape");
      EXPECT_TRUE(waitUntil([&] { return !sheet() && !CAAnimator::shared().isAnimating(); }));
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
