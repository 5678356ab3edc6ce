#include "platform/backends/qt/BackdropVisual.h"

#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/backends/qt/BackdropItem.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"

namespace {

Strong<UIImage> maskImage(UIView& view) {
  if (const auto* imageView = dynamic_cast<UIImageView*>(&view)) {
    return imageView->image();
  }
  if (const auto* button = dynamic_cast<UIButton*>(&view)) {
    return button->imageForState(UIControlStateNormal);
  }
  return nullptr;
}

}  // namespace

BackdropVisual::BackdropVisual(LayerItem& host) : LayerVisual(host), item_(new BackdropItem(host)) {}

void BackdropVisual::update(CALayer& layer) {
  const auto* backdrop = dynamic_cast<const UIBackdropView*>(layer.view());
  if (!backdrop) {
    return;
  }
  item_->setSize(host().size());
  std::vector<BackdropItem::Cut> cuts;
  for (const Weak<UIView>& weakMask : backdrop->maskViews()) {
    const Strong<UIView> mask = weakMask.lock();
    const Strong<UIImage> image = mask ? maskImage(*mask) : nullptr;
    if (!image) {
      continue;
    }
    const CGPoint origin = mask->convertPointToWindow({0, 0});
    const CGPoint own = backdrop->convertPointToWindow({0, 0});
    cuts.push_back({toQImage(image->CGImage()), QRectF(toQPointF(origin) - toQPointF(own),
                                                       QSizeF(mask->bounds().size.width, mask->bounds().size.height))});
  }
  item_->setCuts(std::move(cuts));
}
