#include "platform/backends/mpv/MpvVideoOutput.h"

#include "platform/Foundation/os_trace.h"

#include <mpv/render_gl.h>
#include <algorithm>
#include <cmath>
#include <utility>

namespace {

/// Copies `source`, turned clockwise, into the picture. Runs over tiles so that both sides stay in the cache.
void turnInto(CGImage& image, const std::uint8_t* source, std::size_t sourceStride, int rotation) {
  constexpr int tile = 16;
  const auto pixel = [&](int x, int y) {
    return reinterpret_cast<const std::uint32_t*>(source + static_cast<std::size_t>(y) * sourceStride)[x];
  };
  for (int tileY = 0; tileY < image.height; tileY += tile) {
    for (int tileX = 0; tileX < image.width; tileX += tile) {
      for (int y = tileY; y < std::min(tileY + tile, image.height); ++y) {
        auto* row = reinterpret_cast<std::uint32_t*>(image.pixels.data() + static_cast<std::size_t>(y) * image.stride);
        for (int x = tileX; x < std::min(tileX + tile, image.width); ++x) {
          switch (rotation) {
            case 90:
              row[x] = pixel(y, image.width - 1 - x);
              break;
            case 180:
              row[x] = pixel(image.width - 1 - x, image.height - 1 - y);
              break;
            default:
              row[x] = pixel(image.height - 1 - y, x);
              break;
          }
        }
      }
    }
  }
}

}  // namespace

MpvVideoOutput::MpvVideoOutput(bool openGL) : openGL_(openGL) {}

MpvVideoOutput::~MpvVideoOutput() {
  detach();
  // Something is left only with OpenGL whose owner went away without a word: its context is gone, and with it what is
  // drawn there.
  disconnect();
}

void MpvVideoOutput::attach(const std::shared_ptr<MpvCore>& core, const std::function<void(MpvCore&)>& ready) {
  {
    const std::lock_guard connection(connectionMutex_);
    if (detached_) {
      return;
    }
    core_ = core;
    if (openGL_) {
      ready_ = ready;
    } else {
      startSoftware();
    }
  }
  if (openGL_) {
    callFrameHandler();  // so that whoever draws comes by with its context
  } else {
    ready(*core);
  }
}

void MpvVideoOutput::startSoftware() {
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, const_cast<char*>(MPV_RENDER_API_TYPE_SW)},
                                   {MPV_RENDER_PARAM_INVALID, nullptr}};
  if (createContext(parameters)) thread_ = std::thread([this] { renderLoop(); });
}

bool MpvVideoOutput::createContext(mpv_render_param* parameters) {
  if (const int result = mpv_render_context_create(&context_, core_->handle(), parameters); result < 0) {
    os_trace_error("The video output could not be started: %s", mpv_error_string(result));
    context_ = nullptr;
    return false;
  }
  mpv_render_context_set_update_callback(context_, &MpvVideoOutput::onUpdate, this);
  return true;
}

void MpvVideoOutput::detach() {
  const std::lock_guard connection(connectionMutex_);
  detached_ = true;
  ready_ = nullptr;
  if (openGL_ && context_) {
    return;  // left to whoever draws: it can only be taken down with the OpenGL context current
  }
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
    previewing_ = false;
    wake_.notify_all();
  }
  if (thread_.joinable()) {
    thread_.join();
  }
  disconnect();
}

/// Takes the connection to the core down, and lets the core go if the player has.
void MpvVideoOutput::disconnect() {
  if (context_) {
    mpv_render_context_set_update_callback(context_, nullptr, nullptr);
    mpv_render_context_free(context_);
    context_ = nullptr;
  }
  if (detached_) {
    core_.reset();
  }
}

void MpvVideoOutput::setSource(int width, int height, int rotation) {
  const std::lock_guard lock(mutex_);
  if (width == sourceWidth_ && height == sourceHeight_ && rotation == rotation_) {
    return;
  }
  sourceWidth_ = width;
  sourceHeight_ = height;
  rotation_ = rotation;
  redraw_ = true;
  wake_.notify_all();
}

void MpvVideoOutput::setTargetSize(int width, int height) {
  const std::lock_guard lock(mutex_);
  if (width == targetWidth_ && height == targetHeight_) {
    return;
  }
  targetWidth_ = std::max(width, 0);
  targetHeight_ = std::max(height, 0);
  redraw_ = true;
  wake_.notify_all();
}

