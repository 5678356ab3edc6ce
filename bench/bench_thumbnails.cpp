// A full strip of thumbnails, measured against the same done with what is installed:
// bench_thumbnails FOLDER, with the recordings minute.mp4 and hour.mp4 of tests/data/make_recordings.sh --bench.
#include "bench/Report.h"
#include "platform/AVFoundation/AVAssetImageGenerator.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/MovieInput.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kThumbnails = 30, kRuns = 5, kHeight = 72;

double seconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(const std::function<void()>& work) {
  std::vector<double> times;
  for (int run = 0; run < kRuns; ++run) times.push_back(seconds(work));
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

/// From the movie's opening to the last thumbnail, as the editor asks for them: one request a time.
void strip(const std::string& path, double length) {
  const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(path), nullptr);
  const auto generator = AVAssetImageGenerator::initWithAsset(asset);
  generator->setMaximumSize({256, kHeight});
  std::atomic<int> done{0}, failed{0};
  for (int i = 0; i < kThumbnails; ++i) {
    generator->generateCGImagesAsynchronouslyForTimes_completionHandler(
        {CMTimeMakeWithSeconds(length * i / kThumbnails, 1'000'000'000)},
        [&](CMTime, const CGImageRef& image, CMTime, const NSErrorPtr&) {
          if (!image) ++failed;
          ++done;
        });
  }
  dispatch_main::runUntil([&] { return done == kThumbnails; }, 120);
  if (done != kThumbnails || failed > 0) {
    std::fprintf(stderr, "%s: %d of %d thumbnails came, %d failed\n", path.c_str(), done.load(), kThumbnails,
                 failed.load());
    std::exit(1);
  }
}

/// The same key frames with libavcodec alone, one thread, nothing scaled and the loop filter left on.
void bareDecoding(const std::string& path, double length) {
  NSErrorPtr error;
  const auto input = MovieInput::open(path, path, &error);
  AVStream* video = input->video();
  const AVCodec* codec = avcodec_find_decoder(video->codecpar->codec_id);
  const Codec context(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(context.get(), video->codecpar);
  context->thread_count = 1;
  avcodec_open2(context.get(), codec, nullptr);
  const Packet packet(av_packet_alloc());
  const Frame frame(av_frame_alloc());
  for (int i = 0; i < kThumbnails; ++i) {
    input->seek(video, std::int64_t(length * i / kThumbnails / av_q2d(video->time_base)));
    while (av_read_frame(input->format(), packet.get()) >= 0 && packet->stream_index != video->index) {
      av_packet_unref(packet.get());
    }
    avcodec_send_packet(context.get(), packet.get());
    avcodec_send_packet(context.get(), nullptr);
    avcodec_receive_frame(context.get(), frame.get());
    avcodec_flush_buffers(context.get());
    av_packet_unref(packet.get());
  }
}

/// The installed thumbnail maker, called once for each time.
void installedThumbnailer(const std::string& path, double length) {
  for (int i = 0; i < kThumbnails; ++i) {
    const int at = int(length * i / kThumbnails);
    char time[16];
    std::snprintf(time, sizeof time, "%02d:%02d:%02d", at / 3600, at / 60 % 60, at % 60);
    const std::string command =
        "ffmpegthumbnailer -i '" + path + "' -o /dev/null -c png -s 128 -t " + time + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) {
      std::fprintf(stderr, "failed: %s\n", command.c_str());
      std::exit(1);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: bench_thumbnails FOLDER\n");
    return 2;
  }
  dispatch_main::attachToCurrentThread([] {});
  const std::string minute = std::string(argv[1]) + "/minute.mp4", hour = std::string(argv[1]) + "/hour.mp4";
  strip(minute, 60);  // both files' headers into the page cache
  strip(hour, 3600);
  const double ours = median([&] { strip(minute, 60); }), oursHour = median([&] { strip(hour, 3600); });
  const double bare = median([&] { bareDecoding(minute, 60); });
  const double bareHour = median([&] { bareDecoding(hour, 3600); });
  const double installed = seconds([&] { installedThumbnailer(minute, 60); });
  std::printf("%d thumbnails, %d pixels high, of 1920 x 1080 at 60 a second; medians of %d runs\n", kThumbnails,
              kHeight, kRuns);
  Report report("other");
  report.ratio("strip, minute; ffmpegthumbnailer", "s", ours, installed, 5, true);
  report.ratio("strip, minute; bare decoding", "s", ours, bare, 1.5);
  report.ratio("strip, hour; bare decoding", "s", oursHour, bareHour, 1.5);
  report.ratio("strip, hour; strip, minute", "s", oursHour, ours, 3);
  return report.finish();
}
