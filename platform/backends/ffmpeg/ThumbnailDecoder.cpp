#include "platform/backends/ffmpeg/ThumbnailDecoder.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/PictureSize.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <cmath>

namespace {

/// Seconds after which seeking is quicker than decoding on, in files that do not tell where their key frames are.
constexpr std::int64_t kLongestRun = 20;

std::int64_t timeOf(const AVFrame& frame) {
  return frame.pts != AV_NOPTS_VALUE ? frame.pts : frame.best_effort_timestamp;
}

/// What the player does with a picture whose file does not name its colour matrix.
int colourMatrix(const AVFrame& frame) {
  if (frame.colorspace != AVCOL_SPC_UNSPECIFIED && frame.colorspace != AVCOL_SPC_RGB) return frame.colorspace;
  return frame.width >= 1280 || frame.height > 576 ? SWS_CS_ITU709 : SWS_CS_ITU601;
}

/// How the pixels of a displayed picture are found in the coded one: column = xx·x + xy·y (from the far edge when the
/// sum of a row is negative), row likewise. Other than quarter turns and mirrorings count as none.
struct Turn {
  int xx = 1, xy = 0, yx = 0, yy = 1;
  bool swapsSides() const { return xx == 0; }
  bool isNone() const { return xx == 1 && yy == 1; }
};

Turn turnOf(const AVStream* stream) {
  const std::int32_t* m = displayMatrix(stream);
  if (!m) return {};
  auto sign = [](std::int32_t value) { return value > 32768 ? 1 : value < -32768 ? -1 : 0; };
  // The inverse of an orthogonal matrix is its transpose.
  const Turn turn{sign(m[0]), sign(m[1]), sign(m[3]), sign(m[4])};
  const bool quarter = (std::abs(turn.xx) + std::abs(turn.xy) == 1) && (std::abs(turn.yx) + std::abs(turn.yy) == 1) &&
                       std::abs(turn.xx) == std::abs(turn.yy);
  return quarter ? turn : Turn{};
}

bool isLimit(CGFloat side) {
  return std::isfinite(side) && side > 0;
}

}  // namespace

std::unique_ptr<ThumbnailDecoder> ThumbnailDecoder::open(const std::string& path, const std::string& displayName,
                                                         const std::atomic<bool>& cancelled, NSErrorPtr* error) {
  std::unique_ptr<ThumbnailDecoder> decoder(new ThumbnailDecoder);
  decoder->displayName_ = displayName;
  decoder->cancelled_ = &cancelled;
  decoder->input_ = MovieInput::open(path, displayName, error, [&cancelled] { return cancelled.load(); });
  if (!decoder->input_) return nullptr;
  const AVStream* video = decoder->input_->video();
  const AVCodec* codec = video ? avcodec_find_decoder(video->codecpar->codec_id) : nullptr;
  if (!codec) {
    *error = std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorDecoderNotFound,
                                             video ? "There is no decoder for the pictures of “" + displayName + "” (" +
                                                         avcodec_get_name(video->codecpar->codec_id) + ")."
                                                   : "“" + displayName + "” has no pictures.");
    return nullptr;
  }
  const AVFormatContext* format = decoder->input_->format();
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    if (format->streams[i] != video) format->streams[i]->discard = AVDISCARD_ALL;
  }
  decoder->codec_.reset(avcodec_alloc_context3(codec));
  AVCodecContext* context = decoder->codec_.get();
  avcodec_parameters_to_context(context, video->codecpar);
  context->pkt_timebase = video->time_base;
  limitPictures(context);
  context->thread_count = 1;
  // A picture some dozens of pixels high does not show what the loop filter mends.
  context->skip_loop_filter = AVDISCARD_ALL;
  context->flags2 |= AV_CODEC_FLAG2_FAST;
  if (const int result = avcodec_open2(context, codec, nullptr); result < 0) {
    *error = std::make_shared<const NSError>(
        AVFoundationErrorDomain, AVErrorDecoderNotFound,
        "The pictures of “" + displayName + "” can't be decoded (" + avErrorText(result) + ").");
    return nullptr;
  }
  decoder->packet_.reset(av_packet_alloc());
  return decoder;
}

std::int64_t ThumbnailDecoder::pixels() const {
  return pixelsOf(input_->video()->codecpar);
}

/// Whether there is memory for key frames alone.
bool ThumbnailDecoder::isLarge() const {
  return pixels() > kUsualPixels;
}

ThumbnailDecoder::~ThumbnailDecoder() {
  sws_freeContext(scaler_);
}

std::int64_t ThumbnailDecoder::streamTime(CMTime time) const {
  const AVStream* video = input_->video();
  return av_rescale_q_rnd(time.value, {1, time.timescale}, video->time_base,
                          AVRounding(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX)) +
         input_->startTime(video);
}

