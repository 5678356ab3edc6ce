/// zevanti-probe MOVIE: says whether a file is a movie with picture or sound. Exit status 0: it is; 1: it is not, and a
/// line on standard output goes on after the file's name to say why; 2: wrong use.
///
/// A program of its own: it looks at files that may be made to break it, and it may be killed.

#include "platform/backends/ffmpeg/PictureSize.h"

#include <fcntl.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
}

namespace {

constexpr rlim_t kLongest = 2;  // seconds of computing; an hour's recording takes some hundredths
[[maybe_unused]] constexpr rlim_t kMemory =
    500'000'000;                       // bytes; ten hours of pictures and sound take some tens of millions
constexpr unsigned kMostTracks = 256;  // as many as can be trimmed; readers take time by their square
constexpr int kPacketsExamined = 100;  // for pictures that are larger than the headers say

int readFile(void* opaque, std::uint8_t* buffer, int size) {
  ssize_t count = read(*static_cast<int*>(opaque), buffer, static_cast<std::size_t>(size));
  return count > 0 ? static_cast<int>(count) : count == 0 ? AVERROR_EOF : AVERROR(errno);
}

std::int64_t seekFile(void* opaque, std::int64_t offset, int whence) {
  int file = *static_cast<int*>(opaque);
  if (whence & AVSEEK_SIZE) {
    off_t here = lseek(file, 0, SEEK_CUR), size = lseek(file, 0, SEEK_END);
    lseek(file, here, SEEK_SET);
    return size;
  }
  return lseek(file, offset, whence & ~AVSEEK_FORCE);
}

/// Formats that "play" although nobody would call them a movie: texts, pictures, subtitles, lists of other files.
bool isNoMovieFormat(const AVInputFormat* format) {
  std::string name = format->name;
  for (const char* other : {"tty", "image2", "bin", "xbin", "adf", "idf", "hls", "concat", "dash", "srt", "ass",
                            "webvtt", "sdp", "svg", "ffmetadata"}) {
    if (name == other) return true;
  }
  return name.size() > 5 && name.compare(name.size() - 5, 5, "_pipe") == 0;
}

bool hasPictureOrSound(const AVFormatContext* context) {
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const AVStream* stream = context->streams[i];
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && stream->codecpar->codec_id != AV_CODEC_ID_NONE)
      return true;
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && stream->codecpar->codec_id != AV_CODEC_ID_NONE &&
        !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
      return true;
  }
  return false;
}

bool hasMovingPictures(const AVStream* stream) {
  return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC);
}

/// The pixels of a picture by what is written in it and in the description of its coding; 0 where that is not told.
std::int64_t codedPixels(const AVStream* stream, const AVPacket* packet) {
  AVCodecParserContext* parser = av_parser_init(stream->codecpar->codec_id);
  AVCodecContext* codec = avcodec_alloc_context3(nullptr);
  std::int64_t pixels = 0;
  if (parser && codec && avcodec_parameters_to_context(codec, stream->codecpar) >= 0) {
    parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    std::uint8_t* picture = nullptr;
    int size = 0;
    av_parser_parse2(parser, codec, &picture, &size, packet->data, packet->size, packet->pts, packet->dts, packet->pos);
    pixels = std::max(std::int64_t{parser->width} * parser->height,
                      std::int64_t{parser->coded_width} * parser->coded_height);
  }
  avcodec_free_context(&codec);
  if (parser) av_parser_close(parser);
  return pixels;
}

