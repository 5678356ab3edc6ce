#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSObject.h"

#include <memory>
#include <string>

/// How a picture that is drawn combines with what is there.
enum class CGBlendMode { Normal = 0, DestinationOut = 23 };

/// A picture with a scale: pixels in a point.
class UIImage : public NSObject {
 public:
  UIImage(CGImageRef image, float scale) : image_(std::move(image)), scale_(scale) {}

  /// The resource "name.svg" (drawn at the main screen's scale) or "name@2x.png" / "name.png" of the bundle; null when
  /// there is none. Main queue.
  static Strong<UIImage> imageNamed_inBundle(const std::string& name, const std::shared_ptr<NSBundle>& bundle);

  /// The toolkit's own symbol ("mail", "copy", ...), drawn at the main screen's scale; null when there is none. Main
  /// queue.
  static Strong<UIImage> systemImageNamed(const std::string& name);

  /// The picture as an application's icon, at `scale` pixels a point: format 0 is that of lists of settings, 29 by 29
  /// points. The corners are rounded unless that was done before (`precomposed`). Null for other formats. Main queue.
  Strong<UIImage> _applicationIconImageForFormat_precomposed_scale(int format, bool precomposed, float scale) const;

  CGSize size() const;  ///< points
  float scale() const { return scale_; }
  const CGImageRef& CGImage() const { return image_; }
  /// Draws into the current image context, at its scale.
  void drawAtPoint_blendMode_alpha(CGPoint point, CGBlendMode mode, CGFloat alpha) const;

 private:
  CGImageRef image_;
  float scale_;
};

/// Opens an image canvas of `size` points, `scale` pixels a point (0: the main screen's), and makes it the current one.
/// A canvas that is not opaque starts transparent. Main queue.
void UIGraphicsBeginImageContextWithOptions(CGSize size, bool opaque, CGFloat scale);
/// The canvas so far as an image; null when no canvas is open or it is empty.
Strong<UIImage> UIGraphicsGetImageFromCurrentImageContext();
void UIGraphicsEndImageContext();

/// The current canvas, or null.
struct CGContext;
CGContext* UIGraphicsGetCurrentContext();
void CGContextSetGrayFillColor(CGContext* context, CGFloat gray, CGFloat alpha);
void CGContextFillRect(CGContext* context, CGRect rect);