void MpvVideoOutput::setFrameHandler(std::function<void()> handler) {
  const std::lock_guard lock(handlerMutex_);
  frameHandler_ = std::move(handler);
}

CGImageRef MpvVideoOutput::copyFrame() {
  const std::lock_guard lock(mutex_);
  frameTaken_ = true;
  return frame_;
}

void MpvVideoOutput::onUpdate(void* context) {
  auto* output = static_cast<MpvVideoOutput*>(context);
  if (output->openGL_) {
    output->callFrameHandler();
    return;
  }
  const std::lock_guard lock(output->mutex_);
  output->updatePending_ = true;
  output->wake_.notify_all();
}

void MpvVideoOutput::callFrameHandler() {
  const std::lock_guard lock(handlerMutex_);
  if (frameHandler_) {
    frameHandler_();
  }
}

MpvVideoOutput::Layout MpvVideoOutput::layout() const {
  if (sourceWidth_ <= 0 || sourceHeight_ <= 0 || targetWidth_ <= 0 || targetHeight_ <= 0) {
    return {};
  }
  const bool turned = rotation_ == 90 || rotation_ == 270;
  const double width = turned ? sourceHeight_ : sourceWidth_;
  const double height = turned ? sourceWidth_ : sourceHeight_;
  const double factor = std::min(targetWidth_ / width, targetHeight_ / height);
  return {std::clamp(static_cast<int>(std::lround(width * factor)), 1, targetWidth_),
          std::clamp(static_cast<int>(std::lround(height * factor)), 1, targetHeight_), rotation_};
}

void MpvVideoOutput::renderLoop() {
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return stop_ || updatePending_ || redraw_; });
    if (stop_) {
      return;
    }
    bool drawNow = std::exchange(redraw_, false) && haveFrame_;
    if (std::exchange(updatePending_, false)) {
      lock.unlock();
      const bool newFrame = (mpv_render_context_update(context_) & MPV_RENDER_UPDATE_FRAME) != 0;
      lock.lock();
      if (newFrame) {
        haveFrame_ = true;
        drawNow = true;
      }
    }
    const Layout now = layout();
    const bool held = previewing_;
    if (!drawNow) {
      continue;
    }
    lock.unlock();
    if (now.width > 0 && !held) {
      draw(now);
    } else {
      // Nobody is to see it: take the picture off the core's hands, or it waits for us.
      int skip = 1;
      mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SKIP_RENDERING, &skip}, {MPV_RENDER_PARAM_INVALID, nullptr}};
      mpv_render_context_render(context_, parameters);
    }
    // Only now does the core take the picture for shown.
    mpv_render_context_report_swap(context_);
    lock.lock();
  }
}

void MpvVideoOutput::draw(const Layout& layout) {
  const auto image = pool_->take(layout.width, layout.height);
  const bool turned = layout.rotation == 90 || layout.rotation == 270;
  int size[2] = {turned ? layout.height : layout.width, turned ? layout.width : layout.height};
  std::size_t stride = image->stride;
  void* pixels = image->pixels.data();
  if (layout.rotation != 0) {
    stride = (static_cast<std::size_t>(size[0]) * 4 + 63) / 64 * 64;
    unturned_.resize(stride * static_cast<std::size_t>(size[1]));
    pixels = unturned_.data();
  }
  // The core hands a picture over at the moment when it is due: it is drawn at once.
  int wait = 0;
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SW_SIZE, size},
                                   {MPV_RENDER_PARAM_SW_FORMAT, const_cast<char*>("bgr0")},
                                   {MPV_RENDER_PARAM_SW_STRIDE, &stride},
                                   {MPV_RENDER_PARAM_SW_POINTER, pixels},
                                   {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &wait},
                                   {MPV_RENDER_PARAM_INVALID, nullptr}};
  if (mpv_render_context_render(context_, parameters) < 0) {
    return;
  }
  if (layout.rotation != 0) {
    turnInto(*image, unturned_.data(), stride, layout.rotation);
  }
  publish(image, false);
}

