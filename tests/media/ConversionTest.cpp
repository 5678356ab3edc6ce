#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/backends/ffmpeg/MovieInput.h"
#include "platform/backends/ffmpeg/PictureEncoder.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"
#include "tests/media/CutMovie.h"
#include "tests/media/ReadBack.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>
#include <tuple>

namespace fs = std::filesystem;
using Status = AVAssetExportSessionStatus;

namespace {

/// The time and length in microseconds and the bytes of all packets of a kind, those that are hidden as well.
using PacketFacts = std::vector<std::tuple<std::int64_t, std::int64_t, std::string>>;
PacketFacts packets(const std::string& path, AVMediaType type) {
  PacketFacts result;
  const auto input = MovieInput::open(path, path, nullptr);
  if (!input) return result;
  const Packet packet(av_packet_alloc());
  while (av_read_frame(input->format(), packet.get()) >= 0) {
    const AVStream* stream = input->format()->streams[packet->stream_index];
    const auto time = [&](std::int64_t ticks) { return av_rescale_q(ticks, stream->time_base, {1, 1000000}); };
    if (stream->codecpar->codec_type == type) {
      result.emplace_back(time(packet->pts), time(packet->duration),
                          std::string(reinterpret_cast<const char*>(packet->data), std::size_t(packet->size)));
    }
    av_packet_unref(packet.get());
  }
  return result;
}

/// The parameters of a movie's pictures.
AVCodecParameters formOf(const std::string& path) {
  const auto input = MovieInput::open(path, path, nullptr);
  if (!input || !input->video()) return {};
  input->learnFormats();
  return *input->video()->codecpar;  // its pointers are not to be followed
}

/// Takes a while to be coded anew.
constexpr const char* kSlow = "-c:v libx264 -preset ultrafast -pix_fmt yuv444p -crf 20 -c:a copy ";

class Conversion : public testing::Test {
 protected:
  void SetUp() override {
    dispatch_main::attachToCurrentThread([] {});
    fs::create_directory(scratch_ / "out");
  }

