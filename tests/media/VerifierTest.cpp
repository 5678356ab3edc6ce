#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/ExportVerifier.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/MovieWriter.h"
#include "platform/backends/isobmff/SampleDescription.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>
#include <filesystem>
#include <fstream>

namespace {

/// A part of a recording as it was written, and what the check knows of it.
class Verifier : public testing::Test {
 protected:
  void cut(const std::string& name, double from, double to) {
    source_.reset(open(recordings::path(name).c_str(), O_RDONLY));
    NSErrorPtr error;
    const auto movie = isobmff::readMovie(source_.get(), name, &error);
    ASSERT_NE(movie, nullptr);
    cut(*movie, name, from, to);
  }

  /// The same of a movie whose media are in the source.
  void cut(const isobmff::Movie& movie, const std::string& name, double from, double to) {
    NSErrorPtr error;
    const CMTime start = CMTimeMakeWithSeconds(from, 90000);
    const auto plan =
        isobmff::planCut(movie, source_.get(),
                         CMTimeRangeMake(start, CMTimeSubtract(CMTimeMakeWithSeconds(to, 90000), start)), name, &error);
    ASSERT_NE(plan, nullptr);
    expectations_ = ExportExpectations::of(movie, *plan);
    path_ = scratch_ / "cut.mp4";
    output_.reset(open(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600));
    ASSERT_EQ(isobmff::writeMovie(
                  movie, *plan, source_.get(), output_.get(), [](float) {}, [] { return false; }),
              nullptr);
    written_ = isobmff::readMovie(output_.get(), name, &error);
    ASSERT_NE(written_, nullptr);
  }

  /// What is wrong with the file; empty for nothing.
  std::string verdict() const {
    const NSErrorPtr error = ExportVerifier(expectations_, source_.get(), output_.get(), [] { return false; }).run();
    if (error) {
      EXPECT_EQ(error->domain(), AVFoundationErrorDomain);
      EXPECT_EQ(error->code(), AVErrorExportFailed);
    }
    return error ? error->localizedDescription() : "";
  }

  /// Adds `difference` to one byte of the file.
  void damage(std::uint64_t offset, int difference = 1) {
    std::uint8_t byte = 0;
    ASSERT_EQ(pread(output_.get(), &byte, 1, off_t(offset)), 1);
    byte = std::uint8_t(byte + difference);
    ASSERT_EQ(pwrite(output_.get(), &byte, 1, off_t(offset)), 1);
  }

  /// Where the content of the first box of a type begins, or of a later one.
  std::uint64_t box(const std::string& type, int number = 0) const {
    std::string head(1 << 16, '\0');
    head.resize(std::size_t(std::max<ssize_t>(0, pread(output_.get(), head.data(), head.size(), 0))));
    std::size_t at = head.find(type);
    while (number-- > 0 && at != std::string::npos) at = head.find(type, at + 4);
    EXPECT_NE(at, std::string::npos) << type;
    return at + 4;
  }

  /// The sample of a track with the number `index`.
  const isobmff::SampleRun& sample(std::size_t track, std::size_t index) const {
    return written_->tracks[track].runs[index];
  }
  std::size_t count(std::size_t track) const { return written_->tracks[track].runs.size(); }

