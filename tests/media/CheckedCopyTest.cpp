#include "platform/AVFoundation/AVError.h"
#include "platform/backends/ffmpeg/CheckedCopy.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/posix/FileDescriptor.h"
#include "platform/backends/posix/GrowingFile.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// A cut large enough to be written out of order.
class CheckedCopying : public testing::Test {
 protected:
  CheckedCopying() : source_(open(recordings::path("basic.mp4").c_str(), O_RDONLY | O_CLOEXEC)) {
    NSErrorPtr error;
    movie_ = isobmff::readMovie(source_.get(), "basic.mp4", &error);
    const CMTime start = CMTimeMakeWithSeconds(5.5, 90000);
    plan_ = isobmff::planCut(*movie_, source_.get(), CMTimeRangeMake(start, CMTimeMakeWithSeconds(50, 90000)),
                             "basic.mp4", &error);
    expectations_ = ExportExpectations::of(*movie_, *plan_);
  }

  FileDescriptor create(const char* name) const {
    return FileDescriptor(open((scratch_ / name).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  }

  ScratchFolder scratch_;
  FileDescriptor source_;
  std::unique_ptr<isobmff::Movie> movie_;
  std::unique_ptr<isobmff::CutPlan> plan_;
  ExportExpectations expectations_;
};

TEST_F(CheckedCopying, WritesWhatTheCheckReadsFirstAndTheSameFile) {
  const FileDescriptor plain = create("plain.mp4"), output = create("checked.mp4");
  ASSERT_EQ(isobmff::writeMovie(*movie_, *plan_, source_.get(), plain.get(), nullptr, nullptr), nullptr);

  isobmff::MovieWriter writer(source_.get(), output.get());
  ASSERT_EQ(writer.writeIndex(*movie_, *plan_), nullptr);
  std::vector<isobmff::ByteRange> order;
  std::uint64_t early = 0;
  for (const isobmff::ByteRange& range : expectations_.media) early += range.length;
  EXPECT_LT(early, writer.fileSize() / 2);
  float last = 0;
  CheckedCopy copy{writer,
                   expectations_,
                   source_.get(),
                   output.get(),
                   [&last](float value) {
                     EXPECT_GE(value, last);
                     last = value;
                   },
                   [] { return false; },
                   [&order](std::uint64_t offset, std::uint64_t length) {
                     order.push_back({offset, length});
                   }};
  const NSErrorPtr error = copy.run();
  ASSERT_EQ(error, nullptr) << error->localizedDescription();
  EXPECT_EQ(last, 1);
  EXPECT_TRUE(contentOf(scratch_ / "plain.mp4") == contentOf(scratch_ / "checked.mp4"));
  // The end of the file comes long before its middle.
  std::uint64_t before = 0;
  bool endReached = false;
  for (const isobmff::ByteRange& part : order) {
    endReached = endReached || part.offset + part.length == writer.fileSize();
    if (!endReached) before += part.length;
  }
  EXPECT_TRUE(endReached);
  EXPECT_LE(before, early + (512 << 10));
}

TEST_F(CheckedCopying, EndsWithTheFirstOfBothThatFails) {
  const auto run = [&](const ExportExpectations& expectations, bool isCancelled, bool isWritable) {
    const FileDescriptor output = create("cut.mp4");
    isobmff::MovieWriter writer(source_.get(), output.get());
    EXPECT_EQ(writer.writeIndex(*movie_, *plan_), nullptr);
    const FileDescriptor readOnly(open((scratch_ / "cut.mp4").c_str(), O_RDONLY | O_CLOEXEC));
    if (!isWritable) dup2(readOnly.get(), output.get());
    const auto cancelled = [isCancelled] { return isCancelled; };
    const NSErrorPtr error =
        CheckedCopy{writer, expectations, source_.get(), output.get(), nullptr, cancelled, nullptr}.run();
    return error ? error->code() : 0;
  };
  ExportExpectations wrong = expectations_;
  wrong.tracks[0].last.sample.offset += 1;
  EXPECT_EQ(run(wrong, false, true), AVErrorExportFailed);
  EXPECT_NE(run(expectations_, true, true), 0);
  // What can't be written: the check, which waits for it, must not wait for ever.
  EXPECT_EQ(run(expectations_, false, false), EBADF);
}

TEST(GrowingFile, LetsReadersWaitForWhatTheyNeed) {
  const ScratchFolder scratch;
  const FileDescriptor file(open((scratch / "file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(pwrite(file.get(), "abcdefghij", 10, 0), 10);
  GrowingFile growing(file.get(), 20);
  std::array<std::uint8_t, 20> bytes{};
  growing.add(0, 2);
  growing.add(4, 2);
  EXPECT_EQ(growing.read(0, bytes.data(), 20), 2);
  EXPECT_EQ(growing.read(5, bytes.data(), 20), 1);
  EXPECT_EQ(growing.read(20, bytes.data(), 1), 0);
  growing.add(2, 2);
  EXPECT_EQ(growing.read(0, bytes.data(), 20), 6);
  growing.add(1, 7);
  EXPECT_EQ(growing.read(0, bytes.data(), 20), 8);
  EXPECT_EQ(bytes[7], 'h');

  std::atomic<bool> read{false};
  std::int64_t count = 0;
  std::jthread reader([&] {
    count = growing.read(8, bytes.data(), 2);
    read = true;
  });
  growing.add(12, 4);
  std::this_thread::yield();
  EXPECT_FALSE(read);
  growing.add(8, 1);
  reader.join();
  EXPECT_EQ(count, 1);

  growing.end(false);
  EXPECT_EQ(growing.read(9, bytes.data(), 1), -EIO);
  EXPECT_FALSE(growing.readAll(8, bytes.data(), 2));
  growing.end(true);
  EXPECT_TRUE(growing.readAll(8, bytes.data(), 2));
}

}  // namespace
