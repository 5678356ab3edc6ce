#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/MovieInput.h"
#include "platform/backends/ffmpeg/PictureEncoder.h"
#include "platform/backends/ffmpeg/Transcoder.h"
#include "platform/backends/posix/HiddenFile.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using Status = AVAssetExportSessionStatus;

namespace {

struct PacketFacts {
  int stream;
  std::int64_t time, duration;
  std::string bytes;
  bool operator==(const PacketFacts&) const = default;
};

/// All packets of a kind, those that are hidden as well; with times in microseconds.
std::vector<PacketFacts> packets(const std::string& path, AVMediaType type) {
  std::vector<PacketFacts> result;
  const auto input = MovieInput::open(path, path, nullptr);
  if (!input) return result;
  const Packet packet(av_packet_alloc());
  while (av_read_frame(input->format(), packet.get()) >= 0) {
    const AVStream* stream = input->format()->streams[packet->stream_index];
    const auto time = [&](std::int64_t ticks) { return av_rescale_q(ticks, stream->time_base, {1, 1000000}); };
    if (stream->codecpar->codec_type == type) {
      result.push_back({packet->stream_index, time(packet->pts), time(packet->duration),
                        std::string(reinterpret_cast<const char*>(packet->data), std::size_t(packet->size))});
    }
    av_packet_unref(packet.get());
  }
  return result;
}

/// The parameters of a movie's pictures.
struct Form {
  AVCodecID codec = AV_CODEC_ID_NONE;
  int format = -1, width = 0, height = 0;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
};
Form formOf(const std::string& path) {
  const auto input = MovieInput::open(path, path, nullptr);
  if (!input || !input->video()) return {};
  input->learnFormats();
  const AVCodecParameters* codec = input->video()->codecpar;
  return {codec->codec_id,    codec->format,    codec->width,      codec->height,
          codec->color_range, codec->color_trc, codec->color_space};
}

class Conversion : public testing::Test {
 protected:
  void SetUp() override {
    dispatch_main::attachToCurrentThread([] {});
    fs::create_directory(scratch_ / "out");
  }

  static Strong<AVAssetExportSession> session(const std::string& source, const std::string& output) {
    const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(source), nullptr);
    auto result = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetHighestQuality);
    result->setOutputURL(NSURL::fileURLWithPath(output));
    result->setOutputFileType(AVFileTypeMPEG4);
    const auto mix = AVMutableAudioMix::audioMix();
    std::vector<Strong<AVMutableAudioMixInputParameters>> inputs;
    for (const auto& track : asset->tracksWithMediaType(AVMediaTypeAudio)) {
      inputs.push_back(AVMutableAudioMixInputParameters::audioMixInputParameters());
      inputs.back()->setTrackID(track->trackID);
    }
    mix->setInputParameters(inputs);
    result->setAudioMix(mix);
    return result;
  }

  static void finish(const Strong<AVAssetExportSession>& session, const std::function<void()>& meanwhile = nullptr) {
    std::atomic<int> calls{0};
    session->exportAsynchronouslyWithCompletionHandler([&] {
      EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
      ++calls;
    });
    if (meanwhile) meanwhile();
    EXPECT_TRUE(dispatch_main::runUntil([&] { return calls > 0; }, 200));
  }

  /// The converted file's path.
  std::string convert(const std::string& source) {
    const std::string output = scratch_ / ("out/converted" + std::to_string(++count_) + ".mp4");
    const auto made = session(source.front() == '/' ? source : recordings::path(source), output);
    finish(made);
    EXPECT_EQ(made->status(), Status::Completed)
        << source << ": " << (made->error() ? made->error()->localizedDescription() : "");
    EXPECT_EQ(made->progress(), 1);
    const auto facts = read_back::facts(output);
    EXPECT_TRUE(facts && facts->indexFirst);
    return output;
  }

  /// A movie made for one test by the ffmpeg program.
  std::string make(const std::string& name, const std::string& arguments) {
    const std::string path = scratch_ / name;
    EXPECT_EQ(std::system(("ffmpeg -nostdin -v error -y " + arguments + " '" + path + "'").c_str()), 0);
    return path;
  }
  static std::string from(const std::string& name) { return " -i '" + recordings::path(name) + "' "; }

  std::vector<std::string> leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(scratch_ / "out")) names.push_back(entry.path().filename());
    return names;
  }

  ScratchFolder scratch_;
  int count_ = 0;
};