void MpvVideoOutput::publish(CGImageRef image, bool preview) {
  {
    const std::lock_guard lock(mutex_);
    if (preview != previewing_) {
      return;
    }
    frame_.swap(image);
    if (!std::exchange(frameTaken_, false) && counting_) {
      ++untaken_;
    }
  }
  image.reset();
  callFrameHandler();
}

void MpvVideoOutput::setCounting(bool counting) {
  const std::lock_guard lock(mutex_);
  if (counting != counting_) {
    counting_ = counting;
    frameTaken_ = true;  // what was on screen before does not count
  }
}

long MpvVideoOutput::untakenFrameCount() const {
  const std::lock_guard lock(mutex_);
  return untaken_;
}

bool MpvVideoOutput::beginPreview() {
  const std::lock_guard lock(mutex_);
  previewing_ = !openGL_ && !stop_;
  return previewing_;
}

void MpvVideoOutput::showPreview(
    const std::function<bool(int width, int height, std::uint8_t* pixels, std::size_t stride)>& draw) {
  Layout now;
  {
    const std::lock_guard lock(mutex_);
    now = layout();
    if (!previewing_ || now.width <= 0) {
      return;
    }
  }
  const bool turned = now.rotation == 90 || now.rotation == 270;
  const int width = turned ? now.height : now.width;
  const int height = turned ? now.width : now.height;
  const std::size_t stride = (static_cast<std::size_t>(width) * 4 + 63) / 64 * 64;
  unturnedPreview_.resize(stride * static_cast<std::size_t>(height) + 64);
  if (!draw(width, height, unturnedPreview_.data(), stride)) {
    return;
  }
  const auto image = pool_->take(now.width, now.height);
  if (now.rotation != 0) {
    turnInto(*image, unturnedPreview_.data(), stride, now.rotation);
  } else {
    std::copy_n(unturnedPreview_.data(), std::min(image->pixels.size(), stride * static_cast<std::size_t>(height)),
                image->pixels.data());
  }
  publish(image, true);
}

void MpvVideoOutput::endPreview() {
  const std::lock_guard lock(mutex_);
  if (previewing_) {
    previewing_ = false;
    redraw_ = true;
    wake_.notify_all();
  }
}

void MpvVideoOutput::startOpenGL(std::function<void*(const char*)> getProcAddress) {
  {
    const std::lock_guard connection(connectionMutex_);
    getProcAddress_ = std::move(getProcAddress);
  }
  connectOpenGL();
}

/// Connects the core to OpenGL, once both are there. With the context current.
void MpvVideoOutput::connectOpenGL() {
  std::unique_lock connection(connectionMutex_);
  if (!openGL_ || !core_ || context_ || detached_ || !getProcAddress_) {
    return;
  }
  auto getProcAddress = std::exchange(getProcAddress_, nullptr);
  const auto lookUp = [](void* context, const char* name) {
    return (*static_cast<std::function<void*(const char*)>*>(context))(name);
  };
  mpv_opengl_init_params functions{lookUp, &getProcAddress};
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, const_cast<char*>(MPV_RENDER_API_TYPE_OPENGL)},
                                   {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &functions},
                                   {MPV_RENDER_PARAM_INVALID, nullptr}};
  createContext(parameters);
  const auto core = core_;
  const auto ready = std::exchange(ready_, nullptr);
  connection.unlock();
  if (ready) {
    ready(*core);
  }
}

void MpvVideoOutput::renderOpenGL(int framebuffer, int width, int height) {
  connectOpenGL();
  if (!context_) {
    return;
  }
  const bool newFrame = (mpv_render_context_update(context_) & MPV_RENDER_UPDATE_FRAME) != 0;
  {
    const std::lock_guard lock(mutex_);
    haveFrame_ = haveFrame_ || newFrame;
    if (!haveFrame_) {
      return;
    }
  }
  mpv_opengl_fbo target{framebuffer, width, height, 0};
  int flip = 0;
  int wait = 0;
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_OPENGL_FBO, &target},
                                   {MPV_RENDER_PARAM_FLIP_Y, &flip},
                                   {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &wait},
                                   {MPV_RENDER_PARAM_INVALID, nullptr}};
  mpv_render_context_render(context_, parameters);
}

void MpvVideoOutput::stopOpenGL() {
  const std::lock_guard connection(connectionMutex_);
  getProcAddress_ = nullptr;
  if (openGL_) {
    disconnect();
  }
}
