#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIActivityIndicatorView.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIPopoverPresentationController.h"
#include "platform/UIKit/UIToolbar.h"
#include "tests/window/Pictures.h"
#include "tests/window/WindowTest.h"

#include <QElapsedTimer>

namespace {

bool isDark(QColor color) {
  return color.lightness() < 110;
}
bool isBlue(QColor color) {
  return color.blue() > 200 && color.red() < 100;
}

class Named : public UIActivity {
 public:
  explicit Named(std::string title) : title_(std::move(title)) {}
  std::string activityType() const override { return title_; }
  std::string activityTitle() const override { return title_; }
  bool canPerformWithActivityItems(const std::vector<UIActivityItem>&) override { return true; }

 private:
  std::string title_;
};

}  // namespace

class PresentationLooksTest : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    // The size that an earlier test gave the window may still be on its way.
    QElapsedTimer sinceShown;
    sinceShown.start();
    ASSERT_TRUE(waitUntil([&] { return sinceShown.elapsed() > 50; }));
    theWindow().resize({375, 667});
    ASSERT_TRUE(waitUntil([] { return theWindow().window()->bounds().size == CGSizeMake(375, 667); }));
    root()->addSubview(UIImageView::initWithImage(std::make_shared<UIImage>(pictures::colourful(1400, 1400), 2.0F)));
  }
  void TearDown() override {
    controller_->dismissViewControllerAnimated_completion(false, nullptr);
    WindowTest::TearDown();
  }

  QImage look(const std::string& name) {
    EXPECT_TRUE(waitUntil([] { return !CAAnimator::shared().isAnimating(); }));
    QImage picture = theWindow().grab();
    picture.save(QString::fromStdString(picturePath(name)));
    return picture;
  }
  static int count(const QImage& picture, CGRect place, bool (*is)(QColor)) {
    return pictures::count(picture, inPixels(place), is);
  }
  static QRect inPixels(CGRect place) {
    const qreal ratio = theWindow().mirror().pixelRatio();
    return QRectF(place.origin.x * ratio, place.origin.y * ratio, place.size.width * ratio, place.size.height * ratio)
        .toAlignedRect();
  }
  static QColor at(const QImage& picture, CGFloat x, CGFloat y) {
    return picture.pixelColor(inPixels({{x, y}, {1, 1}}).topLeft());
  }
  Strong<UIActivityViewController> makeSheet() {
    std::vector<Strong<UIActivity>> activities;
    for (const char* title : {"Mail", "Message", "Copy", "Show in the folder of all files", "Save a Copy"}) {
      activities.push_back(std::make_shared<Named>(title));
    }
    auto sheet = UIActivityViewController::initWithActivityItems_applicationActivities(
        {std::string("A recording of Juggling by Jane Doe"), NSURL::fileURLWithPath("/nowhere/Juggling.mp4")},
        activities);
    sheet->setPreview(std::make_shared<UIImage>(pictures::colourful(200, 120), 2.0F), "0:32");
    return sheet;
  }
  CGRect frameOf(const std::string& label) {
    for (const auto& [view, element] : theWindow().window()->reachableElements()) {
      if (element.label == label) return element.frame;
    }
    ADD_FAILURE() << "no " << label;
    return CGRectZero;
  }
};

TEST_F(PresentationLooksTest, TheSheetStandsAtTheBottomOfADimmedWindow) {
  const QImage before = theWindow().grab();
  const auto sheet = makeSheet();
  controller_->presentViewController_animated_completion(sheet, true, nullptr);
  const QImage picture = look("sheet");
  const QColor bright = at(before, 187, 20), dimmed = at(picture, 187, 20);
  EXPECT_NEAR(dimmed.red(), bright.red() * 0.6, 4);
  const CGRect card = sheet->view()->frame();
  EXPECT_LT(at(picture, card.origin.x, card.origin.y).lightness(),
            at(picture, card.origin.x + 30, card.origin.y + 2).lightness())
      << "the corners are round";
  EXPECT_GT(at(picture, 187, card.origin.y + 2).lightness(), 230);
  EXPECT_GT(count(picture, frameOf("A recording of Juggling by Jane Doe"), isDark), 200);
  EXPECT_GT(count(picture, frameOf("Cancel"), isBlue), 100);
  for (const char* title : {"Mail", "Copy"}) {
    const CGRect cell = frameOf(title);
    EXPECT_GT(count(picture, {{cell.origin.x, cell.origin.y + 74}, {cell.size.width, 14}}, isDark), 30) << title;
    EXPECT_EQ(count(picture, {{cell.origin.x, cell.origin.y + 89}, {cell.size.width, 14}}, isDark), 0) << title;
  }
  // The long title takes two lines, keeps clear of its neighbours and ends in an ellipsis.
  const CGRect cell = frameOf("Show in the folder of all files");
  EXPECT_GT(count(picture, {{cell.origin.x, cell.origin.y + 89}, {cell.size.width, 12}}, isDark), 30);
  EXPECT_EQ(count(picture, {{cell.origin.x, cell.origin.y + 74}, {1, 30}}, isDark), 0);
  EXPECT_EQ(count(picture, {{cell.maxX() - 1, cell.origin.y + 74}, {1, 30}}, isDark), 0);
  EXPECT_EQ(count(picture, {{cell.origin.x, cell.origin.y + 103}, {cell.size.width, 2}}, isDark), 0);

  using Pointer = UIAutomation::Pointer;
  const CGPoint mail{frameOf("Mail").origin.x + 42, frameOf("Mail").origin.y + 20};
  theWindow().sendPointer(Pointer::Press, mail);
  EXPECT_GT(at(theWindow().grab(), mail.x, mail.y).lightness(), at(picture, mail.x, mail.y).lightness())
      << "it fades under the finger";
  theWindow().sendPointer(Pointer::Move, {mail.x, mail.y + 50});
  theWindow().sendPointer(Pointer::Release, {mail.x, mail.y + 50});
  theWindow().sendKey("Right");
  look("sheet-focus");
}

