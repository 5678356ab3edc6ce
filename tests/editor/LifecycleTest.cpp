#include "EditorFixture.h"
#include "editor/NSDateZVExtensions.h"
#include "overlay/ZVHighFidelityVideoOverlayButton.h"
#include "overlay/ZVVideoOverlayButton.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIDevice.h"
#include "support/NSFileManagerZVExtensions.h"

#include <regex>

namespace {

/// Notes what taps it, and how the glyph looked at that moment.
class TapTarget : public NSObject {
  ZV_OBJECT(TapTarget)
 public:
  void tapped(const Strong<NSObject>& sender) {
    lastSender = sender.get();
    glyphAlpha = static_cast<ZVHighFidelityVideoOverlayButton&>(*sender).button()->alpha();
  }
  const NSObject* lastSender = nullptr;
  float glyphAlpha = 0;
};

}  // namespace

ZV_REGISTER_CLASS(TapTarget, "EditorTestTapTarget", NSObject, {{"tapped:", runtime::method(&TapTarget::tapped)}})

TEST_F(EditorTest, DonePausesAndReportsTheLiveList) {
  openReady("basic.mp4");
  editor->playAction();
  editor->doneButton()->sendAction();
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
  EXPECT_EQ(delegate->list, editor->activityTypes()) << "the editor's own list, not a copy";
  editor->setDelegate(nullptr);
  editor->doneAction();
  EXPECT_EQ(delegate->reports.size(), 1U);
}

TEST_F(EditorTest, TellsTheDateOfAMovieThatIsThereAndNoneOfAMissingOne) {
  open("basic.mp4");
  const auto shown = std::static_pointer_cast<UILabel>(editor->titleLabel()->subviews().at(0))->text();
  EXPECT_TRUE(std::regex_match(shown, std::regex("[A-Z][a-z]+ [0-9]{1,2} [0-9]{2}:[0-9]{2} [AP]M"))) << shown;
  EXPECT_EQ(ZVExtensions::_srGetStringFromDate(NSDate(1457168820)), "March 5 09:07 AM");
  const auto nowhere = ZVVideoEditorViewController::initWithBundleIdentifier_URL_applicationName(
      "", NSURL::fileURLWithPath("/nonexistent/movie.mp4"), "App");
  const auto date = std::static_pointer_cast<UILabel>(nowhere->titleLabel()->subviews().at(0));
  EXPECT_EQ(date->text(), "");
  EXPECT_TRUE(waitUntil([&] { return nowhere->avPlayerItem()->status() == AVPlayerItemStatus::Failed; }));
  EXPECT_EQ(nowhere->avTrimmer()->dataSource(), nullptr);
  // Play looks for it again, but gives up no selection for that.
  const auto item = nowhere->avPlayerItem();
  nowhere->setTrimming(true);
  nowhere->playAction();
  EXPECT_EQ(nowhere->avPlayerItem(), item);
  nowhere->setTrimming(false);
  nowhere->playAction();
  EXPECT_NE(nowhere->avPlayerItem(), item);
  nowhere->pauseAction();
  nowhere->viewWillDisappear(false);
}

TEST(TemporaryFiles, ThatAreGoneAlreadyAreRemovedAsWellInTheBackground) {
  std::atomic<bool> called = false;
  ZVExtensions::_srRemoveFile_completion(
      NSFileManager::defaultManager(), NSURL::fileURLWithPath("/nonexistent/file"), [&](const NSErrorPtr& error) {
        EXPECT_EQ(error, nullptr);
        EXPECT_TRUE(dispatch_is_current(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND)));
        called = true;
      });
  EXPECT_TRUE(dispatch_main::waitForBackgroundWork(10));
  EXPECT_TRUE(called);
}

// How the forms of style 0 look is in the golden pictures.
TEST(OverlayButton, FormsByStyleAndQuality) {
  constexpr const char *fine = "ZVHighFidelityVideoOverlayButton", *flat = "ZVFlatVideoOverlayButton";
  for (const auto& [style, quality, form] :
       {std::tuple(0, 100, fine), std::tuple(0, 10, flat), std::tuple(1, 10, fine), std::tuple(2, 100, flat),
        std::tuple(7, 100, fine), std::tuple(-1, 100, fine)}) {
    UIDevice::currentDevice()->setGraphicsQuality(quality);
    EXPECT_EQ(ZVVideoOverlayButton::_srVideoOverlayButtonWithStyle(style)->class_()->name(), form) << style;
  }
}

TEST(OverlayButton, TheGlyphAnswersThePressAndRestsBeforeTheAction) {
  const auto overlay = ZVHighFidelityVideoOverlayButton::initWithStyle(0);
  const auto target = std::make_shared<TapTarget>();
  UIButton& inner = *overlay->button();
  const CGSize size = overlay->bounds().size;
  const auto touch = [&](UITouchPhase phase, CGFloat x) { inner.handleTouch({0, phase, {x, size.height / 2}, 0}); };
  EXPECT_EQ(inner.alpha(), ZVVideoOverlayDefaultGlyphAlpha);
  touch(UITouchPhase::Began, 5);
  EXPECT_EQ(inner.alpha(), ZVVideoOverlayHighlightedGlyphAlpha);
  touch(UITouchPhase::Moved, size.width + 100);
  EXPECT_EQ(inner.alpha(), ZVVideoOverlayDefaultGlyphAlpha);
  touch(UITouchPhase::Moved, 5);
  EXPECT_EQ(inner.alpha(), ZVVideoOverlayHighlightedGlyphAlpha);
  touch(UITouchPhase::Cancelled, 5);
  EXPECT_EQ(inner.alpha(), ZVVideoOverlayHighlightedGlyphAlpha) << "a touch that is taken away leaves the glyph";

  overlay->setTarget_action(target, "notThere:");
  touch(UITouchPhase::Began, 5);
  touch(UITouchPhase::Ended, 5);
  EXPECT_EQ(target->lastSender, nullptr) << "a target that does not respond is passed over";
  overlay->setTarget_action(target, "tapped:");
  touch(UITouchPhase::Began, 5);
  touch(UITouchPhase::Ended, 5);
  EXPECT_EQ(target->lastSender, overlay.get()) << "the view itself, not the button in it";
  EXPECT_EQ(target->glyphAlpha, ZVVideoOverlayDefaultGlyphAlpha);
}
