#include "EditorFixture.h"
#include "ScratchFile.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIActivity.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIDevice.h"
#include "platform/UIKit/UIImage.h"
#include "tests/golden/GoldenPicture.h"
#include "tests/uikit/SystemActivities.h"

#include <QImage>

namespace {

/// One of the desktop's activities, as it looks.
class ShownActivity : public NamedActivity {
 public:
  ShownActivity(std::string title, std::string symbol) : NamedActivity(std::move(title)), symbol_(std::move(symbol)) {}
  Strong<UIImage> activityImage() const override { return UIImage::systemImageNamed(symbol_); }

 private:
  std::string symbol_;
};

std::vector<Strong<UIActivity>> activities() {
  std::vector<Strong<UIActivity>> all;
  for (const auto& [title, symbol] :
       {std::pair("Mail", "mail"), std::pair("Message", "message"), std::pair("Copy", "copy"),
        std::pair("Facebook", "post"), std::pair("Save a Copy\u2026", "save"), std::pair("Show in Folder", "folder")}) {
    all.push_back(std::make_shared<ShownActivity>(title, symbol));
  }
  return all;
}

Strong<UIAlertController> alert() {
  auto made = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      "Video Published", "It can be seen as soon as the service has processed it.", UIAlertControllerStyle::Alert);
  made->addAction(UIAlertAction::actionWithTitle_style_handler("View", UIAlertActionStyle::Default, nullptr));
  made->addAction(UIAlertAction::actionWithTitle_style_handler("Close", UIAlertActionStyle::Cancel, nullptr));
  return made;
}

}  // namespace

/// The layouts and the forms of the play button against pictures that were looked at and found good. After a change
/// that is meant, ZEVANTI_UPDATE_GOLDEN=1 writes them anew: look at them before they go in.
TEST_F(EditorTest, LooksLikeThePicturesThatWereFoundGood) {
  struct Case {
    const char* name;
    CGSize size;
    int quality;
    bool trimming;
    enum class Above { Nothing, Sheet, Alert } above = Above::Nothing;
  };
  const int qualityBefore = UIDevice::currentDevice()->_graphicsQuality();
  using Above = Case::Above;
  const auto extension = installShareExtension();  // or it would depend on whether the publishing plug-in was built
  for (const Case& each :
       {Case{"phone", {375, 667}, 10, false}, Case{"pad", {667, 375}, 100, false}, Case{"trim", {375, 667}, 10, true},
        Case{"sheet", {375, 667}, 10, false, Above::Sheet}, Case{"popover", {667, 375}, 10, false, Above::Sheet},
        Case{"alert", {375, 667}, 10, false, Above::Alert}}) {
    SCOPED_TRACE(each.name);
    UIDevice::currentDevice()->setGraphicsQuality(each.quality);
    openReady("basic.mp4", each.size);
    std::static_pointer_cast<UILabel>(editor->titleLabel()->subviews().at(0))->setText("March 5 09:07 AM");
    UIMovieScrubber& timeline = *editor->avTrimmer();
    if (each.trimming) {
      using Pointer = UIAutomation::Pointer;
      constexpr auto handle = UIMovieScrubber::HandleStart;
      testWindow().sendPointer(Pointer::Press, timeline.convertPointToWindow(timeline.grabPointForHandle(handle)));
      const CGPoint goal = timeline.convertPointToWindow(timeline.dragPointForHandle(handle, 20));
      testWindow().sendPointer(Pointer::Move, goal);
      testWindow().sendPointer(Pointer::Release, goal);
    }
    if (each.above == Above::Sheet) {
      // Its head shows the timeline's first picture.
      ASSERT_TRUE(waitUntil([&] {
        const auto pictures = editor->cachedTimeStamps();
        return pictures && !pictures->empty() && pictures->begin()->second;
      }));
      setSystemActivities(activities());
      editor->shareAction();
      ASSERT_TRUE(waitUntil([&] { return editor->presentedViewController() != nullptr; }));
    } else if (each.above == Above::Alert) {
      editor->presentViewController_animated_completion(alert(), true, nullptr);
    }
    ASSERT_TRUE(waitUntil([&] {
      const auto look = timeline.look();
      const auto pictures = editor->cachedTimeStamps();  // until each has come, others may stand in for it
      return !CAAnimator::shared().isAnimating() && !editor->avPlayer()->isSeeking() &&
             editor->avPlayer()->videoOutput()->copyFrame() && look.editing == (each.trimming ? 1 : 0) &&
             !look.thumbnails.empty() && pictures && pictures->size() >= look.thumbnails.size();
    }));
    pump(0.1);  // the pictures' way to the screen

    const std::string shown = ZEVANTI_BUILD_DIR "/shown.png";
    bool written = false;
    testWindow().screenshot(shown, [&](bool succeeded) { written = succeeded; });
    ASSERT_TRUE(waitUntil([&] { return written; }));
    EXPECT_EQ(golden_picture::difference(QImage(QString::fromStdString(shown)), each.name), "");
    close();
  }
  UIDevice::currentDevice()->setGraphicsQuality(qualityBefore);
  setSystemActivities({});
}
