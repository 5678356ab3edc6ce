#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIToolbar.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/PictureItem.h"
#include "tests/window/Pictures.h"
#include "tests/window/WindowTest.h"

#include <QFont>
#include <QQuickItem>
#include <cstdlib>
#include <functional>

namespace {

Strong<UILabel> makeLabel(CGRect frame, CGFloat size, const std::string& text) {
  auto label = std::make_shared<UILabel>();
  label->setFrame(frame);
  label->setFont(UIFont::systemFontOfSize(size));
  label->setTextAlignment(NSTextAlignment::Center);
  label->setText(text);
  return label;
}

Strong<UIBarButtonItem> item(UIBarButtonSystemItem kind) {
  return UIBarButtonItem::initWithBarButtonSystemItem_target_action(kind, nullptr, SEL());
}

Strong<UIToolbar> makeToolbar(CGRect frame, std::vector<Strong<UIBarButtonItem>> items) {
  auto bar = std::make_shared<UIToolbar>();
  bar->setFrame(frame);
  bar->setItems(std::move(items));
  return bar;
}

bool isBlue(QColor color) {
  return color.blue() > 200 && color.red() < 100;
}
bool isDark(QColor color) {
  return color.lightness() < 110;
}

}  // namespace

class LooksTest : public WindowTest {
 protected:
  void showPicture() {
    root()->addSubview(UIImageView::initWithImage(std::make_shared<UIImage>(pictures::colourful(750, 1334), 2.0F)));
  }
  /// How many pixels of a place of the window (in points) are so.
  int count(const QImage& picture, CGRect place, bool (*is)(QColor)) {
    const qreal ratio = theWindow().mirror().pixelRatio();
    return pictures::count(
        picture,
        QRectF(place.origin.x * ratio, place.origin.y * ratio, place.size.width * ratio, place.size.height * ratio)
            .toAlignedRect(),
        is);
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
  const auto cancel = item(UIBarButtonSystemItem::Cancel);
  const auto save = item(UIBarButtonSystemItem::Save);
  const auto share = item(UIBarButtonSystemItem::Action);
  const auto play = item(UIBarButtonSystemItem::Play);
  const auto space = item(UIBarButtonSystemItem::FlexibleSpace);
  const auto top =
      makeToolbar({{0, 0}, {375, 60}}, {cancel, space, UIBarButtonItem::initWithCustomView(title), space, save});
  const auto bottom = makeToolbar({{0, 623}, {375, 44}}, {share, space, play, space});
  root()->addSubview(bottom);
  root()->addSubview(top);
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

TEST_F(LooksTest, ImageInsetsMoveASymbolInAHighBar) {
  root()->setBackgroundColor(UIColor::whiteColor());
  const auto play = item(UIBarButtonSystemItem::Play);
  const auto bar = makeToolbar({{0, 0}, {375, 60}}, {play});
  root()->addSubview(bar);
  QImage picture = theWindow().grab();
  EXPECT_GT(count(picture, {{0, 14}, {60, 2}}, isBlue), 0);
  EXPECT_EQ(count(picture, {{0, 34}, {60, 4}}, isBlue), 0);

  play->setImageInsets({8, 0, -8, 0});
  picture = theWindow().grab();
  EXPECT_EQ(count(picture, {{0, 14}, {60, 2}}, isBlue), 0);
  EXPECT_GT(count(picture, {{0, 34}, {60, 4}}, isBlue), 0);
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
  const auto left = std::make_shared<UIView>(), right = std::make_shared<UIView>();
  left->setFrame({{0, 0}, {187, 667}});
  left->setBackgroundColor({1, 0, 0, 1});
  right->setFrame({{187, 0}, {188, 667}});
  right->setBackgroundColor({0, 0, 1, 1});
  root()->addSubview(left);
  root()->addSubview(right);
  const auto backdrop = UIBackdropView::initWithFrame_privateStyle({{0, 300}, {375, 60}}, 2010);
  const auto inFront = std::make_shared<UIView>();
  inFront->setFrame({{0, 100}, {10, 10}});
  root()->addSubview(backdrop);
  root()->addSubview(inFront);

  const qreal ratio = theWindow().mirror().pixelRatio();
  const auto at = [ratio](const QImage& picture, qreal x, qreal y) {
    return picture.pixelColor(static_cast<int>(x * ratio), static_cast<int>(y * ratio));
  };
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

/// Both forms of the large play button, made from the bundle's own pictures.
TEST_F(LooksTest, MaskPicturesMakeAFrostedDiscWithATriangle) {
  showPicture();
  const auto bundle = NSBundle::bundleWithPath(ZEVANTI_SOURCE_DIR "/resources/ZVVideoEditorExtension.appex");
  ASSERT_NE(bundle, nullptr);
  const auto background = UIImage::imageNamed_inBundle("ZVVideoOverlayBackgroundMask", bundle);
  const auto glyph = UIImage::imageNamed_inBundle("ZVVideoOverlayGlyphMask", bundle);
  ASSERT_TRUE(background && glyph);
  EXPECT_EQ(background->size(), glyph->size()) << "both forms are to look the same";
  const CGSize size = background->size();

  // The flat form is drawn into a picture.
  UIGraphicsBeginImageContextWithOptions(size, false, 0);
  CGContextSetGrayFillColor(UIGraphicsGetCurrentContext(), 0.96F, 0.96F);
  CGContextFillRect(UIGraphicsGetCurrentContext(), {{0, 0}, size});
  background->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::DestinationOut, 1);
  glyph->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::DestinationOut, 1);
  glyph->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::Normal, 0.3F);
  const auto flat = std::make_shared<UIButton>();
  flat->setImage_forState(UIGraphicsGetImageFromCurrentImageContext(), UIControlStateNormal);
  UIGraphicsEndImageContext();
  flat->sizeToFit();
  flat->setFrame({{0.5F * 375 - 0.5F * size.width, 200}, size});
  root()->addSubview(flat);

