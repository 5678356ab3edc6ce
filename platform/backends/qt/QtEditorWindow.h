#pragma once

#include "platform/backends/qt/AccessibilityMirror.h"
#include "platform/backends/qt/EditorQuickWindow.h"
#include "platform/backends/qt/EditorWindow.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/MainQueueBridge.h"
#include "platform/backends/qt/QmlItems.h"

#include <QAccessible>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTimer>
#include <memory>

/// The window on Qt Quick.
class QtEditorWindow : public QObject, public EditorWindow, private QAccessible::ActivationObserver {
  Q_OBJECT
 public:
  QtEditorWindow(int& argc, char** argv, const Options& options);
  ~QtEditorWindow() override;

  void present(const Strong<UIViewController>& controller) override;
  void dismiss() override;
  void setCloseHandler(std::function<void()> handler) override { closeHandler_ = std::move(handler); }
  int run() override;
  void quit(int status) override;

  UIWindow* window() override { return uiWindow_.get(); }
  void sendPointer(Pointer kind, CGPoint location) override;
  bool sendKey(const std::string& name) override;
  void sendText(const std::string& text) override;
  void sendShake() override;
  void resize(CGSize points) override;
  void closeWindow() override { quickWindow_->close(); }
  void screenshot(const std::string& path, std::function<void(bool)> done) override;
  Strong<NSObject> principalObject() override;
  void finish(int status) override;

  // For tests.
  EditorQuickWindow& quickWindow() { return *quickWindow_; }
  LayerMirror& mirror() { return *mirror_; }
  /// Lays out and mirrors what is pending, now.
  void commit();
  /// The window's picture as it would be on screen now.
  QImage grab();

 protected:
  bool event(QEvent* event) override;

 private:
  void accessibilityActiveChanged(bool) override { scheduleCommit(); }
  void scheduleCommit();
  void scheduleTick();
  void tick();
  void takeOverSize();
  void updateFocusRing();

  std::unique_ptr<QGuiApplication> application_;
  MainQueueBridge mainQueue_;
  Options options_;
  QmlItems qml_;
  std::unique_ptr<EditorQuickWindow> quickWindow_;
  std::unique_ptr<LayerMirror> mirror_;
  std::unique_ptr<AccessibilityMirror> accessibility_;
  Strong<UIWindow> uiWindow_;
  QQuickItem* focusRing_ = nullptr;
  std::function<void()> closeHandler_;
  QTimer frameTimer_;
  QElapsedTimer sinceTick_;
  bool commitScheduled_ = false;
  bool pointerIsDown_ = false;
};