/// Two seconds of the recordings' tone, at the right time to a tenth of a millisecond.
void expectToneInTime(const std::string& path, double hertz, double from, double level = 0.2) {
  const auto tone = read_back::tone(path, hertz, from + 0.1, 0.8);
  EXPECT_NEAR(tone.level, level, level * 0.1);
  EXPECT_NEAR(tone.delay, 0, 1e-4);
}

TEST_F(Conversion, WhatFitsIsTakenAsItIs) {
  for (const char* name : {"basic.mp4", "bframes60.mp4", "vfr.mp4", "video_only.mp4", "turned.mp4", "one_frame.mp4"}) {
    SCOPED_TRACE(name);
    const std::string output = convert(name), source = recordings::path(name);
    for (const AVMediaType type : {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO}) {
      EXPECT_TRUE(packets(output, type) == packets(source, type)) << type;
    }
  }
  // From another container, and from a file whose start is hidden: the same pictures at the same times.
  for (const char* name : {"basic.mkv", "cut_lead_in.mp4"}) {
    SCOPED_TRACE(name);
    const auto pictures = read_back::pictures(convert(name)), expected = read_back::pictures(recordings::path(name));
    ASSERT_EQ(pictures.size(), expected.size());
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      ASSERT_EQ(pictures[i].number, expected[i].number);
      ASSERT_NEAR(pictures[i].time, expected[i].time, 0.0225);
    }
  }
}

TEST_F(Conversion, TracksAreMixedAtTheirOwnLevelBesideUntouchedPictures) {
  const std::string output = convert("two_audio.mp4");
  const auto facts = read_back::facts(output);
  ASSERT_TRUE(facts);
  ASSERT_EQ(facts->tracks.size(), 2U);
  EXPECT_EQ(facts->tracks[1].codec, "aac");
  EXPECT_NEAR(facts->duration, 20, 0.03);
  EXPECT_EQ(facts->title, "Two tracks");
  EXPECT_TRUE(packets(output, AVMEDIA_TYPE_VIDEO) == packets(recordings::path("two_audio.mp4"), AVMEDIA_TYPE_VIDEO));
  for (const int second : {0, 1, 7, 19}) {
    SCOPED_TRACE(second);
    expectToneInTime(output, 300 + 50 * second, second);
    expectToneInTime(output, 4300 + 50 * second, second);
  }
}

TEST_F(Conversion, OnlyTheTracksThatTheMixNamesAreHeard) {
  const std::string output = scratch_ / "out/one.mp4";
  const auto made = session(recordings::path("two_audio.mp4"), output);
  const auto mix = AVMutableAudioMix::audioMix();
  const auto asset =
      AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(recordings::path("two_audio.mp4")), nullptr);
  const auto second = AVMutableAudioMixInputParameters::audioMixInputParameters();
  second->setTrackID(asset->tracksWithMediaType(AVMediaTypeAudio).at(1)->trackID);
  mix->setInputParameters({second});
  made->setAudioMix(mix);
  finish(made);
  ASSERT_EQ(made->status(), Status::Completed);
  EXPECT_EQ(read_back::facts(output)->tracks.size(), 2U);
  expectToneInTime(output, 4350, 1);
  EXPECT_LT(read_back::tone(output, 350, 1.1, 0.8).level, 0.005);
}

