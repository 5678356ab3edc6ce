#include "EditorFixture.h"
#include "editor/NSDateZVExtensions.h"
#include "overlay/ZVHighFidelityVideoOverlayButton.h"
#include "overlay/ZVVideoOverlayButton.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIDevice.h"
#include "support/NSFileManagerZVExtensions.h"

#include <chrono>
#include <fstream>
#include <regex>

namespace fs = std::filesystem;

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

TEST_F(EditorTest, StartsPausedAtZeroWithEverythingBuilt) {
  open("basic.mp4");
  EXPECT_TRUE(editor->isIntroMode());
  EXPECT_FALSE(editor->isTrimming() || editor->isExporting() || editor->isScrubbing() || editor->isUIHidden() ||
               editor->hasEdit() || editor->isPadMode());
  EXPECT_EQ(editor->editStartTime(), 0);
  EXPECT_EQ(editor->editEndTime(), 0);
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
  EXPECT_EQ(editor->videoURL(), editor->originalVideoURL());
  EXPECT_EQ(editor->titleLabel()->text(), "Test App");
  const auto date = std::static_pointer_cast<UILabel>(editor->titleLabel()->subviews().at(0));
  EXPECT_TRUE(std::regex_match(date->text(), std::regex("[A-Z][a-z]+ [0-9]{1,2} [0-9]{2}:[0-9]{2} [AP]M")))
      << date->text();

  // From back to front; the black backdrop lies behind the video, and the layout moves the bottom bar to the front.
  std::vector<CALayer*> order;
  for (const auto& layer : editor->view()->layer()->sublayers()) order.push_back(layer.get());
  ASSERT_EQ(order.size(), 7U);
  EXPECT_EQ(order[1], editor->avPlayerLayer().get());
  EXPECT_EQ(order[2], editor->videoOverlay()->layer().get());
  EXPECT_EQ(order[5], editor->videoOverlayPlayButton()->layer().get());
  EXPECT_EQ(order[6], editor->bottomToolBar()->layer().get());

  const CGRect button = editor->videoOverlayPlayButton()->frame();
  EXPECT_GT(button.size.width, 40);
  EXPECT_FLOAT_EQ(button.origin.x + button.size.width / 2, 375.0F / 2);
  EXPECT_FLOAT_EQ(button.origin.y + button.size.height / 2, 667.0F / 2);
  EXPECT_FLOAT_EQ(editor->fixSpace()->width(), 375 * 0.005F);
  EXPECT_TRUE(pumpUntil([&] { return editor->isFirstResponder(); }));
}

TEST_F(EditorTest, DoneAndCancelPauseAndReportTheLiveList) {
  openReady("basic.mp4");
  editor->cancelButton()->sendAction();
  ASSERT_EQ(delegate->reports.size(), 1U);
  EXPECT_TRUE(delegate->reports[0].empty());
  EXPECT_EQ(delegate->lastEditor, editor.get());
  editor->playAction();
  EXPECT_EQ(editor->avPlayer()->rate(), 1);
  editor->doneButton()->sendAction();
  EXPECT_EQ(editor->avPlayer()->rate(), 0);
  EXPECT_EQ(delegate->list, editor->activityTypes()) << "the editor's own list, not a copy";
  editor->setDelegate(nullptr);
  editor->doneAction();
  EXPECT_EQ(delegate->reports.size(), 2U);
}

TEST_F(EditorTest, MissingMovieStillGivesAnEditorWithoutDate) {
  const auto nowhere = ZVVideoEditorViewController::initWithBundleIdentifier_URL_applicationName(
      "", NSURL::fileURLWithPath("/nonexistent/movie.mp4"), "App");
  const auto date = std::static_pointer_cast<UILabel>(nowhere->titleLabel()->subviews().at(0));
  EXPECT_EQ(date->text(), "");
  EXPECT_TRUE(pumpUntil([&] { return nowhere->avPlayerItem()->status() == AVPlayerItemStatus::Failed; }));
  EXPECT_EQ(nowhere->avTrimmer()->dataSource(), nullptr);
  nowhere->playAction();
  nowhere->pauseAction();
  nowhere->viewWillDisappear(false);
}

