#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

/// What the editor is shown on: the window's area. Main queue only.
class UIScreen {
 public:
  static UIScreen& mainScreen();
  CGRect bounds() const { return bounds_; }  ///< points
  float scale() const { return scale_; }     ///< pixels in a point

  // For the window's back end.
  void setBounds(CGRect bounds) { bounds_ = bounds; }
  void setScale(float scale) { scale_ = scale; }

 private:
  CGRect bounds_{{0, 0}, {375, 667}};
  float scale_ = 1;
};