std::int64_t ThumbnailDecoder::keyIndex(CMTime time) {
  const auto& keys = input_->keyTimes();
  return std::upper_bound(keys.begin(), keys.end(), streamTime(time)) - keys.begin() - 1;
}

double ThumbnailDecoder::keyInterval(CMTime time) {
  const auto& keys = input_->keyTimes();
  if (keys.empty()) return 2;
  const std::int64_t target = streamTime(time);
  const auto next = std::upper_bound(keys.begin(), keys.end(), target);
  const std::int64_t from = next == keys.begin() ? target : *(next - 1);
  const AVStream* video = input_->video();
  const std::int64_t end =
      input_->startTime(video) + av_rescale_q(input_->duration(), av_get_time_base_q(), video->time_base);
  return double((next == keys.end() ? std::max(end, from) : *next) - from) * av_q2d(video->time_base);
}

std::int64_t ThumbnailDecoder::keyTimeAtOrBefore(std::int64_t time) {
  const auto& keys = input_->keyTimes();
  const auto next = std::upper_bound(keys.begin(), keys.end(), time);
  return next == keys.begin() ? INT64_MIN : *(next - 1);
}

ThumbnailDecoder::Picture ThumbnailDecoder::picture(CMTime time, bool exact, CGSize maximumSize, NSErrorPtr* error) {
  const std::int64_t target = streamTime(time);
  exact = exact && !isLarge();
  Frame frame = exact ? decodeExact(target) : decodeKeyFrame(target);
  if (!frame && !exact && !isLarge()) frame = decodeExact(target);
  Picture result;
  if (frame) {
    const AVStream* video = input_->video();
    const AVRational base = video->time_base;
    const std::int64_t shown = timeOf(*frame) - input_->startTime(video);
    result.time =
        base.num == 1 ? CMTime{shown, base.den} : CMTime{av_rescale_q(shown, base, av_get_time_base_q()), AV_TIME_BASE};
    result.image = render(*frame, maximumSize);
  }
  if (!result.image) {
    *error = std::make_shared<const NSError>(AVFoundationErrorDomain, AVErrorUnknown,
                                             "“" + displayName_ + "” has no picture at that time that can be decoded.");
  }
  return result;
}

Frame ThumbnailDecoder::decodeKeyFrame(std::int64_t time) {
  running_ = false;
  avcodec_flush_buffers(codec_.get());
  codec_->skip_frame = AVDISCARD_NONKEY;
  input_->seek(input_->video(), time);
  Frame frame(av_frame_alloc());
  bool decoded = false;
  while (!decoded && !*cancelled_ && av_read_frame(input_->format(), packet_.get()) >= 0) {
    const bool key = packet_->stream_index == input_->video()->index && (packet_->flags & AV_PKT_FLAG_KEY);
    const bool hidden = (packet_->flags & AV_PKT_FLAG_DISCARD) != 0;
    if (key && !hidden && avcodec_send_packet(codec_.get(), packet_.get()) >= 0) {
      avcodec_send_packet(codec_.get(), nullptr);  // asks for the picture at once, without those that follow
      decoded = avcodec_receive_frame(codec_.get(), frame.get()) >= 0;
      avcodec_flush_buffers(codec_.get());
    }
    av_packet_unref(packet_.get());
    if (key && !decoded && !(hidden && isLarge())) break;
  }
  return decoded ? std::move(frame) : nullptr;
}

/// Makes the decoder ready to give every frame from the key frame at or before `time` on.
bool ThumbnailDecoder::seekBefore(std::int64_t time) {
  avcodec_flush_buffers(codec_.get());
  codec_->skip_frame = AVDISCARD_DEFAULT;
  atEnd_ = false;
  following_ = nullptr;
  current_ = nullptr;
  firstTime_ = AV_NOPTS_VALUE;
  running_ = input_->seek(input_->video(), time) >= 0;
  return running_;
}

Frame ThumbnailDecoder::nextFrame() {
  Frame frame(av_frame_alloc());
  while (!*cancelled_) {
    const int result = avcodec_receive_frame(codec_.get(), frame.get());
    // Pictures that come after the first key frame in the file but are shown before it lack what they refer to.
    if (result >= 0 && timeOf(*frame) < firstTime_) continue;
    if (result >= 0) return frame;
    if (result != AVERROR(EAGAIN) || atEnd_) return nullptr;
    if (av_read_frame(input_->format(), packet_.get()) < 0) {
      atEnd_ = true;
      avcodec_send_packet(codec_.get(), nullptr);
      continue;
    }
    if (packet_->stream_index == input_->video()->index) {
      if (firstTime_ == AV_NOPTS_VALUE) firstTime_ = packet_->pts;
      // A damaged packet is passed over; the frames after it still come.
      avcodec_send_packet(codec_.get(), packet_.get());
    }
    av_packet_unref(packet_.get());
  }
  return nullptr;
}

