// What a person sees of it, in a real window.

#include "ScrubberFixture.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/UIKit/UIViewController.h"

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QImage>
#include <QTimer>
#include <cstdlib>
#include <filesystem>

using Scrubber = UIMovieScrubber;

class ScrubberPictureTest : public ScrubberTest {
 protected:
  void SetUp() override {
    ScrubberTest::SetUp();
    controller_ = std::make_shared<UIViewController>();
    testWindow().present(controller_);
    controller_->view()->setBackgroundColor({0.5f, 0.5f, 0.5f, 1});
    controller_->view()->addSubview(container);
    container->setBackgroundColor({0.9f, 0.9f, 0.9f, 1});
  }
  void TearDown() override { testWindow().dismiss(); }

  QImage shot(const std::string& name) {
    QTimer::singleShot(100, [] { QCoreApplication::exit(0); });
    QCoreApplication::exec();
    const auto folder = std::filesystem::path(ZEVANTI_BUILD_DIR) / "pictures";
    std::filesystem::create_directories(folder);
    const char* scale = std::getenv("ZEVANTI_TEST_SCALE");
    const auto path = (folder / ("timeline-" + name + "@" + (scale ? scale : "1") + ".png")).string();
    bool written = false;
    testWindow().screenshot(path, [&written](bool done) { written = done; });
    EXPECT_TRUE(written);
    const QImage image(QString::fromStdString(path));
    ratio_ = image.width() / 375.0;
    return image;
  }
  /// The colour at a place in the control, in points.
  QColor at(const QImage& image, double x, double y) const {
    return image.pixelColor(static_cast<int>(x * ratio_), static_cast<int>((100 + y) * ratio_));
  }
  static bool near(const QColor& a, const QColor& b) {
    return std::abs(a.red() - b.red()) < 12 && std::abs(a.green() - b.green()) < 12 &&
           std::abs(a.blue() - b.blue()) < 12;
  }

  Strong<UIViewController> controller_;
  double ratio_ = 1;
};

TEST_F(ScrubberPictureTest, EachPictureLiesAtItsTime) {
  // The colours go round with time.
  const auto deliverColours = [this] {
    deliver(
        [](double time) { return plainPicture(QColor::fromHsvF(static_cast<float>(time / 60 * 0.8), 0.7f, 0.9f)); });
  };
  const auto hueAt = [this](const QImage& image, double seconds) {
    return at(image, x(seconds) + 2, 29).hsvHueF();  // just right of where the picture begins
  };
  deliverColours();
  scrubber->setValue(30);
  QImage image = shot("colours");
  for (int i = 1; i < 7; ++i) EXPECT_NEAR(hueAt(image, 60.0 / 7 * i), 0.8 / 7 * i, 0.02);

  drag(Scrubber::HandleEnd, 50);
  const auto grab = scrubber->grabPointForHandle(Scrubber::HandleEnd);
  press(grab.x);
  clock.pass(1.1);
  deliverColours();
  image = shot("colours-zoomed");
  EXPECT_NEAR(hueAt(image, 49), 0.8 * 49 / 60, 0.02);
  release(grab.x);
}

TEST_F(ScrubberPictureTest, ShowsPicturesPlayheadAndTime) {
  const QColor blue(30, 60, 220), white(Qt::white);
  scrubber->setValue(30);
  QImage image = shot("empty");
  EXPECT_LT(at(image, 60, 19).lightness(), 60);
  deliver([&](double) { return plainPicture(blue); });
  image = shot("pictures");
  EXPECT_TRUE(near(at(image, 60, 19), blue));
  EXPECT_TRUE(near(at(image, 340, 10), blue));
  EXPECT_TRUE(near(at(image, x(30), 19), white));
  EXPECT_TRUE(near(at(image, x(30), 3), white));  // higher than the strip
  EXPECT_FALSE(near(at(image, x(30) + 6, 19), white));

  EXPECT_TRUE(near(at(image, 60, -20), QColor(128, 128, 128)));
  press(x(30));
  image = shot("time");
  EXPECT_LT(at(image, x(30) - 30, -20).lightness(), 70);  // a dark pill above the finger
  release(x(30));

  drag(Scrubber::HandleStart, 15);
  clock.pass(1);
  const auto grab = scrubber->grabPointForHandle(Scrubber::HandleStart);
  press(grab.x);
  clock.pass(1);
  image = shot("zoomed");
  EXPECT_LT(at(image, 2, 19).lightness(), 80);  // up to the edge
  EXPECT_FALSE(near(at(image, x(15) + 1, 19), white));
  release(grab.x);
}