TEST_F(Conversion, LoudTracksTogetherAreTurnedDownInsteadOfClipped) {
  const std::string source = make(
      "loud.mkv", from("basic.mp4") +
                      "-f lavfi -i \"aevalsrc='0.8*sin(2*PI*t*440)':s=44100:d=4\" "
                      "-f lavfi -i \"aevalsrc='if(gte(t,2),0.8*sin(2*PI*t*440),0.1*sin(2*PI*t*880))|0':s=48000:d=4\" "
                      "-map 0:v -map 1:a -map 2:a -c:v copy -c:a pcm_s16le -t 4");
  const std::string output = convert(source);
  // One alone is as loud as it was; both together reach the top, and stay a sine.
  EXPECT_NEAR(read_back::tone(output, 440, 0.5, 1).level, 0.8, 0.04);
  EXPECT_NEAR(read_back::tone(output, 880, 0.5, 1).level, 0.1, 0.01);
  const auto both = read_back::tone(output, 440, 2.6, 1);
  EXPECT_LT(both.peak, 1.03);
  EXPECT_GT(both.level, 0.9);
  EXPECT_LT(both.level, 1.03);  // a clipped sine's would be 1.1 and more
}

TEST_F(Conversion, PicturesAndSoundStayTogetherInTime) {
  const std::string lossless = "-c:v ffv1 -c:a pcm_s16le ";
  struct Case {
    const char* name;
    std::string arguments;
    double soundFrom;  // second from which there is sound
    double tolerance = 0.0015;
  };
  const std::string basic = recordings::path("basic.mp4");
  const Case cases[] = {
      {"plain.mkv", from("basic.mp4") + "-t 4 " + lossless, 0},
      // Still for seconds, at odd times.
      {"still.mov",
       from("vfr.mp4") + "-t 12 -fps_mode passthrough -enc_time_base 1/90000 -c:v prores -profile:v 0 -c:a pcm_s16le",
       0},
      // Reordered pictures, of another kind.
      {"other.mp4", from("basic.mp4") + "-t 4 -c:v mpeg4 -bf 2 -q:v 2 -c:a aac", 0},
      {"four.mp4", from("basic.mp4") + "-t 4 -c:v libx264 -preset ultrafast -pix_fmt yuv444p -crf 12 -c:a copy", 0},
      // Sound that begins later, and pauses.
      {"late.mkv",
       "-i '" + basic + "' -i '" + basic +
           "' -filter_complex \"[1:a]aselect='gte(t,1.37)*not(between(t,2,2.999))'[a]\" " +
           "-map 0:v -map '[a]' -t 4 " + lossless,
       1.37}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string source = make(c.name, c.arguments), output = convert(source);
    const auto pictures = read_back::pictures(output), expected = read_back::pictures(source);
    EXPECT_EQ(formOf(output).codec, AV_CODEC_ID_H264);
    EXPECT_EQ(formOf(output).format, AV_PIX_FMT_YUV420P);
    ASSERT_GT(expected.size(), 60U);
    ASSERT_EQ(pictures.size(), expected.size());
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      ASSERT_GE(pictures[i].number, 0);
      ASSERT_EQ(pictures[i].number, expected[i].number);
      ASSERT_NEAR(pictures[i].time, expected[i].time, c.tolerance);
    }
    EXPECT_NEAR(read_back::facts(output)->duration, read_back::facts(source)->duration, 0.05);
    expectToneInTime(output, 450, 3);
    if (c.soundFrom < 1) {
      expectToneInTime(output, 300, 0);
    } else {
      EXPECT_LT(read_back::tone(output, 350, 0.2, 1).peak, 0.01);
      EXPECT_NEAR(read_back::tone(output, 350, 1.45, 0.5).delay, 0, 6e-4);
      EXPECT_LT(read_back::tone(output, 400, 2.1, 0.8).peak, 0.01);
    }
  }
}

