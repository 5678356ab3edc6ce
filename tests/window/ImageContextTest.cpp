#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIScreen.h"
#include "tests/window/WindowTest.h"

#include <array>

namespace {

using Pixel = std::array<int, 4>;  // blue, green, red, alpha

Pixel at(const UIImage& image, int x, int y) {
  const CGImageRef pixels = image.CGImage();
  const std::uint8_t* p = pixels->pixels.data() + static_cast<std::size_t>(y) * pixels->stride + 4 * x;
  return {p[0], p[1], p[2], p[3]};
}

Strong<UIImage> plain(CGSize size, float gray, float alpha) {
  UIGraphicsBeginImageContextWithOptions(size, false, 1);
  CGContextSetGrayFillColor(UIGraphicsGetCurrentContext(), gray, alpha);
  CGContextFillRect(UIGraphicsGetCurrentContext(), {{0, 0}, size});
  const auto image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  return image;
}

}  // namespace

TEST(ImageContext, BlendsAsItsModesSay) {
  const auto half = plain({2, 2}, 1, 0.5F);
  EXPECT_EQ(at(*half, 0, 0), (Pixel{128, 128, 128, 128})) << "colour multiplied by alpha";
  const auto black = plain({2, 2}, 0, 1);

  UIGraphicsBeginImageContextWithOptions({8, 2}, false, 1);
  CGContextSetGrayFillColor(UIGraphicsGetCurrentContext(), 1, 1);
  CGContextFillRect(UIGraphicsGetCurrentContext(), {{0, 0}, {6, 2}});
  half->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::DestinationOut, 1);       // leaves half
  black->drawAtPoint_blendMode_alpha({2, 0}, CGBlendMode::DestinationOut, 0.25F);  // leaves three quarters
  black->drawAtPoint_blendMode_alpha({4, 0}, CGBlendMode::Normal, 0.25F);
  const auto image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  ASSERT_NE(image, nullptr);
  for (int channel = 0; channel < 4; ++channel) {
    const auto c = static_cast<std::size_t>(channel);
    EXPECT_NEAR(at(*image, 1, 1)[c], 127, 2);
    EXPECT_NEAR(at(*image, 3, 1)[c], 191, 2);
    EXPECT_NEAR(at(*image, 5, 1)[c], channel == 3 ? 255 : 191, 2);
    EXPECT_EQ(at(*image, 7, 1)[c], 0) << "a canvas starts transparent";
  }
}

TEST(ImageContext, HasAScaleNestsAndMayBeEmpty) {
  EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
  EXPECT_EQ(UIGraphicsGetImageFromCurrentImageContext(), nullptr);
  UIGraphicsBeginImageContextWithOptions({10, 6}, false, 2);
  CGContext* outer = UIGraphicsGetCurrentContext();
  UIGraphicsBeginImageContextWithOptions(CGSizeZero, false, 0);
  CGContextFillRect(UIGraphicsGetCurrentContext(), {{0, 0}, {5, 5}});
  EXPECT_EQ(UIGraphicsGetImageFromCurrentImageContext(), nullptr) << "as large as a picture that is missing";
  UIGraphicsEndImageContext();
  EXPECT_EQ(UIGraphicsGetCurrentContext(), outer);
  CGContextFillRect(outer, {{5, 0}, {5, 6}});
  const auto image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  UIGraphicsEndImageContext();  // one too many does no harm
  EXPECT_EQ(image->size(), CGSizeMake(10, 6));
  EXPECT_EQ(image->CGImage()->width, 20);
  EXPECT_EQ(at(*image, 9, 11)[3], 0);
  EXPECT_EQ(at(*image, 10, 11)[3], 255);

  UIGraphicsBeginImageContextWithOptions({10, 10}, true, 0);
  const auto opaque = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  EXPECT_TRUE(opaque->CGImage()->opaque);
  EXPECT_EQ(opaque->scale(), UIScreen::mainScreen().scale());
}

TEST(Text, IsBrokenWhereItReadsWellAndHasRoomInAllScripts) {
  const UIFont font = UIFont::systemFontOfSize(20);
  const auto broken = [&](const std::string& text, const std::string& inWidthOf) {
    return UITextSizeInWidth(text, font, UITextSize(inWidthOf, font).width + 1);
  };
  const auto width = [&](const std::string& text) { return UITextSize(text, font).width; };
  EXPECT_NEAR(broken("Kopie sichern …", "Kopie sichern").width, width("sichern …"), 1) << "no line begins with dots";
  EXPECT_NEAR(broken("It is in /home/anna/talk.mp4", "It is in /home").width, width("/home/anna/"), 1)
      << "a path stays whole as far as it can";
  EXPECT_GT(UITextSize("日本語", UIFont::systemFontOfSize(20)).width, 40) << "letters of other scripts have room, too";
}
