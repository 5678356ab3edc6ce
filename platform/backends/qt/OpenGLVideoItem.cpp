#include "platform/backends/qt/OpenGLVideoItem.h"

#include "platform/AVFoundation/AVVideoOutput.h"
#include "platform/backends/qt/FrameConnection.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"

#include <QCoreApplication>
#include <QEvent>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QQuickFramebufferObject>
#include <algorithm>
#include <mutex>

namespace {

constexpr auto kCopyArrived = QEvent::User;

/// Where the render thread leaves a small copy of the picture for backdrops; both threads hold it.
struct Mailbox {
  std::mutex mutex;
  QObject* receiver = nullptr;
  QImage image;
};

/// A copy of the frame buffer with at most 240 pixels a side, halved step by step so that nothing is left out.
QImage smallCopy(const QOpenGLFramebufferObject& source) {
  constexpr int kLongestSide = 240;
  std::unique_ptr<QOpenGLFramebufferObject> copy;
  const QOpenGLFramebufferObject* from = &source;
  QSize size = source.size();
  do {
    size = {std::max(1, size.width() / 2), std::max(1, size.height() / 2)};
    auto half = std::make_unique<QOpenGLFramebufferObject>(size);
    QOpenGLFramebufferObject::blitFramebuffer(half.get(), QRect(QPoint(0, 0), size),
                                              const_cast<QOpenGLFramebufferObject*>(from),
                                              QRect(QPoint(0, 0), from->size()), GL_COLOR_BUFFER_BIT, GL_LINEAR);
    copy = std::move(half);
    from = copy.get();
  } while (std::max(size.width(), size.height()) > kLongestSide);
  return copy->toImage(false).convertToFormat(QImage::Format_RGB32);
}

}  // namespace

class OpenGLVideoItem::Screen : public QQuickFramebufferObject {
 public:
  explicit Screen(LayerItem& host) : QQuickFramebufferObject(&host), host_(host) { mailbox_->receiver = this; }
  ~Screen() override {
    const std::lock_guard lock(mailbox_->mutex);
    mailbox_->receiver = nullptr;
  }

  void show(const std::shared_ptr<AVVideoOutput>& output, QSizeF points, QSize pixels) {
    frames_.connectTo(output);
    frames_.setTargetSize(pixels);
    setSize(points);
    update();
  }

  LayerVisual::Picture picture() {
    // Reading back costs a wait for the graphics processor, so it is done only for frames that a backdrop wants.
    if (!copyWanted_) {
      copyWanted_ = true;
      if (!copyIsCurrent_) {
        update();
      }
    }
    const std::lock_guard lock(mailbox_->mutex);
    return {mailbox_->image, QRectF(QPointF(0, 0), size()), mailbox_->image.cacheKey()};
  }

  QQuickFramebufferObject::Renderer* createRenderer() const override;

 protected:
  bool event(QEvent* event) override {
    if (event->type() == kCopyArrived) {
      copyIsCurrent_ = true;
      host_.mirror().pictureChanged();
      return true;
    }
    return QQuickFramebufferObject::event(event);
  }

 private:
  friend class OpenGLVideoItem::Renderer;
  LayerItem& host_;
  std::shared_ptr<Mailbox> mailbox_ = std::make_shared<Mailbox>();
  bool copyWanted_ = false;
  bool copyIsCurrent_ = false;
  FrameConnection frames_{[this] {
    copyIsCurrent_ = false;
    update();
  }};
};

/// Lives on the render thread, with the window's context current.
class OpenGLVideoItem::Renderer : public QQuickFramebufferObject::Renderer {
 public:
  ~Renderer() override {
    if (output_) {
      output_->stopOpenGL();
    }
  }

 protected:
  void synchronize(QQuickFramebufferObject* item) override {
    auto* screen = static_cast<Screen*>(item);
    mailbox_ = screen->mailbox_;
    copyWanted_ = std::exchange(screen->copyWanted_, false);
    if (screen->frames_.output() == output_) {
      return;
    }
    if (output_) {
      output_->stopOpenGL();
    }
    output_ = screen->frames_.output();
    if (output_) {
      output_->startOpenGL([](const char* name) {
        return reinterpret_cast<void*>(QOpenGLContext::currentContext()->getProcAddress(name));
      });
    }
  }

  QOpenGLFramebufferObject* createFramebufferObject(const QSize& size) override {
    isBlank_ = true;
    return QQuickFramebufferObject::Renderer::createFramebufferObject(size);
  }

  void render() override {
    QOpenGLFramebufferObject* target = framebufferObject();
    if (std::exchange(isBlank_, false) || !output_) {
      QOpenGLFunctions* gl = QOpenGLContext::currentContext()->functions();
      gl->glClearColor(0, 0, 0, 1);
      gl->glClear(GL_COLOR_BUFFER_BIT);
    }
    // A new player's first picture takes the place of the last one, or the screen would be black in between.
    if (output_) {
      output_->renderOpenGL(static_cast<int>(target->handle()), target->width(), target->height());
    }
    if (copyWanted_) {
      copyWanted_ = false;
      const QImage copy = smallCopy(*target);
      const std::lock_guard lock(mailbox_->mutex);
      mailbox_->image = copy;
      if (mailbox_->receiver) {
        QCoreApplication::postEvent(mailbox_->receiver, new QEvent(kCopyArrived));
      }
    }
    target->bind();
  }

 private:
  std::shared_ptr<AVVideoOutput> output_;
  std::shared_ptr<Mailbox> mailbox_;
  bool copyWanted_ = false;
  bool isBlank_ = true;  // nothing has been drawn into the frame buffer
};

QQuickFramebufferObject::Renderer* OpenGLVideoItem::Screen::createRenderer() const {
  return new OpenGLVideoItem::Renderer;
}

OpenGLVideoItem::OpenGLVideoItem(LayerItem& host) : screen_(new Screen(host)) {}

OpenGLVideoItem::~OpenGLVideoItem() {
  delete screen_;
}

void OpenGLVideoItem::show(const std::shared_ptr<AVVideoOutput>& output) {
  auto* host = static_cast<LayerItem*>(screen_->parentItem());
  screen_->show(output, host->size(), (host->size() * host->pixelRatio()).toSize());
}

LayerVisual::Picture OpenGLVideoItem::pictureBehind() {
  return screen_->picture();
}