TEST(TemporaryFiles, NamesRemovalAndDates) {
  const auto editor = ZVVideoEditorViewController::initWithBundleIdentifier_URL_applicationName(
      "", NSURL::fileURLWithPath("/nonexistent/a.mp4"), "App");
  NSURL first = editor->trimFileURL();
  if (!(first == editor->trimFileURL())) first = editor->trimFileURL();  // the second changed in between
  EXPECT_EQ(first, editor->trimFileURL());
  const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  EXPECT_TRUE(first.path().starts_with(ZVScreenRecorderTempDirectory + "/ZVZevanti_Trim" + std::to_string(now / 100)));
  EXPECT_TRUE(first.path().ends_with(".m4v"));
  EXPECT_EQ(ZVScreenRecorderTempDirectory.back(), '/');
  editor->viewWillDisappear(false);

  NSFileManager& manager = NSFileManager::defaultManager();
  const fs::path file = fs::path(ZVScreenRecorderTempDirectory).parent_path().parent_path() / "remove-me";
  std::ofstream(file) << "x";
  for (int round = 0; round < 2; ++round) {  // the second time it is gone already
    std::atomic<bool> called = false;
    ZVExtensions::_srRemoveFile_completion(
        manager, NSURL::fileURLWithPath(file.string()), [&](const NSErrorPtr& error) {
          EXPECT_EQ(error, nullptr);
          EXPECT_TRUE(dispatch_is_current(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND)));
          called = true;
        });
    EXPECT_TRUE(dispatch_main::waitForBackgroundWork(10));
    EXPECT_TRUE(called);
    EXPECT_FALSE(fs::exists(file));
  }
  EXPECT_EQ(ZVExtensions::_srGetStringFromDate(NSDate(1457168820)), "March 5 09:07 AM");
  EXPECT_EQ(ZVExtensions::_srGetStringFromDate(std::nullopt), "");
}

TEST(OverlayButton, FormsByStyleAndQuality) {
  struct Row {
    int style, quality;
    const char* cls;
    bool backdrop;
  };
  for (const Row& row : std::vector<Row>{{0, 100, "ZVHighFidelityVideoOverlayButton", true},
                                         {0, 10, "ZVFlatVideoOverlayButton", false},
                                         {1, 10, "ZVHighFidelityVideoOverlayButton", false},
                                         {2, 100, "ZVFlatVideoOverlayButton", false},
                                         {7, 100, "ZVHighFidelityVideoOverlayButton", false},
                                         {-1, 100, "ZVHighFidelityVideoOverlayButton", false}}) {
    UIDevice::currentDevice()->setGraphicsQuality(row.quality);
    const Strong<UIView> button = ZVVideoOverlayButton::_srVideoOverlayButtonWithStyle(row.style);
    EXPECT_EQ(button->class_()->name(), row.cls) << row.style;
    EXPECT_EQ(dynamic_cast<ZVVideoOverlayButton&>(*button).style(), row.style);
    EXPECT_GT(button->bounds().size.width, 40);
    bool backdrop = false;
    for (const auto& view : button->subviews()) backdrop |= view->isKindOfClass(UIBackdropView::staticClass());
    EXPECT_EQ(backdrop, row.backdrop);
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

TEST(OverlayButton, FlatImagesAreSharedAndCutOut) {
  const auto first = std::static_pointer_cast<UIButton>(ZVVideoOverlayButton::_srVideoOverlayButtonWithStyle(2));
  const auto second = std::static_pointer_cast<UIButton>(ZVVideoOverlayButton::_srVideoOverlayButtonWithStyle(2));
  for (const UIControlState state : {UIControlStateNormal, UIControlStateHighlighted}) {
    ASSERT_NE(first->imageForState(state), nullptr);
    EXPECT_EQ(first->imageForState(state), second->imageForState(state));
  }
  const CGImage& image = *first->imageForState(UIControlStateNormal)->CGImage();
  const auto alphaAt = [&](double x, double y) {
    const auto column = static_cast<std::size_t>(x * image.width), row = static_cast<std::size_t>(y * image.height);
    return image.pixels[row * image.stride + column * 4 + 3];
  };
  EXPECT_LT(alphaAt(0.01, 0.01), 10) << "nothing outside the disc";
  EXPECT_NEAR(alphaAt(0.5, 0.12), 0.96 * 255, 8) << "the disc";
  EXPECT_NEAR(alphaAt(0.5, 0.5), 0.3 * 255, 8) << "the glyph lies in a hole of its own shape";
}
