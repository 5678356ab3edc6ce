#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIColor.h"

#include <memory>
#include <optional>
#include <vector>

class UIView;

/// A node of the picture: a rectangle with an opacity, and the layers in it from back to front. Every view has one.
/// Main queue only. The window's back end mirrors the tree after each turn of the main queue in which it changed.
class CALayer : public NSObject {
 public:
  CALayer() = default;
  ~CALayer() override;

  CGRect frame() const { return frame_; }  ///< in the superlayer's coordinates
  void setFrame(CGRect frame);
  CGRect bounds() const { return {{0, 0}, frame_.size}; }
  float opacity() const { return opacity_; }
  void setOpacity(float opacity);
  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden);
  const std::optional<UIColor>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<UIColor> color);

  /// Whether what is in the layer is cut off at its edges.
  bool masksToBounds() const { return masksToBounds_; }
  void setMasksToBounds(bool masks);
  /// How round the corners are at which it is cut off, in points. Where the layer masks, they cut background colours
  /// and what is blurred; texts and pictures have to stay clear of them.
  CGFloat cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(CGFloat radius);

  /// What is shown now: the model's values, or values on the way to them while an animation runs.
  CGRect presentationFrame() const;
  float presentationOpacity() const;

  const std::vector<Strong<CALayer>>& sublayers() const { return sublayers_; }
  CALayer* superlayer() const { return superlayer_; }
  void addSublayer(const Strong<CALayer>& layer);  ///< at the front; moved there when it is a sublayer already
  void insertSublayer_below(const Strong<CALayer>& layer, const Strong<CALayer>& sibling);
  void removeFromSuperlayer();

  UIView* view() const { return view_; }  ///< the view that this layer belongs to, or null

  /// Says that what the layer shows has changed (its text, its picture, ...).
  void setNeedsDisplay();
  unsigned contentVersion() const { return contentVersion_; }

  /// Which visual of the window's back end shows this layer: "layer", and for a view's layer what the view says.
  virtual const char* visualKind() const;

 private:
  friend class UIView;
  CGRect frame_;
  float opacity_ = 1;
  bool hidden_ = false;
  bool masksToBounds_ = false;
  CGFloat cornerRadius_ = 0;
  std::optional<UIColor> backgroundColor_;
  std::vector<Strong<CALayer>> sublayers_;
  CALayer* superlayer_ = nullptr;
  UIView* view_ = nullptr;
  unsigned contentVersion_ = 0;
};
