#include "platform/backends/ffmpeg/FileReader.h"

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include <cerrno>
#include <cstdio>

namespace {

constexpr int kBuffer = 32 << 10;

}  // namespace

FileReader::FileReader(GrowingFile& file, std::function<bool()> isCancelled)
    : file_(file), isCancelled_(std::move(isCancelled)) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBuffer));
  if (buffer) context_ = avio_alloc_context(buffer, kBuffer, 0, this, &FileReader::read, nullptr, &FileReader::seek);
  if (!context_) av_free(buffer);
}

FileReader::~FileReader() {
  if (!context_) return;
  av_freep(&context_->buffer);
  avio_context_free(&context_);
}

int FileReader::read(void* self, std::uint8_t* to, int size) {
  auto& reader = *static_cast<FileReader*>(self);
  if (reader.isCancelled_ && reader.isCancelled_()) return AVERROR_EXIT;
  const std::int64_t count = reader.file_.read(std::uint64_t(reader.position_), to, std::size_t(size));
  if (count == 0) return AVERROR_EOF;
  if (count < 0) return AVERROR(int(-count));
  reader.position_ += count;
  return int(count);
}

std::int64_t FileReader::seek(void* self, std::int64_t offset, int whence) {
  auto& reader = *static_cast<FileReader*>(self);
  const auto size = std::int64_t(reader.file_.size());
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return size;
    case SEEK_CUR:
      offset += reader.position_;
      break;
    case SEEK_END:
      offset += size;
      break;
    default:
      break;
  }
  if (offset < 0) return AVERROR(EINVAL);
  return reader.position_ = offset;
}
