#include "platform/backends/qt/QtEditorWindow.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/QuartzCore/CATransaction.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/backends/qt/KeyNames.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/WindowSystem.h"

#include <qpa/qwindowsysteminterface.h>
#include <QCoreApplication>
#include <QQuickItem>
#include <QScreen>
#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

constexpr QSize kOffscreenSize(375, 667);
/// Once the first picture is on screen for sure, and before a person has got hold of anything.
constexpr std::chrono::milliseconds kQmlDelay(400);

double steadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void EditorWindow::prepareEnvironment(const Options& options) {
  WindowSystem::prepareEnvironment(options);
}

std::unique_ptr<EditorWindow> EditorWindow::create(int& argc, char** argv, const Options& options) {
  return std::make_unique<QtEditorWindow>(argc, argv, options);
}

QtEditorWindow::QtEditorWindow(int& argc, char** argv, const Options& options)
    : application_(WindowSystem::connect(argc, argv, options)), options_(options) {
  quickWindow_ = std::make_unique<EditorQuickWindow>();
  quickWindow_->setTitle(QString::fromStdString(options.title));
  quickWindow_->setHandlers({[this] { takeOverSize(); },
                             [this] {
                               if (closeHandler_) {
                                 closeHandler_();
                               }
                             }});
  quickWindow_->input().setTextPreparation([this] {
    if (commitScheduled_) {
      commit();
    }
  });
  if (options.size) {
    const QSize wanted(qRound(options.size->width), qRound(options.size->height));
    // What hangs over the edge of the screen can't be reached.
    quickWindow_->resize(options.offscreen ? wanted : wanted.boundedTo(quickWindow_->screen()->availableSize()));
  } else if (options.offscreen) {
    quickWindow_->resize(kOffscreenSize);
  } else {
    quickWindow_->resize(quickWindow_->screen()->size());
  }
  mirror_ = std::make_unique<LayerMirror>(*quickWindow_, qml_);
  accessibility_ = std::make_unique<AccessibilityMirror>(*quickWindow_->contentItem(), qml_);
  QAccessible::installActivationObserver(this);
  frameTimer_.setSingleShot(true);
  frameTimer_.setTimerType(Qt::PreciseTimer);
  connect(&frameTimer_, &QTimer::timeout, this, [this] { tick(); });
  takeOverSize();
  uiWindow_ = std::make_shared<UIWindow>();
  CATransaction::setCommitHandler([this] { scheduleCommit(); });
  CAAnimator::shared().setStartHandler([this] { scheduleTick(); });
}

QtEditorWindow::~QtEditorWindow() {
  QAccessible::removeActivationObserver(this);
  dismiss();
  CAAnimator::shared().setStartHandler(nullptr);
  CATransaction::setCommitHandler(nullptr);
}

void QtEditorWindow::present(const Strong<UIViewController>& controller) {
  takeOverSize();  // a hidden window does not tell when it is resized
  uiWindow_->setRootViewController(controller);
  quickWindow_->input().setTarget(uiWindow_);
  mirror_->setRoot(uiWindow_->layer());
  commit();
  if (options_.size || options_.offscreen) {
    quickWindow_->show();
  } else {
    quickWindow_->showFullScreen();
  }
  quickWindow_->requestActivate();
  QTimer::singleShot(kQmlDelay, this, [this] { qml_.prepare(QStringLiteral("Timeline")); });
}

void QtEditorWindow::dismiss() {
  quickWindow_->input().setTarget(nullptr);
  accessibility_->update(nullptr);
  mirror_->setRoot(nullptr);
  uiWindow_->setRootViewController(nullptr);
  quickWindow_->hide();
}

int QtEditorWindow::run() {
  return QGuiApplication::exec();
}

void QtEditorWindow::quit(int status) {
  QCoreApplication::exit(status);
}

void QtEditorWindow::finish(int status) {
  dispatch_async(dispatch_get_main_queue(), [this, status] {
    dismiss();
    quit(status);
  });
}

void QtEditorWindow::scheduleCommit() {
  if (!commitScheduled_) {
    commitScheduled_ = true;
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
  }
}

bool QtEditorWindow::event(QEvent* event) {
  if (event->type() != QEvent::User) {
    return QObject::event(event);
  }
  if (commitScheduled_) {
    commit();
  }
  return true;
}

void QtEditorWindow::commit() {
  commitScheduled_ = false;
  if (!uiWindow_->rootViewController()) {
    CATransaction::commit();
    return;
  }
  uiWindow_->layoutIfNeeded();
  CATransaction::commit();
  mirror_->commit();
  updateFocusRing();
  accessibility_->update(uiWindow_.get());
}

