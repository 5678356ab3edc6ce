#include "tests/window/WindowTest.h"

#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIToolbar.h"

#include <cmath>

namespace {

/// A colourful picture: coloured discs on a gradient.
CGImageRef colourfulPicture(int width, int height) {
  auto image = std::make_shared<CGImage>(width, height);
  image->opaque = true;
  for (int y = 0; y < height; ++y) {
    std::uint8_t* line = image->pixels.data() + static_cast<std::size_t>(y) * image->stride;
    for (int x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      const bool disc = std::fmod(u * 4, 1.0) > 0.3 && std::fmod(v * 7 + u, 1.0) > 0.4;
      line[4 * x] = static_cast<std::uint8_t>(disc ? 40 : 255 * v);
      line[4 * x + 1] = static_cast<std::uint8_t>(disc ? 255 * u : 90);
      line[4 * x + 2] = static_cast<std::uint8_t>(disc ? 230 : 255 * (1 - u));
      line[4 * x + 3] = 255;
    }
  }
  return image;
}

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

}  // namespace

class LooksTest : public WindowTest {};

TEST_F(LooksTest, ShowsTwoBarsOverAPicture) {
  const Strong<UIImage> picture = std::make_shared<UIImage>(colourfulPicture(750, 1334), 2.0F);
  root()->addSubview(UIImageView::initWithImage(picture));
  const auto title = makeLabel({{0, 0}, {120, 15}}, 16, "Juggling");
  title->addSubview(makeLabel({{0, 15}, {120, 15}}, 10, "March 5 09:07 AM"));
  const auto top =
      makeToolbar({{0, 0}, {375, 60}}, {item(UIBarButtonSystemItem::Cancel), item(UIBarButtonSystemItem::FlexibleSpace),
                                        UIBarButtonItem::initWithCustomView(title),
                                        item(UIBarButtonSystemItem::FlexibleSpace), item(UIBarButtonSystemItem::Save)});
  const auto bottom = makeToolbar({{0, 623}, {375, 44}},
                                  {item(UIBarButtonSystemItem::Action), item(UIBarButtonSystemItem::FlexibleSpace),
                                   item(UIBarButtonSystemItem::Play), item(UIBarButtonSystemItem::FlexibleSpace),
                                   item(UIBarButtonSystemItem::Pause)});
  root()->addSubview(bottom);
  root()->addSubview(top);
  const auto backdrop = UIBackdropView::initWithFrame_privateStyle({{0, 585}, {375, 38}}, 2010);
  root()->addSubview(backdrop);

  EXPECT_TRUE(theWindow().grab().save(QString::fromStdString(picturePath("bars"))));
}