/// Whether pictures are larger than the editor can decode within its memory.
bool hasEnormousPictures(AVFormatContext* context) {
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const AVCodecParameters* codec = context->streams[i]->codecpar;
    if (hasMovingPictures(context->streams[i]) && pixelsOf(codec) > kMostPixels) return true;
  }
  std::vector<bool> known;
  for (unsigned i = 0; i < context->nb_streams; ++i) known.push_back(!hasMovingPictures(context->streams[i]));
  AVPacket* packet = av_packet_alloc();
  for (int count = 0; packet && count < kPacketsExamined && av_read_frame(context, packet) >= 0; ++count) {
    const auto index = static_cast<std::size_t>(packet->stream_index);
    const AVStream* stream = context->streams[index];
    if (index < known.size() && !known[index]) {
      const std::int64_t pixels = codedPixels(stream, packet);
      if (pixels > kMostPixels) return true;
      known[index] = pixels > 0;
    }
    av_packet_unref(packet);
    if (std::find(known.begin(), known.end(), false) == known.end()) break;
  }
  return false;
}

/// Whether a track of an MP4 file has no number that can be one. In fragments of such a movie the reader counts to a
/// thousand million for each track.
bool lacksTrackNumber(const AVFormatContext* context) {
  if (!std::strstr(context->iformat->name, "mp4")) return false;
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    if (context->streams[i]->id < 0) return true;
  }
  return false;
}

/// Ends the process there and then: giving back every piece would only take time.
[[noreturn]] void end(int status) {
  std::fflush(stdout);
  _exit(status);
}

int no(const char* reason) {
  std::puts(reason);
  end(1);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc == 3 && std::strcmp(argv[1], "--") == 0) {
    ++argv;
    --argc;
  }
  if (argc != 2) {
    std::fputs("Usage: zevanti-probe MOVIE\n", stderr);
    return 2;
  }
  // What it says of a file is for who may read that.
  if (getauxval(AT_SECURE) != 0)
    return no(
        "can't be examined: zevanti-probe is not made to run with another user's rights; take the set-user-ID mark "
        "off its file");
  // A file that keeps the reader busy for ever, or wants more memory than any movie needs, is no movie to edit.
  rlimit seconds{kLongest, kLongest + 1};
  setrlimit(RLIMIT_CPU, &seconds);
#ifndef ZEVANTI_SANITIZED
  rlimit memory{kMemory, kMemory};
  setrlimit(RLIMIT_DATA, &memory);
#endif
  av_log_set_level(AV_LOG_QUIET);

  int file = open(argv[1], O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    std::printf("can't be opened: %s\n", std::strerror(errno));
    return 1;
  }
  constexpr int kBufferSize = 64 * 1024;
  AVIOContext* reader = avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBufferSize)), kBufferSize, 0, &file,
                                           readFile, nullptr, seekFile);
  AVFormatContext* context = avformat_alloc_context();
  if (!reader || !context) return no("can't be examined: out of memory");
  context->pb = reader;
  // By its content alone, and without a look at any other file.
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "none", 0);
  av_dict_set(&options, "probesize", "5000000", 0);
  int result = avformat_open_input(&context, nullptr, nullptr, &options);
  if (result < 0) {
    if (result != AVERROR(EIO)) return no("is not a movie, or it is damaged or was never finished");
    return no("can't be read: Input/output error");
  }
  if (isNoMovieFormat(context->iformat)) return no("is not a movie");
  if (context->nb_streams > kMostTracks) return no("has more tracks than can be edited");
  if (lacksTrackNumber(context)) return no("is not a movie, or it is damaged");
  // Chance finds sound in noise; then it takes what can really be read to believe it.
  bool doubtful = context->probe_score <= AVPROBE_SCORE_RETRY;
  if (doubtful || !hasPictureOrSound(context)) {
    context->max_analyze_duration = AV_TIME_BASE;
    if (avformat_find_stream_info(context, nullptr) < 0) return no("is not a movie, or it is damaged");
  }
  if (doubtful && context->probe_score <= AVPROBE_SCORE_RETRY / 4) return no("is not a movie");
  if (!hasPictureOrSound(context)) return no("has neither picture nor sound");
  if (hasEnormousPictures(context)) return no("has larger pictures than can be edited: 8192 x 4352 pixels at most");
  end(0);
}
