#include "platform/backends/ffmpeg/PictureEncoder.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace {

constexpr const char* kRenderNodes = "/dev/dri";
constexpr const char* kRenderNode = "renderD";
constexpr const char* kComputeNode = "/dev/nvidia0";

/// The device files of graphics hardware that may have an encoder.
std::vector<std::string> devices() {
  std::vector<std::string> result;
  std::error_code error;
  if (std::filesystem::exists(kComputeNode, error)) result.emplace_back(kComputeNode);
  for (const auto& entry : std::filesystem::directory_iterator(kRenderNodes, error)) {
    if (entry.path().filename().string().starts_with(kRenderNode)) result.push_back(entry.path());
  }
  return result;
}

}  // namespace

std::unique_ptr<PictureEncoder> PictureEncoder::open(const AVFrame& first, AVRational timeBase, AVRational rate,
                                                     bool hardware, int* error) {
  if (hardware) {
    for (const std::string& device : devices()) {
      if (auto encoder = openDevice(device, first, timeBase, rate)) return encoder;
    }
  }
  std::unique_ptr<PictureEncoder> encoder(new PictureEncoder);
  *error = AVERROR_ENCODER_NOT_FOUND;
  if (!encoder->prepare("libx264", first, timeBase, rate)) return nullptr;
  AVCodecContext* context = encoder->context();
  av_opt_set(context->priv_data, "preset", kEffort, 0);
  av_opt_set(context->priv_data, "crf", kQuality, 0);
  *error = avcodec_open2(context, nullptr, nullptr);
  return *error < 0 ? nullptr : std::move(encoder);
}

std::unique_ptr<PictureEncoder> PictureEncoder::openDevice(const std::string& device, const AVFrame& first,
                                                           AVRational timeBase, AVRational rate) {
  std::unique_ptr<PictureEncoder> encoder(new PictureEncoder);
  encoder->isHardware_ = true;
  if (device == kComputeNode) {
    if (!encoder->prepare("h264_nvenc", first, timeBase, rate)) return nullptr;
    void* settings = encoder->context()->priv_data;
    av_opt_set(settings, "preset", "p5", 0);
    av_opt_set(settings, "rc", "vbr", 0);
    av_opt_set(settings, "cq", "19", 0);
    encoder->context()->bit_rate = 0;
    return avcodec_open2(encoder->context(), nullptr, nullptr) < 0 ? nullptr : std::move(encoder);
  }
  AVBufferRef* opened = nullptr;
  if (av_hwdevice_ctx_create(&opened, AV_HWDEVICE_TYPE_VAAPI, device.c_str(), nullptr, 0) < 0) return nullptr;
  bool ready = encoder->prepare("h264_vaapi", first, timeBase, rate) && encoder->prepareSurfaces(opened);
  av_buffer_unref(&opened);
  if (!ready) return nullptr;
  av_opt_set(encoder->context()->priv_data, "rc_mode", "CQP", 0);
  encoder->context()->global_quality = 19;
  ready = avcodec_open2(encoder->context(), nullptr, nullptr) >= 0;
  return ready ? std::move(encoder) : nullptr;
}

PictureEncoder::~PictureEncoder() {
  sws_freeContext(packing_);
}

bool PictureEncoder::prepare(const char* name, const AVFrame& first, AVRational timeBase, AVRational rate) {
  const AVCodec* codec = avcodec_find_encoder_by_name(name);
  context_.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
  if (!context_) return false;
  AVCodecContext* context = context_.get();
  context->width = first.width;
  context->height = first.height;
  context->pix_fmt = AVPixelFormat(first.format);
  context->sample_aspect_ratio = first.sample_aspect_ratio;
  context->color_range = first.color_range;
  context->color_primaries = first.color_primaries;
  context->color_trc = first.color_trc;
  context->colorspace = first.colorspace;
  context->chroma_sample_location = first.chroma_location;
  context->time_base = timeBase;
  context->framerate = rate;
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return true;
}

bool PictureEncoder::prepareSurfaces(AVBufferRef* device) {
  AVCodecContext* context = context_.get();
  context->hw_frames_ctx = av_hwframe_ctx_alloc(device);
  if (!context->hw_frames_ctx) return false;
  auto* frames = reinterpret_cast<AVHWFramesContext*>(context->hw_frames_ctx->data);
  frames->format = AV_PIX_FMT_VAAPI;
  frames->sw_format = AV_PIX_FMT_NV12;
  frames->width = context->width;
  frames->height = context->height;
  frames->initial_pool_size = 20;
  packing_ = sws_getContext(context->width, context->height, AV_PIX_FMT_YUV420P, context->width, context->height,
                            AV_PIX_FMT_NV12, SWS_POINT, nullptr, nullptr, nullptr);
  context->pix_fmt = AV_PIX_FMT_VAAPI;
  return packing_ && av_hwframe_ctx_init(context->hw_frames_ctx) >= 0;
}

int PictureEncoder::upload(const AVFrame& picture, Frame* surface) {
  const Frame packed(av_frame_alloc());
  surface->reset(av_frame_alloc());
  if (!packed || !*surface) return AVERROR(ENOMEM);
  packed->format = AV_PIX_FMT_NV12;
  packed->width = picture.width;
  packed->height = picture.height;
  if (const int result = av_frame_get_buffer(packed.get(), 0); result < 0) return result;
  sws_scale(packing_, picture.data, picture.linesize, 0, picture.height, packed->data, packed->linesize);
  int result = av_hwframe_get_buffer(context_->hw_frames_ctx, surface->get(), 0);
  if (result >= 0) result = av_hwframe_transfer_data(surface->get(), packed.get(), 0);
  if (result >= 0) result = av_frame_copy_props(surface->get(), &picture);
  return result;
}

int PictureEncoder::send(const AVFrame* picture) {
  if (!picture || !packing_) return avcodec_send_frame(context_.get(), picture);
  Frame surface;
  const int result = upload(*picture, &surface);
  return result < 0 ? result : avcodec_send_frame(context_.get(), surface.get());
}

int PictureEncoder::receive(AVPacket* packet) {
  return avcodec_receive_packet(context_.get(), packet);
}
