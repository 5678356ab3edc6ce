#include "platform/backends/ffmpeg/PictureConverter.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cerrno>

namespace {

const std::string kScaling = "flags=bicubic+accurate_rnd+full_chroma_int";

bool isHighDynamicRange(const AVFrame& picture) {
  return picture.color_trc == AVCOL_TRC_SMPTE2084 || picture.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

bool isRGB(const AVFrame& picture) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(AVPixelFormat(picture.format));
  return format && (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

/// Whether black is 0 and white the highest value, rather than 16 and 235.
bool isFullRange(const AVFrame& picture) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(AVPixelFormat(picture.format));
  return picture.color_range == AVCOL_RANGE_JPEG || (format && std::string(format->name).starts_with("yuvj"));
}

int even(int size) {
  return (size + 1) / 2 * 2;
}

}  // namespace

bool PictureConverter::isLikeLast(const AVFrame& picture) const {
  return last_ && last_->width == picture.width && last_->height == picture.height && last_->format == picture.format &&
         last_->color_range == picture.color_range && last_->color_trc == picture.color_trc;
}

/// Empty when there is nothing to do.
std::string PictureConverter::filtersFor(const AVFrame& picture) const {
  const bool usualFormat = picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P;
  std::string filters;
  const auto add = [&filters](const std::string& filter) { filters += (filters.empty() ? "" : ",") + filter; };
  if (isHighDynamicRange(picture)) {
    add("zscale=t=linear:npl=100,format=gbrpf32le,zscale=p=bt709,tonemap=hable:desat=0,"
        "zscale=t=bt709:m=bt709:r=limited,format=yuv420p");
  } else if (isRGB(picture)) {
    add("scale=out_color_matrix=bt709:out_range=limited:" + kScaling + ",format=yuv420p");
  } else if (!usualFormat) {
    const bool full = isFullRange(picture);
    const std::string range = full ? "full" : "limited";
    add("scale=in_range=" + range + ":out_range=" + range + ":" + kScaling +
        ",format=" + (full ? "yuvj420p" : "yuv420p"));
  }
  const int right = even(picture.width) - picture.width, bottom = even(picture.height) - picture.height;
  if (right != 0 || bottom != 0) {
    // The last column or row once more: nothing is lost and nothing blurred.
    add("pad=" + std::to_string(even(picture.width)) + ":" + std::to_string(even(picture.height)) +
        ",fillborders=right=" + std::to_string(right) + ":bottom=" + std::to_string(bottom) + ":mode=smear");
  }
  if (width_ != 0 && (even(picture.width) != width_ || even(picture.height) != height_)) {
    add("scale=" + std::to_string(width_) + ":" + std::to_string(height_) + ":" + kScaling);
  }
  return filters;
}

int PictureConverter::prepare(const AVFrame& picture) {
  last_.reset(av_frame_alloc());
  if (!last_) return AVERROR(ENOMEM);
  last_->width = picture.width;
  last_->height = picture.height;
  last_->format = picture.format;
  last_->color_range = picture.color_range;
  last_->color_trc = picture.color_trc;
  graph_.reset();
  const std::string filters = filtersFor(picture);
  if (filters.empty()) return 0;
  graph_ = std::make_unique<FilterGraph>();
  const AVRational aspect = picture.sample_aspect_ratio;
  const std::string source = "video_size=" + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                             ":pix_fmt=" + std::to_string(picture.format) +
                             ":time_base=" + std::to_string(timeBase_.num) + "/" + std::to_string(timeBase_.den) +
                             ":pixel_aspect=" + std::to_string(aspect.num) + "/" +
                             std::to_string(std::max(1, aspect.den));
  return graph_->open(false, {source}, "[in0]" + filters + "[out]");
}

int PictureConverter::convert(Frame& picture) {
  const bool rgb = isRGB(*picture);
  int result = 0;
  if (!isLikeLast(*picture)) result = prepare(*picture);
  if (result >= 0 && graph_) {
    result = graph_->push(0, picture.get());
    av_frame_unref(picture.get());
    if (result >= 0) result = graph_->pull(picture.get());
  }
  if (result < 0) return result;
  if (graph_ && rgb) {
    picture->color_range = AVCOL_RANGE_MPEG;
    picture->colorspace = AVCOL_SPC_BT709;
    if (picture->color_primaries == AVCOL_PRI_UNSPECIFIED) picture->color_primaries = AVCOL_PRI_BT709;
    if (picture->color_trc == AVCOL_TRC_UNSPECIFIED) picture->color_trc = AVCOL_TRC_BT709;
  }
  if (picture->format == AV_PIX_FMT_YUVJ420P) picture->color_range = AVCOL_RANGE_JPEG;
  width_ = picture->width;
  height_ = picture->height;
  return 0;
}
