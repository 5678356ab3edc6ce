#pragma once

#include "platform/AVFoundation/AVVideoOutput.h"
#include "platform/backends/mpv/ImagePool.h"
#include "platform/backends/mpv/MpvCore.h"

#include <mpv/render.h>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

/// The pictures of one core: drawn by a thread of its own into images, or by whoever calls in with OpenGL.
class MpvVideoOutput : public AVVideoOutput {
 public:
  explicit MpvVideoOutput(bool openGL);
  ~MpvVideoOutput() override;

  /// Connects to the core. `ready` is called once, when the core can load a movie: before this returns with software
  /// rendering, from `startOpenGL` otherwise. Any thread.
  void attach(const std::shared_ptr<MpvCore>& core, const std::function<void(MpvCore&)>& ready);
  /// The player goes away: no picture comes after this returns. The newest one stays.
  void detach();
  /// The movie's picture in pixels, pixel aspect applied, before it is turned `rotation` degrees clockwise (0, 90,
  /// 180 or 270). Nothing is drawn while it is unknown. Any thread.
  void setSource(int width, int height, int rotation);

  /// While counting, pictures that are replaced before anybody has taken them are counted. Any thread.
  void setCounting(bool counting);
  long untakenFrameCount() const;

  // Pictures from elsewhere, while the core is on its way to them (software rendering only).

  /// From now on the core's pictures are held back. False when this output can't show others. Any thread.
  bool beginPreview();
  /// Shows a picture that `draw` scales, unturned, into rows of BGRA pixels; it may write 64 bytes past them and says
  /// whether it succeeded. Nothing happens outside a preview. One thread at a time.
  void showPreview(const std::function<bool(int width, int height, std::uint8_t* pixels, std::size_t stride)>& draw);
  /// The core's own picture is shown again, drawn afresh. Any thread.
  void endPreview();

  void setTargetSize(int width, int height) override;
  void setFrameHandler(std::function<void()> handler) override;
  CGImageRef copyFrame() override;
  void startOpenGL(std::function<void*(const char*)> getProcAddress) override;
  void renderOpenGL(int framebuffer, int width, int height) override;
  void stopOpenGL() override;

 private:
  struct Layout {
    int width = 0;  ///< of the picture as shown
    int height = 0;
    int rotation = 0;
  };
  void startSoftware();
  bool createContext(mpv_render_param* parameters);
  void connectOpenGL();
  void disconnect();
  static void onUpdate(void* context);
  void renderLoop();
  Layout layout() const;
  void draw(const Layout& layout);
  void publish(CGImageRef image, bool preview);
  void callFrameHandler();

  const bool openGL_;

  std::mutex connectionMutex_;  // held while the connection to the core is made or taken down
  bool detached_ = false;
  std::shared_ptr<MpvCore> core_;
  mpv_render_context* context_ = nullptr;
  std::function<void(MpvCore&)> ready_;
  std::function<void*(const char*)> getProcAddress_;  // where OpenGL was started before there was a core
  std::shared_ptr<ImagePool> pool_ = std::make_shared<ImagePool>();
  std::vector<std::uint8_t> unturned_;         // render thread only
  std::vector<std::uint8_t> unturnedPreview_;  // in showPreview only

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  bool updatePending_ = false;
  bool redraw_ = false;
  bool stop_ = false;
  int targetWidth_ = 0, targetHeight_ = 0;
  int sourceWidth_ = 0, sourceHeight_ = 0, rotation_ = 0;
  bool haveFrame_ = false;  // the core has handed out a picture
  bool previewing_ = false;
  CGImageRef frame_;
  bool frameTaken_ = true;
  bool counting_ = false;
  long untaken_ = 0;

  std::mutex handlerMutex_;
  std::function<void()> frameHandler_;
  std::thread thread_;
};