TEST_F(Conversion, PicturesOfAnyKindBecomeOnesThatEveryPlayerShows) {
  struct Case {
    const char* name;
    std::string arguments;
    int width, height, format;
    AVColorRange range;
  };
  const Case cases[] = {
      {"odd.mkv", "-vf scale=319:181 -pix_fmt yuv444p -c:v ffv1", 320, 182, AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG},
      {"deep.mkv", "-pix_fmt yuv420p10le -c:v ffv1", 640, 360, AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG},
      {"rgb.mkv", "-pix_fmt bgr0 -c:v ffv1", 640, 360, AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG},
      {"full.mkv", "-vf scale=out_range=full -pix_fmt yuvj444p -c:v ffv1 -color_range pc", 640, 360,
       AV_PIX_FMT_YUVJ420P, AVCOL_RANGE_JPEG},
      {"bright.mkv",
       "-pix_fmt yuv420p10le -c:v ffv1 -color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc "
       "-color_range tv",
       640, 360, AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string output = convert(make(c.name, from("basic.mp4") + "-t 1 -an " + c.arguments));
    const Form form = formOf(output);
    EXPECT_EQ(form.width, c.width);
    EXPECT_EQ(form.height, c.height);
    EXPECT_EQ(form.format, c.format);
    if (form.range != AVCOL_RANGE_UNSPECIFIED) {
      EXPECT_EQ(form.range, c.range);
    }
    const auto pictures = read_back::pictures(output);
    ASSERT_EQ(pictures.size(), 30U);
    for (int i = 0; i < 30; ++i) ASSERT_EQ(pictures[std::size_t(i)].number, i);
    if (std::string(c.name) == "bright.mkv") {
      EXPECT_EQ(form.transfer, AVCOL_TRC_BT709);
    }
    if (std::string(c.name) == "rgb.mkv") {
      EXPECT_EQ(form.space, AVCOL_SPC_BT709);
    }
  }
  // A turned one stays so.
  const std::string turned =
      convert(make("turned.mp4", "-noautorotate" + from("turned.mp4") +
                                     "-t 1 -c:v libx264 -pix_fmt yuv444p -metadata:s:v rotate=270"));
  const std::string still = make("still.mp4", "-i '" + turned + "' -frames:v 5 -c:v libx264");
  EXPECT_EQ(read_back::pictures(still).size(), 5U);
  EXPECT_EQ(read_back::pictures(turned).at(7).number, 7);
}

// With the index in front, what is missing at the end looks like the end of the movie.
TEST_F(Conversion, WhatIsCutOffIsNotTakenForTheWhole) {
  const std::string slow = "-movflags +faststart -c:v libx264 -preset ultrafast -pix_fmt yuv444p -crf 20 -c:a copy";
  const struct {
    const char *name, *arguments;
    bool meanwhile;
  } cases[] = {{"copied.mp4", "-movflags +faststart -c copy", false},
               {"coded.mp4", slow.c_str(), false},
               {"coded.mp4", slow.c_str(), true}};
  for (const auto& each : cases) {
    const std::string name = each.name;
    const bool meanwhile = each.meanwhile;
    SCOPED_TRACE(name + (meanwhile ? ", meanwhile" : ""));
    const std::string source = make(name, from("basic.mp4") + each.arguments);
    const auto cutOff = [&] { fs::resize_file(source, fs::file_size(source) / 2); };
    if (!meanwhile) cutOff();
    const auto made = session(source, scratch_ / "out/half.mp4");
    finish(made, [&] {
      while (meanwhile && made->progress() < 0.05F && made->status() <= Status::Exporting)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      if (meanwhile) cutOff();
    });
    ASSERT_EQ(made->status(), Status::Failed);
    EXPECT_NE(made->error()->localizedDescription().find("“" + name + "” "), std::string::npos)
        << made->error()->localizedDescription();
    EXPECT_TRUE(leftovers().empty());
  }
}

TEST_F(Conversion, ProgressRisesAndCancellingLeavesNothing) {
  const std::string source =
      make("slow.mp4", from("basic.mp4") + "-c:v libx264 -preset ultrafast -pix_fmt yuv444p -crf 20 -c:a copy");
  for (const float at : {0.0F, 0.02F, 0.4F}) {
    SCOPED_TRACE(at);
    const auto made = session(source, scratch_ / "out/cancelled.mp4");
    finish(made, [&] {
      float last = 0;
      while (made->progress() < at && made->status() <= Status::Exporting) {
        const float now = made->progress();
        EXPECT_GE(now, last);
        last = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      made->cancelExport();
    });
    EXPECT_EQ(made->status(), Status::Cancelled);
    EXPECT_LT(made->progress(), 0.95F);
    EXPECT_TRUE(leftovers().empty());
  }
}

TEST_F(Conversion, FailuresAreToldAndLeaveNothing) {
  std::string unknown = scratch_ / "unknown.mp4";
  {
    std::ifstream in(recordings::path("video_only.mp4"), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    bytes.replace(bytes.rfind("avc1"), 4, "zzz1");
    std::ofstream(unknown, std::ios::binary) << bytes;
  }
  struct Case {
    std::string source;
    const char* domain;
    int code;
    const char* text;
  };
  const Case cases[] = {
      {recordings::path("audio_only.mp4"), AVFoundationErrorDomain, AVErrorExportFailed, "only sound"},
      {recordings::path("text.mp4"), AVFoundationErrorDomain, AVErrorFileFormatNotRecognized, "text.mp4"},
      {unknown, AVFoundationErrorDomain, AVErrorDecoderNotFound, "unknown.mp4"},
      {scratch_ / "missing.mp4", NSPOSIXErrorDomain, ENOENT, "missing.mp4"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.source);
    const auto made = session(c.source, scratch_ / "out/failed.mp4");
    finish(made);
    EXPECT_EQ(made->status(), Status::Failed);
    ASSERT_TRUE(made->error());
    EXPECT_EQ(made->error()->domain(), c.domain);
    EXPECT_EQ(made->error()->code(), c.code);
    EXPECT_NE(made->error()->localizedDescription().find(c.text), std::string::npos)
        << made->error()->localizedDescription();
    EXPECT_TRUE(leftovers().empty());
  }
  const auto ranged = session(recordings::path("basic.mp4"), scratch_ / "out/failed.mp4");
  ranged->setTimeRange(CMTimeRangeMake(kCMTimeZero, CMTimeMakeWithSeconds(1, 1000)));
  finish(ranged);
  EXPECT_EQ(ranged->error() ? ranged->error()->code() : 0, AVErrorInvalidTimeRange);
}

/// In a process of its own, where no file may be larger than 100 kB.
int convertWithoutRoom(const std::string& source, const std::string& folder) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{100'000, 100'000};
  std::optional<HiddenFile> file = HiddenFile::create(folder, 0600);
  if (!file || setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
  Transcoder job;
  job.sourcePath = source;
  job.sourceName = "source";
  job.outputFolder = folder;
  job.output = file->descriptor();
  job.isCancelled = [] { return false; };
  job.progress = [](float) {};
  const NSErrorPtr error = job.run();
  if (!error) return 3;
  std::fprintf(stderr, "%s\n", error->localizedDescription().c_str());
  return error->domain() == NSPOSIXErrorDomain && error->code() == EFBIG &&
                 error->localizedDescription().find("converted movie could not be written") != std::string::npos
             ? 0
             : 4;
}

TEST_F(Conversion, AFullDiskEndsItWithTheReason) {
  const std::string coded = make("coded.mkv", from("basic.mp4") + "-t 20 -c:v mpeg4 -q:v 3 -c:a copy");
  for (const std::string& source : {recordings::path("basic.mp4"), recordings::path("two_audio.mp4"), coded}) {
    SCOPED_TRACE(source);
    const pid_t child = fork();
    if (child == 0) _exit(convertWithoutRoom(source, scratch_ / "out"));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(leftovers().empty());
  }
}

TEST(HardwareEncoder, ThatDoesNotAnswerIsPassedOver) {
  const Frame picture(av_frame_alloc());
  picture->width = 640;
  picture->height = 360;
  picture->format = AV_PIX_FMT_YUV420P;
  for (const char* device : {"/dev/null", "/dev/nvidia0", "/dev/dri/renderD128", "/nowhere"}) {
    if (fs::exists(device) && std::string(device) != "/dev/null") continue;  // this machine has one
    EXPECT_FALSE(PictureEncoder::openDevice(device, *picture, {1, 90000}, {30, 1})) << device;
  }
  int error = 0;
  const auto encoder = PictureEncoder::open(*picture, {1, 90000}, {30, 1}, true, &error);
  ASSERT_TRUE(encoder);
  EXPECT_EQ(error, 0);
}

}  // namespace
