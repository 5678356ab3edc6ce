#include "EditorFixture.h"
#include "platform/UIKit/UIDevice.h"

TEST_F(EditorTest, ToolbarsOfEveryModeAndLayout) {
  openReady("basic.mp4");
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Save");
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex");
  editor->setIntroMode(false);
  editor->applyPhoneUILayout();
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Play flex");
  EXPECT_EQ(editor->playButton()->imageInsets(), UIEdgeInsets{});
  editor->setTrimming(true);
  editor->applyPhoneUILayout();
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Done");
  EXPECT_EQ(editor->topToolBar()->items().front(), editor->cancelTrimButton());
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "flex Play flex");
  editor->applyPadUILayout();
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Play fix Done");
  editor->setTrimming(false);
  editor->applyPadUILayout();
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Play fix Share fix Save");
  EXPECT_EQ(editor->playButton()->imageInsets(), (UIEdgeInsets{8, 0, -8, 0}));
  EXPECT_EQ(editor->shareButton()->imageInsets(), (UIEdgeInsets{5, 0, -5, 0}));
  editor->setIntroMode(true);
  editor->applyPadUILayout();
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Share fix Save");
  EXPECT_TRUE(editor->isPadMode());
}

TEST_F(EditorTest, TurningWhilePlayingChangesTheLayoutAndBack) {
  openReady("basic.mp4");
  editor->playAction();
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Pause flex");
  const auto thumbnails = editor->cachedTimeStamps();

  const auto expectFrames = [&](CGSize size, bool pad) {
    testWindow().resize(size);
    ASSERT_TRUE(pumpUntil([&] { return editor->view()->bounds().size == size && editor->isPadMode() == pad; }));
    pump(0.05);
    EXPECT_EQ(editor->avPlayerLayer()->frame(), (CGRect{{0, 0}, size}));
    EXPECT_EQ(editor->topToolBar()->frame(), CGRectMake(0, 0, size.width, 60));
    EXPECT_EQ(editor->bottomToolBar()->superview() == nullptr, pad);
    const CGFloat bottom = pad ? size.height : size.height - 44;
    EXPECT_EQ(editor->scrubberContainterView()->frame(), CGRectMake(0, bottom - 38, size.width, 38));
    EXPECT_EQ(editor->avTrimmer()->bounds().size.width, size.width);
  };
  expectFrames({667, 375}, true);
  EXPECT_EQ(itemsOf(editor->topToolBar()), "Cancel flex title flex Play fix Share fix Save")
      << "the tables do not depend on playback";
  EXPECT_EQ(editor->avPlayer()->rate(), 1) << "it goes on playing";
  EXPECT_NE(editor->cachedTimeStamps(), thumbnails);
  expectFrames({375, 667}, false);
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Play flex");
  EXPECT_EQ(editor->view()->constraints().size(), 4U) << "earlier sets are removed";
  expectFrames({500, 500}, false);
  editor->pauseAction();
  EXPECT_EQ(itemsOf(editor->bottomToolBar()), "Share flex Play flex");
}

TEST_F(EditorTest, APadKeepsThePadLayout) {
  UIDevice::currentDevice()->setUserInterfaceIdiom(UIUserInterfaceIdiom::Pad);
  open("basic.mp4", {600, 800});
  EXPECT_TRUE(editor->isPadMode());
  EXPECT_EQ(editor->bottomToolBar()->superview(), nullptr);
  testWindow().resize({800, 600});
  ASSERT_TRUE(pumpUntil([&] { return editor->view()->bounds().size == CGSize{800, 600}; }));
  EXPECT_TRUE(editor->isPadMode());
}
