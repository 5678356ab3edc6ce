#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIActivityIndicatorView.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIScreen.h"
#include "tests/uikit/SystemActivities.h"
#include "tests/window/Pictures.h"

namespace {

using pictures::at, pictures::count, pictures::inPixels, pictures::isDark;

}  // namespace

class PresentationLooksTest : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    // The size that an earlier test gave the window may still be on its way.
    picturesDrawnIn(50);
    resize({375, 667});
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
  CGRect frameOf(const std::string& label) {
    for (const auto& [view, element] : theWindow().window()->reachableElements()) {
      if (element.label == label) return element.frame;
    }
    ADD_FAILURE() << "no " << label;
    return CGRectZero;
  }
};

TEST_F(PresentationLooksTest, TheSheetsTitlesHaveTheirPlaceAndItsIconsFadeUnderTheFinger) {
  std::vector<Strong<UIActivity>> activities;
  for (const char* title : {"Mail", "Message", "Copy", "Show in the folder of all files", "Save a Copy"}) {
    activities.push_back(std::make_shared<NamedActivity>(title));
  }
  const auto sheet = UIActivityViewController::initWithActivityItems_applicationActivities(
      {std::string("A recording of Juggling by Jane Doe")}, activities);
  controller_->presentViewController_animated_completion(sheet, true, nullptr);
  const QImage picture = look("sheet");
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

// Their heights are rounded, at each scale in another way.
TEST_F(PresentationLooksTest, AnAlertsTextsHaveAllTheirLines) {
  const auto alert = UIAlertController::alertControllerWithTitle_message_preferredStyle(
      "The video could not be published", "The connection was lost. Check it and try once more; nothing has been lost.",
      UIAlertControllerStyle::Alert);
  alert->addAction(UIAlertAction::actionWithTitle_style_handler("Close", UIAlertActionStyle::Cancel, nullptr));
  controller_->presentViewController_animated_completion(alert, true, nullptr);
  const QImage picture = look("alert");
  for (const char* text : {"The video could not be published", alert->message().c_str()}) {
    CGRect lower = frameOf(text);
    lower.origin.y += lower.size.height / 2;
    lower.size.height /= 2;
    EXPECT_GT(count(picture, lower, isDark), 60) << text;
  }
}

// The renderers clip at rectangles only. What moves under the corners, and dims all, is cut as well.
TEST_F(PresentationLooksTest, AFormSheetHasRoundCornersWhateverLiesInThem) {
  root()->setBackgroundColor(UIColor::blackColor());
  root()->subviews().back()->removeFromSuperview();
  resize({700, 500});
  EXPECT_EQ(UIScreen::mainScreen().bounds().size, CGSizeMake(700, 500));
  const auto content = std::make_shared<UIViewController>();
  const auto form = UINavigationController::initWithRootViewController(content);
  form->setModalPresentationStyle(UIModalPresentationStyle::FormSheet);
  controller_->presentViewController_animated_completion(form, false, nullptr);
  const CGRect sheet = form->view()->frame();
  // Ends in the middle of the lower corners, as what scrolls does.
  const auto lower = addView(content->view(), {{0, 0}, {sheet.size.width, content->view()->bounds().size.height - 3}},
                             UIColor::whiteColor());
  addView(form->view(), form->view()->bounds(), UIColor::colorWithWhite_alpha(1, 0.5F));
  const QImage picture = look("form-sheet");
  for (const CGFloat x : {sheet.origin.x + 1, sheet.maxX() - 2}) {
    for (const CGFloat y : {sheet.origin.y + 1, sheet.maxY() - 2}) {
      EXPECT_TRUE(isDark(at(picture, x, y))) << x << " " << y;
    }
  }
  EXPECT_GT(at(picture, sheet.origin.x + 6, sheet.maxY() - 6).lightness(), 200) << "nothing else is";
  EXPECT_GT(at(picture, sheet.maxX() - 1, sheet.origin.y + 14).lightness(), 200);
  lower->setFrame({{0, 20}, {sheet.size.width, content->view()->bounds().size.height - 20}});
  const QImage changed = look("form-sheet-changed");
  EXPECT_TRUE(isDark(at(changed, 5, 25))) << "and nothing is beside the sheet";
  EXPECT_TRUE(isDark(at(changed, sheet.origin.x + 1, sheet.maxY() - 2)));
}

TEST_F(PresentationLooksTest, WhatRoundCornersCutHasNoGapsWhenWhatIsBehindChanges) {
  root()->subviews().back()->removeFromSuperview();
  for (const float fraction : {0.0F, 0.2F, 0.4F, 0.6F, 0.8F}) {
    const auto card =
        addView(root(), {{20 + fraction, 100 + fraction}, {300, 300}}, UIColor::colorWithWhite_alpha(0.8F, 1));
    card->layer()->setMasksToBounds(true);
    card->layer()->setCornerRadius(12);
    const auto behind = addView(card, card->bounds(), UIColor::colorWithWhite_alpha(0, 0.5F));
    addView(card, card->bounds(), UIColor::whiteColor());
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
  const CGRect place{{100, 100}, {100, 100}};
  addView(root(), place, UIColor::blackColor())->addSubview(wheel);
  wheel->setCenter({50, 50});
  const auto wheelPicture = [&] { return theWindow().grab().copy(inPixels(place)); };
  const auto isLight = [](QColor color) { return color.lightness() > 200; };
  EXPECT_EQ(count(theWindow().grab(), place, isLight), 0) << "nothing to be seen";
  wheel->startAnimating();
  const QImage first = wheelPicture();
  first.save(QString::fromStdString(picturePath("wheel")));
  EXPECT_GT(count(theWindow().grab(), place, isLight), 20);
  EXPECT_TRUE(waitUntil([&] { return wheelPicture() != first; }));

  wheel->removeFromSuperview();
  theWindow().grab();
  EXPECT_LE(picturesDrawnIn(300), 1) << "it would be four if the wheel still turned";
}
