#include "overlay/ZVVideoOverlayButton.h"

#include "overlay/ZVFlatVideoOverlayButton.h"
#include "overlay/ZVHighFidelityVideoOverlayButton.h"
#include "platform/UIKit/UIDevice.h"

Strong<UIView> ZVVideoOverlayButton::_srVideoOverlayButtonWithStyle(int style) {
  constexpr int lowGraphicsQuality = 10;
  const bool flat = style == 2 || (style == 0 && UIDevice::currentDevice()->_graphicsQuality() == lowGraphicsQuality);
  if (flat) return ZVFlatVideoOverlayButton::initWithStyle(style);
  return ZVHighFidelityVideoOverlayButton::initWithStyle(style);
}