void QtEditorWindow::updateFocusRing() {
  const auto ring = uiWindow_->focusRing();
  if (!ring && !focusRing_) {
    return;
  }
  if (!focusRing_) {
    focusRing_ = qml_.make(QStringLiteral("FocusRing"), *quickWindow_->contentItem());
    if (!focusRing_) {
      return;
    }
  }
  focusRing_->setVisible(ring.has_value());
  if (ring) {
    const qreal ratio = quickWindow_->effectiveDevicePixelRatio();
    const auto onPixel = [ratio](QPointF point) {
      return QPointF(std::round(point.x() * ratio), std::round(point.y() * ratio)) / ratio;
    };
    const QRectF frame = toQRectF(ring->frame);
    const QRectF place(onPixel(frame.topLeft()), onPixel(frame.bottomRight()));
    focusRing_->setPosition(place.topLeft());
    focusRing_->setSize(place.size());
    focusRing_->setProperty("radius", ring->radius);
  }
}

/// One more step of the animations, no sooner than the screen shows a new frame. Runs also while the window is covered
/// or minimised: what waits for an animation's end waits there, too.
void QtEditorWindow::scheduleTick() {
  const QScreen* screen = quickWindow_->screen();
  const qreal interval = 1000 / (screen && screen->refreshRate() > 1 ? screen->refreshRate() : 60);
  const qreal elapsed = sinceTick_.isValid() ? static_cast<qreal>(sinceTick_.elapsed()) : interval;
  frameTimer_.start(std::max(0, qRound(interval - elapsed)));
}

void QtEditorWindow::tick() {
  if (!CAAnimator::shared().isAnimating()) {
    return;
  }
  sinceTick_.start();
  CAAnimator::shared().tick(steadySeconds());
  commit();
  if (CAAnimator::shared().isAnimating()) {
    scheduleTick();
  }
}

void QtEditorWindow::takeOverSize() {
  const CGSize size = toCGSize(quickWindow_->size());
  UIScreen::mainScreen().setBounds({{0, 0}, size});
  UIScreen::mainScreen().setScale(static_cast<float>(quickWindow_->effectiveDevicePixelRatio()));
  if (uiWindow_) {
    uiWindow_->resize(size, 0);
  }
}

void QtEditorWindow::sendPointer(Pointer kind, CGPoint location) {
  const qreal ratio = quickWindow_->effectiveDevicePixelRatio();
  const QPointF local = toQPointF(location) * ratio;
  const QPointF global = quickWindow_->mapToGlobal(toQPointF(location)) * ratio;
  const auto type = kind == Pointer::Press  ? QEvent::MouseButtonPress
                    : kind == Pointer::Move ? QEvent::MouseMove
                                            : QEvent::MouseButtonRelease;
  if (kind == Pointer::Press) {
    pointerIsDown_ = true;
  } else if (kind == Pointer::Release) {
    pointerIsDown_ = false;
  }
  const Qt::MouseButton button = kind == Pointer::Move ? Qt::NoButton : Qt::LeftButton;
  QWindowSystemInterface::handleMouseEvent<QWindowSystemInterface::SynchronousDelivery>(
      quickWindow_.get(), local, global, pointerIsDown_ ? Qt::LeftButton : Qt::NoButton, button, type);
}

bool QtEditorWindow::sendKey(const std::string& name) {
  const auto press = KeyNames::parse(name);
  if (!press) {
    return false;
  }
  for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
    QWindowSystemInterface::handleKeyEvent<QWindowSystemInterface::SynchronousDelivery>(quickWindow_.get(), type,
                                                                                        press->key, press->modifiers);
  }
  return true;
}

void QtEditorWindow::sendText(const std::string& text) {
  for (const char32_t character : QString::fromStdString(text).toUcs4()) {
    if (character == U'\n') {
      sendKey("Return");
      continue;
    }
    const int key = character < 0x80 ? static_cast<int>(QChar::toUpper(character)) : static_cast<int>(Qt::Key_unknown);
    const QString typed = QString::fromUcs4(&character, 1);
    for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
      QWindowSystemInterface::handleKeyEvent<QWindowSystemInterface::SynchronousDelivery>(quickWindow_.get(), type, key,
                                                                                          Qt::NoModifier, typed);
    }
  }
}

void QtEditorWindow::sendShake() {
  uiWindow_->sendShake();
}

void QtEditorWindow::resize(CGSize points) {
  if (quickWindow_->visibility() == QWindow::FullScreen) {
    quickWindow_->showNormal();
  }
  quickWindow_->resize(qRound(points.width), qRound(points.height));
}

QImage QtEditorWindow::grab() {
  commit();
  // A copy, and without transparency: on screen the window's memory has a fourth byte that means nothing, although its
  // format says so.
  QImage picture = quickWindow_->grabWindow().copy();
  if (picture.format() == QImage::Format_ARGB32_Premultiplied || picture.format() == QImage::Format_ARGB32) {
    picture.reinterpretAsFormat(QImage::Format_RGB32);
  }
  return picture;
}

void QtEditorWindow::screenshot(const std::string& path, std::function<void(bool)> done) {
  const QImage picture = grab();
  const bool written = !picture.isNull() && picture.save(QString::fromStdString(path), "PNG");
  if (done) {
    done(written);
  }
}

Strong<NSObject> QtEditorWindow::principalObject() {
  return uiWindow_->rootViewController();
}
