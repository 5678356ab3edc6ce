// Draws the sample recording's pictures, a short session in front of a desktop, and writes them to standard output as
// raw 24-bit RGB video: sample_source WIDTH HEIGHT RATE SECONDS. Texts are added by the script that calls it.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

struct Colour {
  float r, g, b;  // 0 to 1
};
constexpr Colour grey(float level) {
  return {level, level, level};
}
Colour mix(Colour a, Colour b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}
float clamp01(float x) {
  return std::clamp(x, 0.0F, 1.0F);
}
/// 0 before `from`, 1 after `to`, smooth in between.
float ease(float t, float from, float to) {
  const float x = clamp01((t - from) / (to - from));
  return x * x * (3 - 2 * x);
}

struct Point {
  float x, y;
};

/// A canvas in the units of a 1280 × 720 screen, whatever its pixels.
class Canvas {
 public:
  Canvas(int width, int height)
      : width_(width), height_(height), scale_(float(height) / 720), pixels_(std::size_t(width) * height * 3) {}

  const std::vector<std::uint8_t>& pixels() const { return pixels_; }
  float screenWidth() const { return float(width_) / scale_; }

  /// Blends `colour` over the pixels of a box, as much as `coverage(x, y)` says (screen units).
  template <class Coverage>
  void fill(float left, float top, float right, float bottom, Colour colour, Coverage coverage) {
    const int x0 = std::max(0, int(left * scale_)), x1 = std::min(width_, int(std::ceil(right * scale_)));
    const int y0 = std::max(0, int(top * scale_)), y1 = std::min(height_, int(std::ceil(bottom * scale_)));
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) {
        const float amount = coverage((float(x) + 0.5F) / scale_, (float(y) + 0.5F) / scale_);
        if (amount <= 0) continue;
        std::uint8_t* p = &pixels_[(std::size_t(y) * width_ + x) * 3];
        p[0] = std::uint8_t(p[0] + (colour.r * 255 - p[0]) * amount);
        p[1] = std::uint8_t(p[1] + (colour.g * 255 - p[1]) * amount);
        p[2] = std::uint8_t(p[2] + (colour.b * 255 - p[2]) * amount);
      }
    }
  }

  /// A rectangle with round corners; `softness` blurs its edge over that many units.
  void box(float x, float y, float w, float h, float radius, Colour colour, float alpha = 1, float softness = 0) {
    const float blur = std::max(softness, 1 / scale_);
    fill(x - softness, y - softness, x + w + softness, y + h + softness, colour, [=](float px, float py) {
      const float dx = std::abs(px - x - w / 2) - w / 2 + radius, dy = std::abs(py - y - h / 2) - h / 2 + radius;
      const float outside = std::hypot(std::max(dx, 0.0F), std::max(dy, 0.0F)) + std::min(std::max(dx, dy), 0.0F);
      return alpha * clamp01(0.5F - (outside - radius) / blur);
    });
  }
  void disc(Point c, float radius, Colour colour, float alpha = 1, float softness = 0) {
    box(c.x - radius, c.y - radius, radius * 2, radius * 2, radius, colour, alpha, softness);
  }
  /// The part of a ring from the top clockwise up to `turn` (0 to 1).
  void ring(Point c, float radius, float thickness, float turn, Colour colour, float alpha = 1) {
    const float edge = radius + thickness;
    fill(c.x - edge, c.y - edge, c.x + edge, c.y + edge, colour, [=, this](float x, float y) {
      const float distance = std::abs(std::hypot(x - c.x, y - c.y) - radius) - thickness / 2;
      float angle = std::atan2(x - c.x, c.y - y) / 6.2831853F;
      if (angle < 0) angle += 1;
      return angle <= turn ? alpha * clamp01(0.5F - distance * scale_) : 0.0F;
    });
  }
  void line(Point a, Point b, float thickness, Colour colour) {
    const float left = std::min(a.x, b.x) - thickness, right = std::max(a.x, b.x) + thickness;
    const float top = std::min(a.y, b.y) - thickness, bottom = std::max(a.y, b.y) + thickness;
    const float dx = b.x - a.x, dy = b.y - a.y, square = std::max(dx * dx + dy * dy, 1e-6F);
    fill(left, top, right, bottom, colour, [=, this](float x, float y) {
      const float t = clamp01(((x - a.x) * dx + (y - a.y) * dy) / square);
      const float distance = std::hypot(x - a.x - t * dx, y - a.y - t * dy) - thickness / 2;
      return clamp01(0.5F - distance * scale_);
    });
  }
  /// A convex or concave outline, filled, with an edge of four samples a pixel and direction.
  template <std::size_t N>
  void polygon(const std::array<Point, N>& points, Colour colour) {
    float left = 1e9F, right = -1e9F, top = 1e9F, bottom = -1e9F;
    for (Point p : points) {
      left = std::min(left, p.x), right = std::max(right, p.x), top = std::min(top, p.y),
      bottom = std::max(bottom, p.y);
    }
    fill(left - 1, top - 1, right + 1, bottom + 1, colour, [&](float x, float y) {
      int inside = 0;
      for (int sample = 0; sample < 16; ++sample) {
        const float sx = x + (float(sample % 4) - 1.5F) / 4 / scale_, sy = y + (float(sample / 4) - 1.5F) / 4 / scale_;
        bool in = false;
        for (std::size_t i = 0, j = N - 1; i < N; j = i++) {
          const Point a = points[i], b = points[j];
          if ((a.y > sy) != (b.y > sy) && sx < (b.x - a.x) * (sy - a.y) / (b.y - a.y) + a.x) in = !in;
        }
        inside += in;
      }
      return float(inside) / 16;
    });
  }
  void wallpaper() {
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        const float u = float(x) / float(width_), v = float(y) / float(height_);
        const float wave = 0.5F + 0.5F * std::sin(3.2F * u + 2.4F * v + 1.1F * std::sin(2.7F * v + u));
        Colour c = mix({0.16F, 0.17F, 0.42F}, {0.27F, 0.58F, 0.68F}, wave);
        c = mix(c, {0.93F, 0.54F, 0.48F}, 0.55F * clamp01(u * v * 1.4F - 0.2F));
        std::uint8_t* p = &pixels_[(std::size_t(y) * width_ + x) * 3];
        p[0] = std::uint8_t(c.r * 255), p[1] = std::uint8_t(c.g * 255), p[2] = std::uint8_t(c.b * 255);
      }
    }
  }

 private:
  int width_, height_;
  float scale_;
  std::vector<std::uint8_t> pixels_;
};

