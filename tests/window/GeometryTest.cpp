#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIImageView.h"
#include "tests/window/Pictures.h"

#include "platform/backends/qt/LayerItem.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <cmath>

class GeometryTest : public WindowTest {
 protected:
  static LayerItem* itemOf(const Strong<UIView>& view) {
    return theWindow().mirror().itemForLayer(view->layer().get());
  }
  static QColor colorAt(CGFloat x, CGFloat y) { return pictures::at(theWindow().grab(), x, y); }
};

TEST_F(GeometryTest, ItemsLieWhereTheirLayersLieOnWholePixels) {
  const auto outer = addView(root(), {{10.3F, 20.7F}, {200.4F, 100.2F}}, {1, 0, 0, 1});
  const auto inner = addView(outer, {{5.4F, 7.4F}, {50.5F, 30.25F}}, {0, 1, 0, 1});
  theWindow().commit();

  const qreal ratio = theWindow().mirror().pixelRatio();
  for (const auto& [item, exact] : {std::pair(itemOf(outer), QRectF(10.3, 20.7, 200.4, 100.2)),
                                    std::pair(itemOf(inner), QRectF(15.7, 28.1, 50.5, 30.25))}) {
    ASSERT_NE(item, nullptr);
    const QRectF place(item->mapToScene(QPointF(0, 0)), item->size());
    EXPECT_LE(std::abs(place.left() - exact.left()) * ratio, 0.51);
    EXPECT_LE(std::abs(place.bottom() - exact.bottom()) * ratio, 0.51);
    for (const qreal edge : {place.left(), place.top(), place.right(), place.bottom()}) {
      EXPECT_NEAR(edge * ratio, std::round(edge * ratio), 1e-6);
    }
  }
}

TEST_F(GeometryTest, StackingFollowsTheSublayers) {
  // A view with a visual of its own: its sublayers have to stay in front of the visual.
  const auto holder = UIImageView::initWithImage(std::make_shared<UIImage>(pictures::colourful(100, 100), 1.0F));
  root()->addSubview(holder);
  const auto red = addView(holder, {{0, 0}, {100, 100}}, {1, 0, 0, 1});
  const auto green = addView(holder, {{0, 0}, {100, 100}}, {0, 1, 0, 1});
  const auto blue = addView(holder, {{0, 0}, {100, 100}}, {0, 0, 1, 1});
  EXPECT_EQ(colorAt(50, 50), QColor(Qt::blue));
  holder->addSubview(red);
  EXPECT_EQ(colorAt(50, 50), QColor(Qt::red));
  green->removeFromSuperview();
  holder->insertSubview_belowSubview(green, blue);
  red->setHidden(true);
  EXPECT_EQ(colorAt(50, 50), QColor(Qt::blue));
  blue->setAlpha(0.5F);
  const QColor mixed = colorAt(50, 50);
  EXPECT_NEAR(mixed.green(), 128, 2);
  EXPECT_NEAR(mixed.blue(), 128, 2);
  EXPECT_EQ(mixed.red(), 0);
  // Moved into another view, and out of the tree.
  root()->addSubview(green);
  green->setFrame({{200, 200}, {50, 50}});
  blue->removeFromSuperview();
  EXPECT_EQ(colorAt(220, 220), QColor(0, 255, 0));
  EXPECT_EQ(itemOf(blue), nullptr);
  holder->removeFromSuperview();
  theWindow().commit();
  EXPECT_EQ(itemOf(red), nullptr) << "an item goes with its layer's place in the tree";
  EXPECT_EQ(theWindow().quickWindow().contentItem()->childItems().value(0)->childItems().size(), 1);
}

TEST_F(GeometryTest, AnAnimationRunsThroughItsValuesAndThenNothingMoves) {
  const auto moving = addView(root(), {{0, 0}, {100, 100}}, {1, 0, 0, 1});
  theWindow().commit();

  std::vector<qreal> opacities, places;
  const auto watch = QObject::connect(&theWindow().quickWindow(), &QQuickWindow::afterRendering, [&] {
    opacities.push_back(itemOf(moving)->opacity());
    places.push_back(itemOf(moving)->x());
  });
  // A machine that stalls leaves pictures out; it does not do so every time.
  bool smooth = false;
  for (int attempt = 0; attempt < 8 && !smooth; ++attempt) {
    moving->setAlpha(1);
    moving->setFrame({{0, 0}, {100, 100}});
    theWindow().commit();
    opacities.clear();
    places.clear();
    bool finished = false;
    QElapsedTimer timer;
    timer.start();
    UIView::animateWithDuration_animations_completion(
        0.25,
        [&] {
          moving->setAlpha(0.2F);
          moving->setFrame({{100, 0}, {100, 100}});
        },
        [&](bool completed) { finished = completed; });
    EXPECT_NEAR(moving->alpha(), 0.2, 1e-6) << "the model has its new value at once";
    ASSERT_TRUE(waitUntil([&] { return finished; }));
    EXPECT_GE(timer.elapsed(), 240);
    const auto between = std::count_if(places.begin(), places.end(), [](qreal x) { return x > 20 && x < 80; });
    smooth = timer.elapsed() <= 600 && opacities.size() >= 5 && between >= 2;
    EXPECT_LE(static_cast<qint64>(opacities.size()), timer.elapsed() / 8 + 10) << "no more frames than a screen shows";
    EXPECT_TRUE(std::is_sorted(opacities.rbegin(), opacities.rend()));
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
    theWindow().commit();
    EXPECT_NEAR(itemOf(moving)->opacity(), 0.2, 1e-6);
    EXPECT_NEAR(itemOf(moving)->x(), 100, 1e-6);
  }
  QObject::disconnect(watch);
  EXPECT_TRUE(smooth);

  // At rest: no commit, no frame, no timer.
  QCoreApplication::processEvents();
  const long commits = theWindow().mirror().commitCount();
  EXPECT_EQ(picturesDrawnIn(300), 0);
  EXPECT_EQ(theWindow().mirror().commitCount(), commits);
}