Frame ThumbnailDecoder::decodeExact(std::int64_t time) {
  const bool reachable = running_ && current_ && timeOf(*current_) <= time &&
                         keyTimeAtOrBefore(time) <= timeOf(*current_) &&
                         time - timeOf(*current_) < av_rescale_q(kLongestRun, {1, 1}, input_->video()->time_base);
  if (!reachable) {
    // The index counts in decode order: with reordered frames the key frame found may be shown after `time`, and the
    // frame sought then belongs to the one before.
    std::int64_t from = time;
    for (int attempt = 0;; ++attempt) {
      if (!seekBefore(from)) return nullptr;
      following_ = nextFrame();
      const AVStream* video = input_->video();
      if ((following_ && timeOf(*following_) <= time) || from <= video->start_time || attempt == 6) break;
      const std::int64_t key = keyTimeAtOrBefore(from);
      const std::int64_t earlier = key == INT64_MIN ? key : keyTimeAtOrBefore(key - 1);
      // Formats without an index lead to any frame: there, look further and further back.
      from = earlier != INT64_MIN ? earlier : from - av_rescale_q(1LL << attempt, {1, 1}, video->time_base);
    }
    current_ = std::move(following_);  // when nothing is shown before it, the first picture is the one
    following_ = nullptr;
    if (!current_) return nullptr;
  }
  while (!*cancelled_) {
    if (!following_) following_ = nextFrame();
    if (!following_ || timeOf(*following_) > time) break;
    current_ = std::move(following_);
  }
  return Frame(av_frame_clone(current_.get()));
}

CGImageRef ThumbnailDecoder::render(const AVFrame& frame, CGSize maximumSize) {
  const AVStream* video = input_->video();
  const Turn turn = turnOf(video);
  const AVRational aspect =
      av_guess_sample_aspect_ratio(input_->format(), const_cast<AVStream*>(video), const_cast<AVFrame*>(&frame));
  double width = frame.width * (aspect.num > 0 && aspect.den > 0 ? av_q2d(aspect) : 1), height = frame.height;
  if (turn.swapsSides()) std::swap(width, height);
  double scale = 1;
  if (isLimit(maximumSize.width)) scale = std::min(scale, maximumSize.width / width);
  if (isLimit(maximumSize.height)) scale = std::min(scale, maximumSize.height / height);
  const int shownWidth = std::max(1, int(std::lround(width * scale)));
  const int shownHeight = std::max(1, int(std::lround(height * scale)));
  const int scaledWidth = turn.swapsSides() ? shownHeight : shownWidth;
  const int scaledHeight = turn.swapsSides() ? shownWidth : shownHeight;

  const auto format = AVPixelFormat(frame.format);
  scaler_ = sws_getCachedContext(scaler_, frame.width, frame.height, format, scaledWidth, scaledHeight, AV_PIX_FMT_BGRA,
                                 SWS_AREA, nullptr, nullptr, nullptr);
  if (!scaler_) return nullptr;
  const bool fullRange = frame.color_range == AVCOL_RANGE_JPEG;
  sws_setColorspaceDetails(scaler_, sws_getCoefficients(colourMatrix(frame)), fullRange,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  auto image = std::make_shared<CGImage>(scaledWidth, scaledHeight);
  image->pixels.resize(image->pixels.size() + 64);  // the scaler may write a little over the last row's end
  std::array<std::uint8_t*, 4> planes{image->pixels.data()};
  std::array<int, 4> strides{int(image->stride)};
  if (sws_scale(scaler_, frame.data, frame.linesize, 0, frame.height, planes.data(), strides.data()) <= 0) {
    return nullptr;
  }

  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  image->opaque = !description || !(description->flags & AV_PIX_FMT_FLAG_ALPHA);
  if (!image->opaque) {
    for (int y = 0; y < scaledHeight; ++y) {
      std::uint8_t* pixel = &image->pixels[std::size_t(y) * image->stride];
      for (int x = 0; x < scaledWidth; ++x, pixel += 4) {
        for (int i = 0; i < 3; ++i) pixel[i] = std::uint8_t((pixel[i] * pixel[3] + 127) / 255);
      }
    }
  }
  if (turn.isNone()) return image;

  auto turned = std::make_shared<CGImage>(shownWidth, shownHeight);
  turned->opaque = image->opaque;
  const int fromX = turn.xx + turn.xy < 0 ? scaledWidth - 1 : 0, fromY = turn.yx + turn.yy < 0 ? scaledHeight - 1 : 0;
  for (int y = 0; y < shownHeight; ++y) {
    for (int x = 0; x < shownWidth; ++x) {
      const int column = fromX + turn.xx * x + turn.xy * y, row = fromY + turn.yx * x + turn.yy * y;
      std::copy_n(&image->pixels[std::size_t(row) * image->stride + std::size_t(column) * 4], 4,
                  &turned->pixels[std::size_t(y) * turned->stride + std::size_t(x) * 4]);
    }
  }
  return turned;
}