constexpr Colour kBlue{0.16F, 0.47F, 0.96F}, kGreen{0.20F, 0.72F, 0.47F}, kOrange{0.98F, 0.60F, 0.18F};

void window(Canvas& canvas, float x, float y, float w, float h, Colour body, Colour bar) {
  canvas.box(x - 2, y + 12, w + 4, h, 14, grey(0), 0.35F, 34);
  canvas.box(x, y, w, h, 11, body);
  canvas.box(x, y, w, 38, 11, bar);
  canvas.box(x, y + 24, w, 14, 0, bar);
  const std::array<Colour, 3> lights{Colour{0.95F, 0.38F, 0.34F}, Colour{0.97F, 0.74F, 0.25F},
                                     Colour{0.35F, 0.78F, 0.34F}};
  for (std::size_t i = 0; i < lights.size(); ++i) canvas.disc({x + 21 + 20 * float(i), y + 19}, 6, lights[i]);
}

/// What does not change: wallpaper, top bar, the first window with its side bar.
void background(Canvas& canvas) {
  canvas.wallpaper();
  canvas.box(0, 0, canvas.screenWidth(), 34, 0, grey(0.05F), 0.55F);
  window(canvas, 70, 82, 790, 560, grey(0.985F), grey(0.92F));
  canvas.box(70, 120, 190, 511, 0, grey(0.945F));
  canvas.box(70, 600, 190, 42, 11, grey(0.945F));
  canvas.box(82, 182, 166, 36, 8, kBlue, 0.16F);
}

/// The left window's contents: bars that grow and change with the switch, a line across them, a ring that fills.
void chart(Canvas& canvas, float t) {
  const float shift = ease(t, 5.2F, 6.6F);
  canvas.box(192, 262, 44, 24, 12, mix(grey(0.78F), kGreen, ease(t, 5.0F, 5.3F)));
  canvas.disc({204 + 20 * ease(t, 5.0F, 5.3F), 274}, 10, grey(1));
  for (int i = 0; i < 5; ++i) canvas.box(300, 250 + 66 * float(i), 520, 1, 0, grey(0.86F));
  Point previous{};
  for (int i = 0; i < 12; ++i) {
    const float first = 0.45F + 0.35F * std::sin(float(i) * 0.75F),
                second = 0.5F + 0.4F * std::cos(float(i) * 0.9F + 1);
    const float breath = 0.03F * std::sin(t * 2.5F + float(i));
    const float level =
        (first + (second - first) * shift + breath) * ease(t, 0.4F + 0.12F * float(i), 1.6F + 0.12F * float(i));
    const float height = 262 * level, x = 312 + 42.5F * float(i);
    canvas.box(x, 514 - height, 26, height, 5, mix(kBlue, kOrange, shift), 0.9F);
    const Point top{x + 13, 470 - 150 * (0.5F + 0.4F * std::sin(float(i) * 0.55F + t * 0.8F))};
    if (i > 0) canvas.line(previous, top, 3, mix({0.45F, 0.30F, 0.75F}, kGreen, shift));
    previous = top;
  }
  const float done = ease(t, 16.2F, 20.5F);
  canvas.box(300, 560, 130, 40, 9, t > 16 && t < 16.3F ? mix(kBlue, grey(0), 0.25F) : kBlue);
  canvas.ring({480, 580}, 17, 6, 1, grey(0.87F));
  canvas.ring({480, 580}, 17, 6, done, done >= 1 ? kGreen : kBlue);
  canvas.box(516, 575, 300, 10, 5, grey(0.87F));
  canvas.box(516, 575, std::max(10.0F, 300 * done), 10, 5, done >= 1 ? kGreen : kBlue);
}