TEST_F(PresentationLooksTest, APopoverPointsAtItsItem) {
  theWindow().resize({700, 400});
  ASSERT_TRUE(waitUntil([] { return theWindow().window()->bounds().size.width == 700; }));
  const auto item =
      UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::Action, nullptr, SEL());
  const auto space =
      UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::FlexibleSpace, nullptr, SEL());
  const auto save =
      UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::Save, nullptr, SEL());
  const auto bar = std::make_shared<UIToolbar>();
  bar->setFrame({{0, 0}, {700, 60}});
  bar->setItems({space, item, save});
  root()->addSubview(bar);
  const auto sheet = makeSheet();
  sheet->setModalPresentationStyle(UIModalPresentationStyle::Popover);
  sheet->popoverPresentationController()->setBarButtonItem(item);
  controller_->presentViewController_animated_completion(sheet, true, nullptr);
  const QImage picture = look("popover");
  const CGRect body = sheet->view()->frame();
  const CGFloat tip = bar->frameOfItem(item.get()).origin.x + 22;
  EXPECT_GT(at(picture, tip, body.origin.y - 4).lightness(), 230) << "the arrow";
  EXPECT_LT(at(picture, tip - 30, body.origin.y - 4).lightness(), 225) << "beside it";
  EXPECT_LT(at(picture, body.origin.x + body.size.width / 2, body.maxY() + 3).lightness(), 200);
  theWindow().resize({375, 667});
  ASSERT_TRUE(waitUntil([] { return theWindow().window()->bounds().size.width == 375; }));
  look("popover-narrow");
}

TEST_F(PresentationLooksTest, AnAlertStandsInTheMiddle) {
  const auto alert = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      "The video could not be published", "The connection was lost. Check it and try once more; nothing has been lost.",
      UIAlertControllerStyle::Alert);
  for (const auto& [title, style] :
       {std::pair("View on YouTube", UIAlertActionStyle::Default), std::pair("Close", UIAlertActionStyle::Cancel)}) {
    alert->addAction(UIAlertAction::actionWithTitle_style_handler(title, style, nullptr));
  }
  controller_->presentViewController_animated_completion(alert, true, nullptr);
  const QImage picture = look("alert");
  const CGRect card = alert->view()->frame();
  EXPECT_NEAR(card.origin.x + card.size.width / 2, 187.5, 1);
  EXPECT_GT(count(picture, frameOf("The video could not be published"), isDark), 200);
  EXPECT_GT(count(picture, frameOf("View on YouTube"), isBlue), 100);
  EXPECT_GT(count(picture, frameOf("Close"), isBlue), 60);
  for (const char* text : {"The video could not be published", alert->message().c_str()}) {
    CGRect lower = frameOf(text);
    lower.origin.y += lower.size.height / 2;
    lower.size.height /= 2;
    EXPECT_GT(count(picture, lower, isDark), 60) << "a second line: " << text;
  }
  EXPECT_LT(at(picture, card.origin.x, card.origin.y).lightness(), 200) << "the corner is round";
  EXPECT_LT(at(picture, card.origin.x, card.maxY() - 1).lightness(), 200);
}

