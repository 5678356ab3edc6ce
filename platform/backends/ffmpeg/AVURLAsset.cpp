#include "platform/AVFoundation/AVAsset.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/MovieInput.h"
#include "platform/backends/posix/ContentWatch.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <cerrno>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

struct AVURLAsset::Impl {
  NSURL url;
  FileDescriptor file;
  int openError = 0;
  std::string readablePath;
  std::optional<ContentWatch> watch;  // ends before the file is closed

  std::once_flag probed;
  std::vector<Strong<AVAssetTrack>> tracks;
  CMTime duration = kCMTimeInvalid;
  NSErrorPtr error;

  /// Reads the file's headers, unless that has been done; waits for a reading that is under way.
  void load() {
    std::call_once(probed, [this] { probe(); });
  }
  void probe();
};

namespace {

Strong<AVAssetTrack> makeTrack(const AVStream* stream) {
  auto track = std::make_shared<AVAssetTrack>();
  track->trackID = stream->index + 1;
  const AVCodecParameters* codec = stream->codecpar;
  const bool video = codec->codec_type == AVMEDIA_TYPE_VIDEO;
  track->mediaType = video ? AVMediaTypeVideo : AVMediaTypeAudio;
  track->codecName = avcodec_get_name(codec->codec_id);
  track->naturalTimeScale = std::int32_t(av_rescale(1, stream->time_base.den, stream->time_base.num));
  if (!video) return track;

  AVRational aspect = stream->sample_aspect_ratio;
  if (aspect.num <= 0 || aspect.den <= 0) aspect = codec->sample_aspect_ratio;
  const double stretch = aspect.num > 0 && aspect.den > 0 ? av_q2d(aspect) : 1;
  track->naturalSize = CGSizeMake(CGFloat(codec->width * stretch), CGFloat(codec->height));
  if (const std::int32_t* matrix = displayMatrix(stream)) {
    auto entry = [matrix](int i) { return CGFloat(matrix[i] / 65536.0); };
    track->preferredTransform = {entry(0), entry(1), entry(3), entry(4), entry(6), entry(7)};
  }
  if (stream->avg_frame_rate.num > 0 && stream->avg_frame_rate.den > 0) {
    track->nominalFrameRate = float(av_q2d(stream->avg_frame_rate));
  }
  return track;
}

}  // namespace

void AVURLAsset::Impl::probe() {
  const std::string name = url.lastPathComponent();
  if (watch) watch->rememberPlaces();
  struct stat status {};
  if (file && fstat(file.get(), &status) == 0) {
    if (S_ISDIR(status.st_mode))
      openError = EISDIR;
    else if (!S_ISREG(status.st_mode))
      openError = EINVAL;
  }
  if (openError != 0) {
    error = NSError::posix(openError, "“" + name + "” can't be opened");
    return;
  }
  const std::unique_ptr<MovieInput> input = MovieInput::open(readablePath, name, &error);
  if (!input) return;
  for (unsigned i = 0; i < input->format()->nb_streams; ++i) {
    const AVStream* stream = input->format()->streams[i];
    const AVMediaType type = stream->codecpar->codec_type;
    if ((type == AVMEDIA_TYPE_VIDEO && !isCoverPicture(stream)) || type == AVMEDIA_TYPE_AUDIO) {
      tracks.push_back(makeTrack(stream));
    }
  }
  duration = {input->duration(), AV_TIME_BASE};
}

AVURLAsset::AVURLAsset() : impl_(std::make_shared<Impl>()) {}
AVURLAsset::~AVURLAsset() = default;

Strong<AVURLAsset> AVURLAsset::initWithURL_options(const NSURL& url, const char* option) {
  auto asset = std::make_shared<AVURLAsset>();
  Impl& impl = *asset->impl_;
  impl.url = url;
  impl.readablePath = url.path();
  impl.file.reset(open(url.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (impl.file) {
    impl.readablePath = "/proc/self/fd/" + std::to_string(impl.file.get());
    if (access(impl.readablePath.c_str(), R_OK) != 0) impl.readablePath = url.path();
    impl.watch.emplace(impl.file.get());
  } else {
    impl.openError = errno;
  }
  if (!option || std::string_view(option) != AVURLAssetLoadsOnDemand) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT), [impl = asset->impl_] { impl->load(); });
  }
  return asset;
}

const NSURL& AVURLAsset::URL() const {
  return impl_->url;
}

const std::string& AVURLAsset::readablePath() const {
  return impl_->readablePath;
}

std::optional<std::int64_t> AVURLAsset::fileLength() const {
  struct stat status {};
  if (!impl_->file || fstat(impl_->file.get(), &status) != 0) return {};
  return status.st_size;
}

bool AVURLAsset::hasChanged() const {
  return impl_->watch && impl_->watch->hasChanged();
}

std::vector<Strong<AVAssetTrack>> AVURLAsset::tracksWithMediaType(const std::string& mediaType) const {
  impl_->load();
  std::vector<Strong<AVAssetTrack>> result;
  for (const Strong<AVAssetTrack>& track : impl_->tracks) {
    if (track->mediaType == mediaType) result.push_back(track);
  }
  return result;
}

CMTime AVURLAsset::duration() const {
  impl_->load();
  return impl_->duration;
}

NSErrorPtr AVURLAsset::error() const {
  impl_->load();
  return impl_->error;
}

void AVURLAsset::loadValuesAsynchronously(std::function<void()> completion) const {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [impl = impl_, completion = std::move(completion)] {
                   impl->load();
                   completion();
                 });
}