/// The dark window: lines that are written one after the other.
void notes(Canvas& canvas, float x, float y, float t) {
  window(canvas, x, y, 400, 300, {0.13F, 0.14F, 0.18F}, {0.19F, 0.20F, 0.25F});
  const std::array<Colour, 4> inks{Colour{0.55F, 0.80F, 0.98F}, Colour{0.80F, 0.62F, 0.95F},
                                   Colour{0.62F, 0.87F, 0.60F}, grey(0.78F)};
  float written = t * 190;  // units of text written so far
  for (int row = 0; row < 13; ++row) {
    float left = x + 22 + 22 * float((row * 5 + 2) % 3);
    const float lineTop = y + 56 + 18 * float(row);
    for (int word = 0; word < 4 && written > 0; ++word) {
      const float length = 24 + float((row * 37 + word * 53) % 62);
      const float shown = std::min(length, written);
      written -= length + 8;
      if (left + length > x + 380) continue;
      canvas.box(left, lineTop, shown, 8, 4, inks[std::size_t(row * 3 + word * 5) % inks.size()], 0.9F);
      if (written <= 0 && std::fmod(t, 1.0F) < 0.6F) canvas.box(left + shown + 4, lineTop - 3, 2, 14, 0, grey(1));
      left += length + 8;
    }
    if (written <= 0) break;
  }
}

struct Step {
  float time;
  Point at;
};
/// Where the pointer is, with rests at each step.
constexpr std::array<Step, 11> kPath{{{0, {640, 430}},
                                      {1.5F, {640, 430}},
                                      {3, {480, 330}},
                                      {4.8F, {214, 274}},
                                      {6.6F, {214, 274}},
                                      {8.6F, {1000, 236}},
                                      {9, {1000, 236}},
                                      {12, {840, 296}},
                                      {13, {840, 296}},
                                      {15.6F, {365, 582}},
                                      {17.5F, {700, 470}}}};

Point pointer(float t) {
  for (std::size_t i = 1; i < kPath.size(); ++i) {
    if (t >= kPath[i].time) continue;
    const float e = ease(t, kPath[i - 1].time, kPath[i].time);
    const Point a = kPath[i - 1].at, b = kPath[i].at;
    return {a.x + (b.x - a.x) * e, a.y + (b.y - a.y) * e};
  }
  const float s = t - kPath.back().time;  // circles for the rest
  return {kPath.back().at.x + 120 * std::sin(s * 1.3F), kPath.back().at.y - 60 * (1 - std::cos(s * 1.3F))};
}

void cursor(Canvas& canvas, float t) {
  const Point p = pointer(t);
  for (float click : {5.0F, 9.0F, 16.0F}) {
    const float age = (t - click) / 0.6F;
    if (age >= 0 && age < 1) canvas.ring({p.x, p.y}, 8 + 26 * age, 4, 1, grey(1), 0.8F * (1 - age));
  }
  auto arrow = [&](float grow, Colour colour) {
    const std::array<Point, 7> shape{
        {{0, 0}, {0, 24}, {5.6F, 18.8F}, {9.4F, 27.4F}, {13.4F, 25.6F}, {9.6F, 17.2F}, {17, 17}}};
    std::array<Point, 7> placed{};
    for (std::size_t i = 0; i < shape.size(); ++i) {
      placed[i] = {p.x + (shape[i].x - 6) * grow + 6, p.y + (shape[i].y - 13) * grow + 13};
    }
    canvas.polygon(placed, colour);
  };
  arrow(1.22F, grey(1));
  arrow(1, grey(0.08F));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: sample_source WIDTH HEIGHT RATE SECONDS\n");
    return 2;
  }
  const int width = std::atoi(argv[1]), height = std::atoi(argv[2]), rate = std::atoi(argv[3]);
  const int count = rate * std::atoi(argv[4]);
  Canvas still(width, height);
  background(still);
  for (int n = 0; n < count; ++n) {
    const float t = float(n) / float(rate);
    Canvas canvas = still;
    chart(canvas, t);
    const float drag = ease(t, 9, 12);
    notes(canvas, 850 - 160 * drag, 217 + 60 * drag, t);
    const float slide = ease(t, 20.6F, 21.1F) - ease(t, 23.2F, 23.6F);
    canvas.box(1290 - 320 * slide, 48, 300, 76, 14, grey(0.97F), 0.94F);
    canvas.disc({1326 - 320 * slide, 86}, 18, kGreen);
    canvas.line({1317 - 320 * slide, 87}, {1323 - 320 * slide, 93}, 4, grey(1));
    canvas.line({1323 - 320 * slide, 93}, {1335 - 320 * slide, 79}, 4, grey(1));
    canvas.box(1358 - 320 * slide, 72, 150, 10, 5, grey(0.35F));
    canvas.box(1358 - 320 * slide, 92, 190, 8, 4, grey(0.68F));
    cursor(canvas, t);
    if (std::fwrite(canvas.pixels().data(), 1, canvas.pixels().size(), stdout) != canvas.pixels().size()) return 1;
  }
  return 0;
}
