#include "tests/matrix/Sources.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

const std::vector<std::string>& matrix::sourceNames() {
  static const std::vector<std::string> names = {
      // pictures
      "h264.mp4", "bframes.mp4", "opengop.mp4", "refresh.mp4", "refreshb.mp4", "hevcrefresh.mp4", "intra.mp4",
      "hvc1.mp4", "hev1.mp4", "hevcopen.mp4", "hdr.mp4", "av1.mp4", "vp9.mp4", "vfr.mp4", "film.mp4", "fast.mp4",
      "turned.mp4", "described.mp4",
      // sound
      "twoaudio.mp4", "threeaudio.mp4", "opus.mp4", "flac.mp4", "mp3.mp4", "ac3.mp4", "pcm.mov", "silent.mp4",
      "longaudio.mp4", "shortaudio.mp4", "lateaudio.mp4", "latevideo.mp4",
      // containers and tables
      "sidx.mp4", "emptymoov.mp4", "moofs.mp4", "coarse.mp4", "rough.mp4", "negative.mp4", "faststart.mp4",
      "ownedit.mp4", "emptyedit.mp4", "late.mp4", "latemoofs.mp4", "late.mkv", "edits.mp4", "tables.mp4", "far.mp4",
      "matroska.mkv", "hevc.mkv", "hevcrefresh.mkv", "mp3.mkv", "vorbis.mkv", "web.webm", "stream.ts", "hevc.ts",
      "hevcrefresh.ts", "subtitles.mp4", "timecode.mov"};
  return names;
}

std::string matrix::sourcePath(const std::string& name) {
  static const std::string folder = ZEVANTI_TEST_DATA "/matrix";
  static const bool made = [] {
    const std::string command = "bash '" ZEVANTI_SOURCE_DIR "/tests/matrix/recordings/make_matrix.sh' '" + folder + "'";
    const int status = std::system(command.c_str());
    if (status == 0) return true;
    std::fprintf(stderr, "The recordings of the matrix could not be made: %s\n", command.c_str());
    std::exit(1);
  }();
  (void)made;
  return folder + "/" + name;
}

std::string matrix::testName(std::string source) {
  std::replace(source.begin(), source.end(), '.', '_');
  return source;
}

bool matrix::isMovieFile(const std::string& name) {
  return name.ends_with(".mp4") || name.ends_with(".mov");
}
