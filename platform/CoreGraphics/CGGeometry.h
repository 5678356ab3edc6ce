#pragma once

/// Geometry in points, single precision, origin at the top left, y downwards.
using CGFloat = float;

struct CGPoint {
  CGFloat x = 0, y = 0;
  friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
  CGFloat width = 0, height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

struct CGRect {
  CGPoint origin;
  CGSize size;
  friend bool operator==(const CGRect&, const CGRect&) = default;
  CGFloat maxX() const { return origin.x + size.width; }
  CGFloat maxY() const { return origin.y + size.height; }
  bool contains(CGPoint p) const { return p.x >= origin.x && p.x < maxX() && p.y >= origin.y && p.y < maxY(); }
};

inline constexpr CGRect CGRectZero{};
inline constexpr CGSize CGSizeZero{};

inline CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
  return {{x, y}, {width, height}};
}
inline CGSize CGSizeMake(CGFloat width, CGFloat height) {
  return {width, height};
}

/// x' = a·x + c·y + tx, y' = b·x + d·y + ty.
struct CGAffineTransform {
  CGFloat a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};
