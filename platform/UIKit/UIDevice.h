#pragma once

#include "platform/Foundation/NSObject.h"

enum class UIUserInterfaceIdiom { Phone = 0, Pad = 1 };

/// The machine. Main queue only.
class UIDevice : public NSObject {
  ZV_OBJECT(UIDevice)
 public:
  static const Strong<UIDevice>& currentDevice();
  UIUserInterfaceIdiom userInterfaceIdiom() const { return idiom_; }
  /// 10 on a machine that renders without a graphics processor, 100 otherwise.
  int _graphicsQuality() const { return quality_; }

  // For the program's start.
  void setUserInterfaceIdiom(UIUserInterfaceIdiom idiom) { idiom_ = idiom; }
  void setGraphicsQuality(int quality) { quality_ = quality; }

 private:
  UIUserInterfaceIdiom idiom_ = UIUserInterfaceIdiom::Phone;
  int quality_ = 100;
};
