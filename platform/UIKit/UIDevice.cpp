#include "platform/UIKit/UIDevice.h"

// The two questions are asked by name ("does the device answer this?"); their answers come from the C++ methods, as a
// message sent by name carries no result.
ZV_REGISTER_CLASS(UIDevice, "UIDevice", NSObject,
                  {{"userInterfaceIdiom", [](NSObject&, const Strong<NSObject>&) {}},
                   {"_graphicsQuality", [](NSObject&, const Strong<NSObject>&) {}}})

const Strong<UIDevice>& UIDevice::currentDevice() {
  static const auto device = std::make_shared<UIDevice>();
  return device;
}
