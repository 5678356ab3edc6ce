#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/PictureItem.h"
#include "tests/window/Pictures.h"
#include "tests/window/WindowTest.h"

#include <QFont>
#include <QQuickItem>
#include <cstdlib>
#include <functional>

namespace {

using pictures::at, pictures::count, pictures::isBlue, pictures::isDark;
using Item = UIBarButtonSystemItem;

Strong<UILabel> makeLabel(CGRect frame, CGFloat size, const std::string& text) {
  auto label = std::make_shared<UILabel>();
  label->setFrame(frame);
  label->setFont(UIFont::systemFontOfSize(size));
  label->setTextAlignment(NSTextAlignment::Center);
  label->setText(text);
  return label;
}

}  // namespace

class LooksTest : public WindowTest {
 protected:
  void showPicture() {
    root()->addSubview(UIImageView::initWithImage(std::make_shared<UIImage>(pictures::colourful(750, 1334), 2.0F)));
  }
};

TEST_F(LooksTest, TextsThatTheirFontLacksMayTakeAnother) {
  for (const char* words : {"Juggling", "ジャグリング", "مشاركة"}) {
    root()->addSubview(makeLabel({{0, 0}, {120, 15}}, 16, words));
  }
  theWindow().commit();
  int found = 0;
  const std::function<void(QQuickItem*)> look = [&](QQuickItem* item) {
    const QString text = item->property("text").toString();
    if (!text.isEmpty()) {
      ++found;
      const auto font = item->property("font").value<QFont>();
      EXPECT_EQ((font.styleStrategy() & QFont::NoFontMerging) != 0, text == "Juggling") << text.toStdString();
    }
    for (QQuickItem* child : item->childItems()) look(child);
  };
  look(theWindow().quickWindow().contentItem());
  EXPECT_EQ(found, 3);
}

TEST_F(LooksTest, BarsShowTheirItemsAndNothingIsCutOff) {
  showPicture();
  const auto title = makeLabel({{0, 0}, {120, 15}}, 16, "Juggling");
  title->addSubview(makeLabel({{0, 15}, {120, 15}}, 10, "March 5 09:07 AM"));
  const auto cancel = barItem(Item::Cancel), save = barItem(Item::Save), share = barItem(Item::Action),
             play = barItem(Item::Play), space = barItem(Item::FlexibleSpace);
  const auto bottom = addToolbar(root(), {{0, 623}, {375, 44}}, {share, space, play, space});
  const auto top =
      addToolbar(root(), {{0, 0}, {375, 60}}, {cancel, space, UIBarButtonItem::initWithCustomView(title), space, save});
  root()->addSubview(UIBackdropView::initWithFrame_privateStyle({{0, 585}, {375, 38}}, 2010));

  const QImage picture = theWindow().grab();
  EXPECT_TRUE(picture.save(QString::fromStdString(picturePath("bars"))));
  const qreal ratio = theWindow().mirror().pixelRatio();
  EXPECT_EQ(picture.size(), (QSizeF(375, 667) * ratio).toSize());
  for (const auto& word : {cancel, save}) {
    EXPECT_GT(count(picture, top->frameOfItem(word.get()), isBlue), 60);
  }
  for (const auto& symbol : {share, play}) {
    CGRect frame = bottom->frameOfItem(symbol.get());
    frame.origin.y += 623;
    EXPECT_GT(count(picture, frame, isBlue), 60);
  }
  // The first line's descender reaches below its 15 points, its capital above what a cut line would leave.
  const CGPoint origin = title->convertPointToWindow({0, 0});
  EXPECT_GT(count(picture, {{origin.x, origin.y + 15}, {60, 2}}, isDark), 0);
  EXPECT_GT(count(picture, {{origin.x, origin.y + 17}, {120, 13}}, isDark), 60);

  // Under the finger an item fades at once, and comes back.
  const CGRect frame = top->frameOfItem(cancel.get());
  const CGPoint middle{frame.origin.x + frame.size.width / 2, 30};
  theWindow().sendPointer(UIAutomation::Pointer::Press, middle);
  EXPECT_EQ(count(theWindow().grab(), frame, isBlue), 0);
  theWindow().sendPointer(UIAutomation::Pointer::Release, middle);
  EXPECT_GT(count(theWindow().grab(), frame, isBlue), 60);
}

