#pragma once

/// A colour, each part 0 to 1, alpha not multiplied in.
struct UIColor {
  float red = 0, green = 0, blue = 0, alpha = 0;

  static UIColor clearColor() { return {}; }
  static UIColor blackColor() { return {0, 0, 0, 1}; }
  static UIColor whiteColor() { return {1, 1, 1, 1}; }
  static UIColor colorWithWhite_alpha(float white, float alpha) { return {white, white, white, alpha}; }
  friend bool operator==(const UIColor&, const UIColor&) = default;
};
