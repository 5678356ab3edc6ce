#pragma once

#include "platform/UIKit/UIView.h"

#include <string>

/// The large play button over the video, in whatever form it has. Its view is itself.
class ZVVideoOverlayButton {
 public:
  virtual ~ZVVideoOverlayButton() = default;

  /// The style number given at creation.
  virtual int style() const = 0;
  /// What a tap sends, with the button's view as the argument. The target is owned: whoever is owned by its own button
  /// takes itself out again with a null target.
  virtual void setTarget_action(const Strong<NSObject>& target, SEL action) = 0;

  /// A new button of a style: 0 the glyph over a blurred backdrop, or, on a device whose graphics quality is 10, the
  /// flat form; 2 the flat form; any other number the glyph alone. The result is a ZVVideoOverlayButton, its size fixed
  /// by its images. Main queue.
  static Strong<UIView> _srVideoOverlayButtonWithStyle(int style);
};

inline constexpr float ZVVideoOverlayDefaultGlyphAlpha = 0.3F;      ///< glyph opacity at rest
inline constexpr float ZVVideoOverlayHighlightedGlyphAlpha = 0.5F;  ///< glyph opacity while pressed
inline constexpr float ZVVideoOverlayFlatBackgroundWhite = 0.96F;   ///< grey level of the flat background
inline constexpr float ZVVideoOverlayFlatBackgroundAlpha = 0.96F;   ///< opacity of the flat background
inline constexpr const char* ZVVideoOverlayGlyphMaskImageName = "ZVVideoOverlayGlyphMask";
inline constexpr const char* ZVVideoOverlayBackgroundMaskImageName = "ZVVideoOverlayBackgroundMask";