  /// `first`: the first sound track that the mix names.
  static Strong<AVAssetExportSession> session(const std::string& source, const std::string& output,
                                              std::size_t first = 0) {
    const auto asset = AVURLAsset::initWithURL_options(NSURL::fileURLWithPath(source), nullptr);
    auto result = AVAssetExportSession::initWithAsset_presetName(asset, AVAssetExportPresetHighestQuality);
    result->setOutputURL(NSURL::fileURLWithPath(output));
    result->setOutputFileType(AVFileTypeMPEG4);
    const auto mix = AVMutableAudioMix::audioMix();
    std::vector<Strong<AVMutableAudioMixInputParameters>> inputs;
    const auto tracks = asset->tracksWithMediaType(AVMediaTypeAudio);
    for (std::size_t i = first; i < tracks.size(); ++i) {
      inputs.push_back(AVMutableAudioMixInputParameters::audioMixInputParameters());
      inputs.back()->setTrackID(tracks[i]->trackID);
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
  std::string convert(const std::string& source, std::size_t first = 0) {
    const std::string output = scratch_ / ("out/converted" + std::to_string(++count_) + ".mp4");
    const auto made = session(source.front() == '/' ? source : recordings::path(source), output, first);
    finish(made);
    EXPECT_EQ(made->status(), Status::Completed)
        << source << ": " << (made->error() ? made->error()->localizedDescription() : "");
    EXPECT_EQ(made->progress(), 1);
    EXPECT_TRUE(read_back::facts(output).indexFirst);
    return output;
  }

  std::string make(const std::string& name, const std::string& arguments) {
    return makeMovie(scratch_ / name, arguments);
  }
  static std::string from(const std::string& name) { return " -i '" + recordings::path(name) + "' "; }

  bool leavesNothing() const { return fs::is_empty(scratch_ / "out"); }

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

TEST_F(Conversion, TheTracksThatTheMixNamesAreMixedBesideUntouchedPictures) {
  const std::string output = convert("two_audio.mp4"), other = convert("two_audio.mp4", 1);
  const auto facts = read_back::facts(output);
  EXPECT_EQ(facts.durations.size(), 2U);
  EXPECT_NEAR(facts.duration, 20, 0.03);
  EXPECT_EQ(facts.title, "Two tracks");
  EXPECT_TRUE(packets(output, AVMEDIA_TYPE_VIDEO) == packets(recordings::path("two_audio.mp4"), AVMEDIA_TYPE_VIDEO));
  for (const int second : {0, 1, 7, 19}) {
    SCOPED_TRACE(second);
    expectToneInTime(output, 300 + 50 * second, second);
    expectToneInTime(output, 4300 + 50 * second, second);
  }
  EXPECT_EQ(read_back::facts(other).durations.size(), 2U);
  expectToneInTime(other, 4350, 1);
  EXPECT_LT(read_back::tone(other, 350, 1.1, 0.8).level, 0.005);
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

TEST_F(Conversion, AnythingBecomesWhatEveryPlayerShowsAndStaysInTime) {
  const std::string lossless = "-c:v ffv1 -c:a pcm_s16le ", silent = "-t 1 -an -c:v ffv1 ";
  const std::string basic = from("basic.mp4");
  struct Case {
    const char* name;
    std::string arguments;
    double soundFrom;  // second from which there is sound; none when negative
    int width = 640, height = 360;
    bool fullRange = false;
  };
  const Case cases[] = {
      {"plain.mkv", basic + "-t 4 " + lossless, 0},
      // Still for seconds, at odd times.
      {"still.mov",
       from("vfr.mp4") + "-t 12 -fps_mode passthrough -enc_time_base 1/90000 -c:v prores -profile:v 0 -c:a pcm_s16le",
       0},
      // Reordered pictures, of another kind.
      {"other.mp4", basic + "-t 4 -c:v mpeg4 -bf 2 -q:v 2 -c:a aac", 0},
      {"four.mp4", basic + "-t 4 -c:v libx264 -preset ultrafast -pix_fmt yuv444p -crf 12 -c:a copy", 0},
      // Sound that begins later, and pauses.
      {"late.mkv",
       basic + basic + "-filter_complex \"[1:a]aselect='gte(t,1.37)*not(between(t,2,2.999))'[a]\" " +
           "-map 0:v -map '[a]' -t 4 " + lossless,
       1.37},
      {"odd.mkv", basic + silent + "-vf scale=319:181 -pix_fmt yuv444p", -1, 320, 182},
      {"deep.mkv", basic + silent + "-pix_fmt yuv420p10le", -1},
      {"rgb.mkv", basic + silent + "-pix_fmt bgr0", -1},
      {"full.mkv", basic + silent + "-vf scale=out_range=full -pix_fmt yuvj444p -color_range pc", -1, 640, 360, true},
      {"bright.mkv",
       basic + silent +
           "-pix_fmt yuv420p10le -color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc "
           "-color_range tv",
       -1},
      // Turned: the coded pictures are what they were.
      {"turned.mp4",
       "-noautorotate" + from("turned.mp4") + "-t 1 -an -c:v libx264 -pix_fmt yuv444p -bf 0 -metadata:s:v rotate=270",
       -1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string source = make(c.name, c.arguments), output = convert(source), name = c.name;
    const auto pictures = read_back::pictures(output), expected = read_back::pictures(source);
    ASSERT_GE(expected.size(), 30U);
    ASSERT_EQ(pictures.size(), expected.size());
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      ASSERT_GE(pictures[i].number, 0);
      ASSERT_EQ(pictures[i].number, expected[i].number);
      ASSERT_NEAR(pictures[i].time, expected[i].time, 0.0015);
    }
    EXPECT_NEAR(read_back::facts(output).duration, read_back::facts(source).duration, 0.05);
    const AVCodecParameters form = formOf(output);
    EXPECT_EQ(form.codec_id, AV_CODEC_ID_H264);
    EXPECT_EQ(form.width, c.width);
    EXPECT_EQ(form.height, c.height);
    EXPECT_EQ(form.format, c.fullRange ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P);
    if (form.color_range != AVCOL_RANGE_UNSPECIFIED) {
      EXPECT_EQ(form.color_range, c.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG);
    }
    if (name == "bright.mkv") {
      EXPECT_EQ(form.color_trc, AVCOL_TRC_BT709);
    }
    if (name == "rgb.mkv") {
      EXPECT_EQ(form.color_space, AVCOL_SPC_BT709);
    }
    if (c.soundFrom < 0) continue;
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

// With the index in front, what is missing at the end looks like the end of the movie.
TEST_F(Conversion, WhatIsCutOffIsNotTakenForTheWhole) {
  const struct {
    std::string name, arguments;
    bool meanwhile;
  } cases[] = {{"copied.mp4", "-c copy ", false}, {"coded.mp4", kSlow, false}, {"coded.mp4", kSlow, true}};
  for (const auto& [name, arguments, meanwhile] : cases) {
    SCOPED_TRACE(name + (meanwhile ? ", meanwhile" : ""));
    const std::string source = make(name, from("basic.mp4") + arguments + "-movflags +faststart");
    const auto cutOff = [&] { fs::resize_file(source, fs::file_size(source) / 2); };
    if (!meanwhile) cutOff();
    const auto made = session(source, scratch_ / "out/half.mp4");
    finish(made, [&, meanwhile = meanwhile] {
      while (meanwhile && made->progress() < 0.05F && made->status() <= Status::Exporting)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      if (meanwhile) cutOff();
    });
    ASSERT_EQ(made->status(), Status::Failed);
    EXPECT_NE(made->error()->localizedDescription().find("“" + name + "” "), std::string::npos)
        << made->error()->localizedDescription();
    EXPECT_TRUE(leavesNothing());
  }
}

TEST_F(Conversion, ProgressRisesAndCancellingLeavesNothing) {
  const std::string source = make("slow.mp4", from("basic.mp4") + kSlow);
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
    EXPECT_TRUE(leavesNothing());
  }
}

TEST_F(Conversion, FailuresAreToldAndLeaveNothing) {
  std::string bytes = contentOf(recordings::path("video_only.mp4"));
  bytes.replace(bytes.rfind("avc1"), 4, "zzz1");
  const std::string unknown = scratch_.write("unknown.mp4", bytes);
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
    EXPECT_TRUE(leavesNothing());
  }
  const auto ranged = session(recordings::path("basic.mp4"), scratch_ / "out/failed.mp4");
  ranged->setTimeRange(CMTimeRangeMake(kCMTimeZero, CMTimeMakeWithSeconds(1, 1000)));
  finish(ranged);
  EXPECT_EQ(ranged->error() ? ranged->error()->code() : 0, AVErrorInvalidTimeRange);
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