TEST_F(LooksTest, ALongLabelEndsInAnEllipsis) {
  root()->setBackgroundColor(UIColor::whiteColor());
  root()->addSubview(makeLabel({{100, 100}, {60, 15}}, 16, "A very long name of an application"));
  const QImage picture = theWindow().grab();
  EXPECT_GT(count(picture, {{100, 95}, {60, 25}}, isDark), 30);
  EXPECT_EQ(count(picture, {{161, 95}, {200, 25}}, isDark), 0);
  EXPECT_EQ(count(picture, {{0, 95}, {99, 25}}, isDark), 0);
}

TEST_F(LooksTest, ABackdropBlursWhatIsBehindAndOnlyWhenThatChanges) {
  const auto left = addView(root(), {{0, 0}, {187, 667}}, {1, 0, 0, 1});
  addView(root(), {{187, 0}, {188, 667}}, {0, 0, 1, 1});
  const auto backdrop = UIBackdropView::initWithFrame_privateStyle({{0, 300}, {375, 60}}, 2010);
  root()->addSubview(backdrop);
  const auto inFront = addView(root(), {{0, 100}, {10, 10}}, {0, 0, 0, 0});
  const QImage picture = theWindow().grab();
  EXPECT_GT(at(picture, 10, 330).red(), at(picture, 10, 330).blue() + 20);
  EXPECT_GT(at(picture, 365, 330).blue(), at(picture, 365, 330).red() + 20);
  EXPECT_GT(at(picture, 10, 330).blue(), 150) << "whitened";
  const QColor middle = at(picture, 187, 330);
  EXPECT_NEAR(middle.red(), middle.blue(), 16) << "one side runs into the other";
  EXPECT_EQ(at(picture, 10, 297), QColor(Qt::red)) << "nothing is blurred outside";

  const auto* shown =
      dynamic_cast<PictureItem*>(theWindow().mirror().itemForLayer(backdrop->layer().get())->childItems().value(0));
  ASSERT_NE(shown, nullptr);
  const qint64 first = shown->image().cacheKey();
  inFront->setBackgroundColor({0, 1, 0, 1});
  theWindow().grab();
  EXPECT_EQ(shown->image().cacheKey(), first) << "what lies in front is none of its business";
  left->setBackgroundColor({0, 1, 0, 1});
  EXPECT_GT(at(theWindow().grab(), 10, 330).green(), at(theWindow().grab(), 10, 330).red() + 20);
}

/// The large play button, made from the bundle's own pictures.
TEST_F(LooksTest, MaskPicturesMakeAFrostedDiscWithATriangle) {
  showPicture();
  const auto bundle = NSBundle::bundleWithPath(ZEVANTI_SOURCE_DIR "/resources/ZVVideoEditorExtension.appex");
  ASSERT_NE(bundle, nullptr);
  const auto background = UIImage::imageNamed_inBundle("ZVVideoOverlayBackgroundMask", bundle);
  const auto glyph = UIImage::imageNamed_inBundle("ZVVideoOverlayGlyphMask", bundle);
  ASSERT_TRUE(background && glyph);
  const CGSize size = background->size();

  // A backdrop that the pictures cut, with the glyph over it.
  const auto fine = addView(root(), {{0.5F * 375 - 0.5F * size.width, 400}, size}, UIColor::clearColor());
  const auto backdrop = UIBackdropView::initWithPrivateStyle(2010);
  const auto mask = UIImageView::initWithImage(background);
  mask->_setBackdropMaskViewFlags(7);
  mask->setAlpha(0);
  const auto button = std::make_shared<UIButton>();
  button->setImage_forState(glyph, UIControlStateNormal);
  button->sizeToFit();
  button->setAlpha(0.3F);
  button->_setBackdropMaskViewFlags(3);
  fine->addSubview(backdrop);
  fine->addSubview(button);
  fine->addSubview(mask);
  backdrop->updateMaskViewsForView(mask);
  backdrop->updateMaskViewsForView(button);

  const QImage with = theWindow().grab();
  EXPECT_TRUE(with.save(QString::fromStdString(picturePath("overlay"))));
  fine->setHidden(true);
  const QImage without = theWindow().grab();
  const auto fromMiddle = [&](const QImage& picture, CGFloat x, CGFloat y) {
    return at(picture, 187.5F + x, 400 + size.height / 2 + y);
  };
  const CGFloat edge = size.width / 2 - 2;
  EXPECT_EQ(fromMiddle(with, -edge, -edge), fromMiddle(without, -edge, -edge)) << "nothing outside the disc";
  for (const auto& [x, y] : {std::pair(-edge + 4, 0.0F), std::pair(0.0F, edge - 4), std::pair(0.0F, 4 - edge)}) {
    EXPECT_GT(fromMiddle(with, x, y).lightness(), 175) << "white at " << x << ", " << y;
  }
  const QColor behind = fromMiddle(without, 0, 0), triangle = fromMiddle(with, 0, 0);
  EXPECT_NEAR(triangle.red(), behind.red() * 0.7, 3) << "the picture, seven tenths as bright";
  EXPECT_NEAR(triangle.green(), behind.green() * 0.7, 3);
  EXPECT_NEAR(triangle.blue(), behind.blue() * 0.7, 3);
}