// The renderers clip at rectangles only. What moves under the corners, and dims all, is cut as well.
TEST_F(PresentationLooksTest, AFormSheetHasRoundCornersWhateverLiesInThem) {
  root()->setBackgroundColor(UIColor::blackColor());
  root()->subviews().back()->removeFromSuperview();
  theWindow().resize({700, 500});
  ASSERT_TRUE(waitUntil([] { return theWindow().window()->bounds().size.width == 700; }));
  const auto content = std::make_shared<UIViewController>();
  const auto form = UINavigationController::initWithRootViewController(content);
  form->setModalPresentationStyle(UIModalPresentationStyle::FormSheet);
  controller_->presentViewController_animated_completion(form, false, nullptr);
  const CGRect sheet = form->view()->frame();
  const auto add = [](UIView& to, CGRect frame, UIColor color) {
    const auto view = std::make_shared<UIView>();
    view->setFrame(frame);
    view->setBackgroundColor(color);
    to.addSubview(view);
  };
  // Ends in the middle of the lower corners, as what scrolls does.
  add(*content->view(), {{0, 0}, {sheet.size.width, content->view()->bounds().size.height - 3}}, UIColor::whiteColor());
  add(*form->view(), form->view()->bounds(), UIColor::colorWithWhite_alpha(1, 0.5F));
  const QImage picture = look("form-sheet");
  for (const CGFloat x : {sheet.origin.x + 1, sheet.maxX() - 2}) {
    for (const CGFloat y : {sheet.origin.y + 1, sheet.maxY() - 2}) {
      EXPECT_TRUE(isDark(at(picture, x, y))) << x << " " << y;
    }
  }
  EXPECT_GT(at(picture, sheet.origin.x + 6, sheet.maxY() - 6).lightness(), 200) << "nothing else is";
  EXPECT_GT(at(picture, sheet.maxX() - 1, sheet.origin.y + 14).lightness(), 200);
  const Strong<UIView> lower = content->view()->subviews().back();
  lower->setFrame({{0, 20}, {sheet.size.width, content->view()->bounds().size.height - 20}});
  const QImage changed = look("form-sheet-changed");
  EXPECT_TRUE(isDark(at(changed, 5, 25))) << "and nothing is beside the sheet";
  EXPECT_TRUE(isDark(at(changed, sheet.origin.x + 1, sheet.maxY() - 2)));
  theWindow().resize({375, 667});
  ASSERT_TRUE(waitUntil([] { return theWindow().window()->bounds().size.width == 375; }));
  EXPECT_GT(at(look("form-sheet-narrow"), 0, 0).lightness(), 200) << "there it covers the window";
}

TEST_F(PresentationLooksTest, WhatRoundCornersCutHasNoGapsWhenWhatIsBehindChanges) {
  root()->subviews().back()->removeFromSuperview();
  const auto add = [](UIView& to, CGRect frame, UIColor color) {
    const auto view = std::make_shared<UIView>();
    view->setFrame(frame);
    view->setBackgroundColor(color);
    to.addSubview(view);
    return view;
  };
  for (const float fraction : {0.0F, 0.2F, 0.4F, 0.6F, 0.8F}) {
    const auto card =
        add(*root(), {{20 + fraction, 100 + fraction}, {300, 300}}, UIColor::colorWithWhite_alpha(0.8F, 1));
    card->layer()->setMasksToBounds(true);
    card->layer()->setCornerRadius(12);
    const auto behind = add(*card, card->bounds(), UIColor::colorWithWhite_alpha(0, 0.5F));
    add(*card, card->bounds(), UIColor::whiteColor());
    theWindow().grab();
    behind->setBackgroundColor(UIColor::colorWithWhite_alpha(0, 0.6F));
    const QImage picture = look("rounded-fill");
    // As far as the corners leave room.
    const CGRect inside = {{25 + fraction, 105 + fraction}, {290, 290}};
    EXPECT_EQ(count(picture, inside, [](QColor color) { return color != Qt::white; }), 0) << "off by " << fraction;
    card->removeFromSuperview();
  }
}

TEST_F(PresentationLooksTest, TheWheelTurnsWhileItIsThereAndCostsNothingAfterwards) {
  const auto wheel = UIActivityIndicatorView::initWithActivityIndicatorStyle(UIActivityIndicatorViewStyle::WhiteLarge);
  const auto behind = std::make_shared<UIView>();
  behind->setFrame({{100, 100}, {100, 100}});
  behind->setBackgroundColor(UIColor::blackColor());
  behind->addSubview(wheel);
  wheel->setCenter({50, 50});
  root()->addSubview(behind);
  const auto wheelPicture = [&] { return theWindow().grab().copy(inPixels({{100, 100}, {100, 100}})); };
  const QImage still = wheelPicture();
  EXPECT_EQ(pictures::count(still, still.rect(), isDark), still.width() * still.height()) << "nothing to be seen";
  wheel->startAnimating();
  const QImage first = wheelPicture();
  first.save(QString::fromStdString(picturePath("wheel")));
  EXPECT_GT(pictures::count(first, first.rect(), [](QColor c) { return c.lightness() > 200; }), 20);
  EXPECT_TRUE(waitUntil([&] { return wheelPicture() != first; }));

  wheel->removeFromSuperview();
  theWindow().grab();
  int frames = 0;
  const auto connection =
      QObject::connect(&theWindow().quickWindow(), &QQuickWindow::afterRendering, [&] { ++frames; });
  QElapsedTimer timer;
  timer.start();
  EXPECT_TRUE(waitUntil([&] { return timer.elapsed() > 300; }));
  QObject::disconnect(connection);
  EXPECT_LE(frames, 1) << "it would be four if the wheel still turned";
}