  // The other form is a backdrop that the pictures cut, with the glyph over it.
  const auto fine = std::make_shared<UIView>();
  fine->setFrame({{0.5F * 375 - 0.5F * size.width, 400}, size});
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
  root()->addSubview(fine);

  const QImage with = theWindow().grab();
  EXPECT_TRUE(with.save(QString::fromStdString(picturePath("overlay"))));
  flat->setHidden(true);
  fine->setHidden(true);
  const QImage without = theWindow().grab();
  const qreal ratio = theWindow().mirror().pixelRatio();
  for (const int top : {200, 400}) {
    SCOPED_TRACE(top);
    const auto at = [&](const QImage& picture, CGFloat x, CGFloat y) {
      return picture.pixelColor(static_cast<int>((187.5F + x) * ratio),
                                static_cast<int>((static_cast<CGFloat>(top) + size.height / 2 + y) * ratio));
    };
    const CGFloat edge = size.width / 2 - 2;
    EXPECT_EQ(at(with, -edge, -edge), at(without, -edge, -edge)) << "nothing outside the disc";
    for (const auto& [x, y] : {std::pair(-edge + 4, 0.0F), std::pair(0.0F, edge - 4), std::pair(0.0F, 4 - edge)}) {
      EXPECT_GT(at(with, x, y).lightness(), 175) << "white at " << x << ", " << y;
    }
    const QColor behind = at(without, 0, 0), triangle = at(with, 0, 0);
    EXPECT_NEAR(triangle.red(), behind.red() * 0.7, 3) << "the picture, seven tenths as bright";
    EXPECT_NEAR(triangle.green(), behind.green() * 0.7, 3);
    EXPECT_NEAR(triangle.blue(), behind.blue() * 0.7, 3);
  }
}

/// At half points, where nothing lies on whole pixels by itself.
TEST_F(LooksTest, ABarsLineStaysWhenWhatIsAroundChanges) {
  root()->setBackgroundColor(UIColor::blackColor());
  const auto strip = UIBackdropView::initWithPrivateStyle(2010);
  strip->setFrame({{0, 585}, {375, 38}});
  const auto content = std::make_shared<UIView>();
  content->setFrame({{0, 0}, {375, 38}});
  strip->addSubview(content);
  root()->addSubview(strip);
  root()->addSubview(makeToolbar({{0, 623}, {375, 44}}, {item(UIBarButtonSystemItem::Done)}));
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
  const auto done = item(UIBarButtonSystemItem::Done);
  const auto bar = makeToolbar({{0, 0}, {375, 60}}, {item(UIBarButtonSystemItem::FlexibleSpace), done});
  root()->addSubview(bar);
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
  for (const std::string scale : {"1.5", "2"}) {
    const std::string command = "ZEVANTI_TEST_SCALE=" + scale + " '" + theProgram() +
                                "' --gtest_filter='LooksTest.*:GeometryTest.*:PresentationLooksTest.*' >&2";
    EXPECT_EQ(std::system(command.c_str()), 0) << "at scale " << scale;
  }
  const std::string command =
      "ZEVANTI_TEST_SCALE=1.25 '" + theProgram() + "' --gtest_filter='PresentationLooksTest.WhatRoundCorners*' >&2";
  EXPECT_EQ(std::system(command.c_str()), 0) << "at scale 1.25";
}