  ScratchFolder scratch_;
  FileDescriptor source_, output_;
  std::string path_;
  ExportExpectations expectations_;
  std::unique_ptr<isobmff::Movie> written_;
};

TEST_F(Verifier, SeesForeignBytesAtEitherEndAndWrongTimes) {
  cut("basic.mp4", 10.5, 13.5);
  EXPECT_EQ(verdict(), "");
  const std::size_t last = count(0) - 1, lastSound = count(1) - 1;
  const std::uint64_t elst = box("elst"), stts = box("stts"), stsz = box("stsz");
  const struct {
    const char* what;
    std::uint64_t place;
    int difference;
    const char* word;
  } damages[] = {{"the key picture", sample(0, 0).offset, 1, "not the source's"},
                 {"a picture on the way to the first one", sample(0, 7).offset + 9, 1, "not the source's"},
                 {"the first picture shown", sample(0, 15).offset + 9, 1, "not the source's"},
                 {"the last one", sample(0, last).offset + 9, 1, "not the source's"},
                 {"one before it", sample(0, last - 19).offset + 9, 1, "not the source's"},
                 {"sound", sample(1, 1).offset, 1, "not the source's"},
                 {"the last sound", sample(1, lastSound).offset + sample(1, lastSound).size - 1, 1, "not the source's"},
                 // Entries of the first edit list: duration, place in the media. Of the pictures' lengths the third:
                 // after the hidden ones and the gap.
                 {"begins later", elst + 8 + 4 + 2, 4, "first picture"},
                 {"ends earlier", elst + 8 + 1, -1, "instead of"},
                 {"other pictures", stts + 8 + 2 * 8 + 7, 9, "instead of"},
                 {"sample of another size", stsz + 12 + 3, 1, "not the source's"}};
  for (const auto& each : damages) {
    damage(each.place, each.difference);
    EXPECT_NE(verdict().find(each.word), std::string::npos) << each.what << ": " << verdict();
    damage(each.place, -each.difference);
  }
  EXPECT_EQ(verdict(), "");

  // The end is missing, or all of it.
  ASSERT_EQ(ftruncate(output_.get(), off_t(std::filesystem::file_size(path_) - 3000)), 0);
  EXPECT_NE(verdict(), "");
  ASSERT_EQ(ftruncate(output_.get(), 0), 0);
  EXPECT_NE(verdict().find("can't be opened"), std::string::npos) << verdict();
}

TEST_F(Verifier, SeesSoundThatCameApartFromThePictures) {
  // By two milliseconds either way, through the place in the media at which its edit begins.
  for (const char* name : {"basic.mp4", "two_audio.mp4", "audio_only.mp4"}) {
    cut(name, 2.5, 5.5);
    const bool alone = written_->tracks.size() == 1;
    const std::uint64_t mediaTime = box("elst", alone ? 0 : 1) + 8 + 4;
    for (const int difference : {96, -96}) {
      damage(mediaTime + 3, difference);
      EXPECT_NE(verdict().find("first sound"), std::string::npos) << name << " " << difference << ": " << verdict();
      damage(mediaTime + 3, -difference);
    }
    EXPECT_EQ(verdict(), "");
  }
}

TEST_F(Verifier, MissesTracksOfAnyKind) {
  cut("basic.mp4", 2.5, 5.5);
  using isobmff::fourCC;
  for (const isobmff::FourCC handler :
       {fourCC("vide"), fourCC("soun"), fourCC("text"), fourCC("tmcd"), fourCC("meta")}) {
    ExportExpectations::Track track = expectations_.tracks.front();
    track.identifier = 77;
    track.handler = handler;
    expectations_.tracks.push_back(track);
    EXPECT_NE(verdict().find("track 77 is missing"), std::string::npos) << handler << ": " << verdict();
    expectations_.tracks.pop_back();
  }
  // How long a title stands says nothing about how exact the length is.
  ExportExpectations::Track title = expectations_.tracks.back();
  title.handler = isobmff::fourCC("text");
  title.sampleDuration = title.usualDuration = 3;
  expectations_.tracks.push_back(title);
  EXPECT_EQ(verdict(), "");
  expectations_.duration += 0.06;
  EXPECT_NE(verdict().find("long instead of"), std::string::npos) << verdict();
}

TEST_F(Verifier, SeesPicturesThatCannotBeDecoded) {
  cut("basic.mp4", 10.5, 13.5);
  // The picture's parameters: the profile, and those in the sequence's own header.
  const std::uint64_t avcC = box("avcC");
  for (std::uint64_t place = avcC + 8; place < avcC + 16; ++place) damage(place, 77);
  EXPECT_NE(verdict().find("can't be decoded"), std::string::npos) << verdict();
}

TEST_F(Verifier, PassesPicturesOfSeveralDescriptions) {
  // Two recordings behind each other in one track, coded so that neither can be decoded as the other is said to be.
  const std::string joined = scratch_ / "joined";
  {
    std::ofstream file(joined, std::ios::binary);
    for (const char* name : {"tiny_closed.mp4", "tiny_plain.mp4"}) {
      file << std::ifstream(recordings::path(name), std::ios::binary).rdbuf();
    }
  }
  const auto read = [](const char* name) {
    const FileDescriptor file(open(recordings::path(name).c_str(), O_RDONLY));
    return isobmff::readMovie(file.get(), name, nullptr);
  };
  const auto descriptions = [](isobmff::Movie& movie) -> isobmff::Bytes& {
    const isobmff::Box* table = isobmff::sampleTableBox(movie, 0);
    return const_cast<isobmff::Box*>(isobmff::descendant(*table, {isobmff::fourCC("stsd")}))->payload;
  };
  const auto movie = read("tiny_closed.mp4"), second = read("tiny_plain.mp4");
  ASSERT_TRUE(movie && second);
  isobmff::Bytes& entries = descriptions(*movie);
  entries[7] = 2;
  entries.insert(entries.end(), descriptions(*second).begin() + 8, descriptions(*second).end());
  isobmff::Track& track = movie->tracks[0];
  track.formats.push_back(track.formats[0]);
  track.edits.clear();
  for (isobmff::SampleRun run : second->tracks[0].runs) {
    run.offset += movie->fileSize;
    run.decodeTime += track.mediaDuration;
    run.index += std::uint32_t(track.sampleCount);
    run.description = 2;
    track.runs.push_back(run);
  }
  track.mediaDuration += second->tracks[0].mediaDuration;
  track.sampleCount += second->tracks[0].sampleCount;
  movie->fileSize += second->fileSize;

  source_.reset(open(joined.c_str(), O_RDONLY));
  for (int last = 60; last < 120; ++last) {
    for (const int first : {3, last - 2}) {
      SCOPED_TRACE(std::to_string(first) + " to " + std::to_string(last));
      cut(*movie, "joined", first / 30.0 + 0.001, last / 30.0);
      EXPECT_EQ(verdict(), "");
    }
  }
}

}  // namespace
