#pragma once

#include "platform/AVFoundation/AVPlayer.h"
#include "platform/QuartzCore/CALayer.h"

/// A layer that shows a player's pictures, fitted with their aspect kept.
class AVPlayerLayer : public CALayer {
 public:
  const Strong<AVPlayer>& player() const { return player_; }
  void setPlayer(const Strong<AVPlayer>& player) {
    player_ = player;
    setNeedsDisplay();
  }
  const char* visualKind() const override { return "video"; }

 private:
  Strong<AVPlayer> player_;
};