/// At half points, where nothing lies on whole pixels by itself.
TEST_F(LooksTest, ABarsLineStaysWhenWhatIsAroundChanges) {
  root()->setBackgroundColor(UIColor::blackColor());
  const auto strip = UIBackdropView::initWithPrivateStyle(2010);
  strip->setFrame({{0, 585}, {375, 38}});
  const auto content = addView(strip, {{0, 0}, {375, 38}}, {1, 0, 0, 1});
  root()->addSubview(strip);
  addToolbar(root(), {{0, 623}, {375, 44}}, {barItem(Item::Done)});
  for (int i = 0; i < 6; ++i) {
    content->setBackgroundColor(UIColor{i % 2 == 0 ? 1.0F : 0.0F, 0, 0, 1});
    theWindow().grab();
    root()->setBackgroundColor(UIColor{0, 0, i % 2 == 0 ? 0.1F : 0.0F, 1});
    theWindow().grab();
  }
  content->setBackgroundColor(UIColor{0, 0, 0, 0});
  const QImage picture = theWindow().grab();
  const int row = qRound(623 * theWindow().mirror().pixelRatio());
  const int bar = picture.pixelColor(20, row + 3).lightness();
  EXPECT_GT(bar, 200);
  EXPECT_NEAR(picture.pixelColor(20, row).lightness(), bar * 0.75, 4);
}

TEST_F(LooksTest, TheFocusRingIsDrawnAroundTheFocusedItem) {
  root()->setBackgroundColor(UIColor::whiteColor());
  addToolbar(root(), {{0, 0}, {375, 60}}, {barItem(Item::FlexibleSpace), barItem(Item::Done)});
  const auto ringPixels = [&] {
    return count(theWindow().grab(), {{300, 0}, {75, 10}}, [](QColor c) { return c.blue() > c.red() + 60; });
  };
  EXPECT_EQ(ringPixels(), 0);
  theWindow().sendKey("Tab");
  EXPECT_GT(ringPixels(), 40);
  theWindow().grab().save(QString::fromStdString(picturePath("focus")));
  theWindow().sendPointer(UIAutomation::Pointer::Press, {20, 300});
  theWindow().sendPointer(UIAutomation::Pointer::Release, {20, 300});
  EXPECT_EQ(ringPixels(), 0);
}

/// A process has one scale, so the other scales run in processes of their own.
TEST(LooksAtScale, AllLooksHoldAtOtherScales) {
  if (std::getenv("ZEVANTI_TEST_SCALE")) {
    GTEST_SKIP() << "already in one of them";
  }
  constexpr const char* all = "LooksTest.*:GeometryTest.*:PresentationLooksTest.*";
  for (const auto& [scale, tests] :
       {std::pair("1.5", all), std::pair("2", all), std::pair("1.25", "PresentationLooksTest.WhatRoundCorners*")}) {
    const std::string command =
        std::string("ZEVANTI_TEST_SCALE=") + scale + " '" + theProgram() + "' --gtest_filter='" + tests + "' >&2";
    EXPECT_EQ(std::system(command.c_str()), 0) << "at scale " << scale;
  }
}
