#pragma once

#include <QObject>
#include <QSize>
#include <atomic>
#include <functional>
#include <memory>

class AVVideoOutput;

/// A player's pictures on their way to an item of the window: tells on the main thread that there is a new one, once
/// for each turn of the event loop, however many the player made meanwhile. Ends its part in the output by itself.
class FrameConnection : public QObject {
 public:
  explicit FrameConnection(std::function<void()> newFrame) : newFrame_(std::move(newFrame)) {}
  ~FrameConnection() override;

  /// Null for no output.
  void connectTo(const std::shared_ptr<AVVideoOutput>& output);
  /// The size in which the pictures are wanted, in pixels.
  void setTargetSize(QSize pixels);
  const std::shared_ptr<AVVideoOutput>& output() const { return output_; }

 protected:
  bool event(QEvent* event) override;

 private:
  std::function<void()> newFrame_;
  std::shared_ptr<AVVideoOutput> output_;
  std::atomic<bool> announced_ = false;
};
