#include "bench/VirtualScreen.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace {

std::uint32_t bigEndian(const std::uint8_t* bytes) {
  return std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 | std::uint32_t(bytes[2]) << 8 | bytes[3];
}

}  // namespace

std::unique_ptr<VirtualScreen> VirtualScreen::start() {
  std::unique_ptr<VirtualScreen> screen(new VirtualScreen);
  std::string folder = (std::filesystem::temp_directory_path() / "zevanti-bench.XXXXXX").string();
  if (!mkdtemp(folder.data())) return nullptr;
  screen->folder_ = folder;

  int ready[2];
  if (pipe(ready) != 0) return nullptr;
  screen->server_ = fork();
  if (screen->server_ == 0) {
    close(ready[0]);
    const int silence = open("/dev/null", O_WRONLY);
    dup2(silence, STDERR_FILENO);
    const std::string descriptor = std::to_string(ready[1]);
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight) + "x24";
    execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", size.c_str(), "-fbdir", folder.c_str(),
           "-nolisten", "tcp", nullptr);
    _exit(127);
  }
  close(ready[1]);
  // To the end of the line: the server would not survive a pipe that is closed too early.
  std::string number;
  char character = 0;
  while (number.size() < 16 && read(ready[0], &character, 1) == 1 && character != '\n') number += character;
  close(ready[0]);
  if (number.empty()) return nullptr;
  screen->display_ = ":" + number;

  // The server keeps its picture in a file in the format of xwd.
  const int file = open((folder + "/Xvfb_screen0").c_str(), O_RDONLY);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) return nullptr;
  screen->mapSize_ = static_cast<std::size_t>(status.st_size);
  void* map = mmap(nullptr, screen->mapSize_, PROT_READ, MAP_SHARED, file, 0);
  close(file);
  if (map == MAP_FAILED) return nullptr;
  screen->map_ = static_cast<const std::uint8_t*>(map);
  const auto field = [&](int index) { return bigEndian(screen->map_ + 4 * index); };
  constexpr int kHeaderSize = 0, kBytesPerLine = 12, kColours = 19, kColourSize = 12;
  screen->pixels_ = field(kHeaderSize) + std::size_t(field(kColours)) * kColourSize;
  screen->stride_ = field(kBytesPerLine);
  return screen;
}

VirtualScreen::~VirtualScreen() {
  if (map_) munmap(const_cast<std::uint8_t*>(map_), mapSize_);
  if (server_ > 0) {
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::uint32_t VirtualScreen::pixel(int x, int y) const {
  const volatile std::uint8_t* p = map_ + pixels_ + std::size_t(y) * stride_ + std::size_t(x) * 4;
  return std::uint32_t(p[2]) << 16 | std::uint32_t(p[1]) << 8 | p[0];
}
