#include "MovieReader.h"

#include "tests/data/FrameCode.h"

#include <gtest/gtest.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

std::string quoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

/// What a command prints.
std::vector<std::uint8_t> outputOf(const std::string& command) {
  std::vector<std::uint8_t> bytes;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return bytes;
  std::uint8_t block[65536];
  while (const std::size_t count = fread(block, 1, sizeof block, pipe)) bytes.insert(bytes.end(), block, block + count);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return bytes;
}

struct Picture {
  int width = 0, height = 0;
  std::vector<std::uint8_t> pixels;  // blue, green, red, nothing
};

Picture readPicture(const std::filesystem::path& file) {
  Picture picture;
  if (!std::filesystem::exists(file)) return picture;
  const std::string name = quoted(file.string());
  const auto size = outputOf("ffprobe -v error -show_entries stream=width,height -of csv=p=0:s=x " + name);
  if (std::sscanf(std::string(size.begin(), size.end()).c_str(), "%dx%d", &picture.width, &picture.height) != 2) {
    return {};
  }
  picture.pixels = outputOf("ffmpeg -nostdin -v error -i " + name + " -f rawvideo -pix_fmt bgr0 -");
  if (picture.pixels.size() != std::size_t(picture.width) * std::size_t(picture.height) * 4) return {};
  return picture;
}

}  // namespace

std::vector<std::optional<int>> frameNumbers(const std::filesystem::path& movie) {
  constexpr int kWidth = 160, kHeight = 160;
  const auto bytes = outputOf("ffmpeg -nostdin -v error -i " + quoted(movie.string()) +
                              " -an -fps_mode passthrough -s 160x160 -f rawvideo -pix_fmt bgr0 -");
  std::vector<std::optional<int>> numbers;
  constexpr std::size_t kSize = std::size_t(kWidth) * kHeight * 4;
  for (std::size_t at = 0; at + kSize <= bytes.size(); at += kSize) {
    numbers.push_back(frame_code::read(bytes.data() + at, kWidth, kHeight, std::size_t(kWidth) * 4));
  }
  return numbers;
}

double movieDuration(const std::filesystem::path& movie) {
  const auto text =
      outputOf("ffprobe -v error -show_entries format=duration -of csv=p=0 " + quoted(movie.string()) + " || true");
  return std::atof(std::string(text.begin(), text.end()).c_str());
}

std::optional<int> frameNumberInPicture(const std::filesystem::path& file, int x, int y, int width, int height) {
  const Picture picture = readPicture(file);
  if (x < 0 || y < 0 || x + width > picture.width || y + height > picture.height) return {};
  const std::size_t stride = std::size_t(picture.width) * 4;
  return frame_code::read(picture.pixels.data() + std::size_t(y) * stride + std::size_t(x) * 4, width, height, stride);
}
