#pragma once

#include <sys/types.h>
#include <cstdint>
#include <memory>
#include <string>

/// An X server without a screen (Xvfb), 1280 by 720, whose picture can be read at any moment without asking it.
class VirtualScreen {
 public:
  static constexpr int kWidth = 1280, kHeight = 720;

  /// Null when Xvfb can't be started.
  static std::unique_ptr<VirtualScreen> start();
  ~VirtualScreen();

  const std::string& display() const { return display_; }  ///< for DISPLAY
  /// 0xRRGGBB of what is on screen now.
  std::uint32_t pixel(int x, int y) const;

 private:
  VirtualScreen() = default;
  std::string folder_, display_;
  pid_t server_ = 0;
  const std::uint8_t* map_ = nullptr;
  std::size_t mapSize_ = 0, pixels_ = 0, stride_ = 0;
};
