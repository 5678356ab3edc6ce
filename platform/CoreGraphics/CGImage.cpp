#include "platform/CoreGraphics/CGImage.h"

CGImage::CGImage(int w, int h)
    : width(w), height(h), stride((static_cast<std::size_t>(w) * 4 + 63) / 64 * 64), pixels(stride * h) {}
