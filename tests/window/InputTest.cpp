#include "tests/window/WindowTest.h"

#include <qpa/qwindowsysteminterface.h>
#include <QCoreApplication>
#include <QPointingDevice>
#include <QScreen>

namespace {

/// Notes every touch and hover.
class Touched : public UIView {
 public:
  void handleTouch(const UITouch& touch) override { touches.push_back(touch); }
  void handleHover(std::optional<CGPoint> point) override { hover = point; }
  std::vector<UITouch> touches;
  std::optional<CGPoint> hover;
};

class InputTest : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    view = std::make_shared<Touched>();
    view->setFrame({{50, 100}, {200, 200}});
    root()->addSubview(view);
    theWindow().commit();
  }
  Strong<Touched> view;
};

}  // namespace

TEST_F(InputTest, TheMouseIsFingerZeroInPoints) {
  theWindow().sendPointer(UIAutomation::Pointer::Move, {60, 110});
  ASSERT_TRUE(view->hover.has_value());
  EXPECT_EQ(*view->hover, (CGPoint{10, 10}));
  theWindow().sendPointer(UIAutomation::Pointer::Press, {60, 110});
  theWindow().sendPointer(UIAutomation::Pointer::Move, {300, 500});
  theWindow().sendPointer(UIAutomation::Pointer::Release, {300, 500});
  ASSERT_EQ(view->touches.size(), 3U);
  EXPECT_EQ(view->touches[0].locationInWindow, (CGPoint{60, 110}));
  EXPECT_EQ(view->touches[1].locationInWindow, (CGPoint{300, 500})) << "outside the view too";
  for (const UITouch& touch : view->touches) {
    EXPECT_EQ(touch.identifier, 0);
  }
  EXPECT_LE(view->touches[0].timestamp, view->touches[2].timestamp);

  theWindow().sendPointer(UIAutomation::Pointer::Move, {10, 10});
  EXPECT_FALSE(view->hover.has_value());
}

TEST_F(InputTest, FingersCountFromOne) {
  const QPointingDevice device("screen", 7, QInputDevice::DeviceType::TouchScreen, QPointingDevice::PointerType::Finger,
                               QInputDevice::Capability::Position, 5, 0);
  QWindowSystemInterface::registerInputDevice(&device);
  const qreal ratio = theWindow().mirror().pixelRatio();
  const auto send = [&](std::vector<std::pair<QPointF, QEventPoint::State>> fingers) {
    QList<QWindowSystemInterface::TouchPoint> points;
    for (const auto& [place, state] : fingers) {
      QWindowSystemInterface::TouchPoint point;
      point.id = static_cast<int>(points.size());
      point.state = state;
      const QPointF global = theWindow().quickWindow().mapToGlobal(place) * ratio;
      point.area = QRectF(global - QPointF(1, 1), QSizeF(2, 2));
      points.append(point);
    }
    QWindowSystemInterface::handleTouchEvent<QWindowSystemInterface::SynchronousDelivery>(&theWindow().quickWindow(),
                                                                                          &device, points);
  };
  send({{{60, 110}, QEventPoint::State::Pressed}});
  send({{{60, 110}, QEventPoint::State::Stationary}, {{100, 150}, QEventPoint::State::Pressed}});
  send({{{70, 120}, QEventPoint::State::Updated}, {{100, 150}, QEventPoint::State::Released}});
  send({{{70, 120}, QEventPoint::State::Released}});
  std::vector<std::pair<int, UITouchPhase>> heard;
  for (const UITouch& touch : view->touches) heard.emplace_back(touch.identifier, touch.phase);
  using Phase = UITouchPhase;
  EXPECT_EQ(heard, (decltype(heard){
                       {1, Phase::Began}, {2, Phase::Began}, {1, Phase::Moved}, {2, Phase::Ended}, {1, Phase::Ended}}));
  EXPECT_EQ(view->touches.at(1).locationInWindow, (CGPoint{100, 150}));

  // When the window loses its input, what is under way is cancelled, not forgotten.
  send({{{60, 110}, QEventPoint::State::Pressed}});
  theWindow().dismiss();
  EXPECT_EQ(view->touches.back().phase, UITouchPhase::Cancelled);
}

TEST_F(InputTest, AHeldKeyActsOnceAnArrowGoesOn) {
  class Slider : public UIView {
   public:
    std::vector<UIAccessibilityElement> accessibilityElements() override {
      return {{.label = "Playhead",
               .role = UIAccessibilityRole::Slider,
               .frame = bounds(),
               .value = "",
               .activate = [this] { ++activations; },
               .adjust = [this](int, UIAdjustmentUnit) { ++adjustments; }}};
    }
    int activations = 0, adjustments = 0;
  };
  const auto slider = std::make_shared<Slider>();
  slider->setFrame({{0, 300}, {100, 50}});
  root()->addSubview(slider);
  const auto target = std::make_shared<Pressed>();
  addToolbar(root(), {{0, 0}, {375, 60}},
             {barItem(UIBarButtonSystemItem::Cancel, target), barItem(UIBarButtonSystemItem::Save, target)});
  theWindow().commit();
  const auto hold = [](Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    for (const bool repeated : {false, true, true}) {
      QWindowSystemInterface::handleKeyEvent<QWindowSystemInterface::SynchronousDelivery>(
          &theWindow().quickWindow(), QEvent::KeyPress, key, modifiers, QString(), repeated);
    }
  };
  hold(Qt::Key_Escape);
  EXPECT_EQ(target->presses, 1);
  hold(Qt::Key_S, Qt::ControlModifier);
  EXPECT_EQ(target->presses, 2);
  hold(Qt::Key_Left, Qt::ShiftModifier);
  EXPECT_EQ(slider->adjustments, 3);
  while (theWindow().window()->focusedLabel() != "Playhead") ASSERT_TRUE(theWindow().sendKey("Tab"));
  hold(Qt::Key_Space);
  EXPECT_EQ(slider->activations, 1);
  hold(Qt::Key_Return);
  EXPECT_EQ(slider->activations, 2);
}

TEST_F(InputTest, ClosingAsksAndLeavesTheWindowThere) {
  int asked = 0;
  theWindow().setCloseHandler([&] { ++asked; });
  QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(&theWindow().quickWindow());
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(theWindow().quickWindow().isVisible());
  theWindow().setCloseHandler(nullptr);
}

TEST_F(InputTest, OnlyLeavingTheWholeScreenMakesTheWindowSmaller) {
  EditorQuickWindow& window = theWindow().quickWindow();
  const QSize screen = window.screen()->size();
  window.showFullScreen();
  ASSERT_TRUE(waitUntil([&] { return window.size() == screen; }));
  // Once more, as some window systems tell it.
  QWindowStateChangeEvent again(Qt::WindowFullScreen);
  QCoreApplication::sendEvent(&window, &again);
  EXPECT_EQ(window.size(), screen);
  EXPECT_TRUE(theWindow().sendKey("F11"));
  EXPECT_TRUE(waitUntil([&] { return window.width() < screen.width() && window.height() < screen.height(); }));
  const QRect place(30, 20, 400, 300);
  window.setGeometry(place);
  EXPECT_TRUE(theWindow().sendKey("F11"));
  EXPECT_TRUE(waitUntil([&] { return window.size() == screen; }));
  EXPECT_TRUE(theWindow().sendKey("F11"));
  EXPECT_TRUE(waitUntil([&] { return window.geometry() == place; }));
}
