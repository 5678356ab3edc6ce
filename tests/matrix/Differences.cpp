#include "tests/matrix/Differences.h"

#include <algorithm>
#include <type_traits>

namespace {

using E = matrix::Exactness;

template <typename Value>
std::function<void(E&)> allow(Value E::*member, std::type_identity_t<Value> value) {
  return [=](E& exactness) { exactness.*member = std::max(exactness.*member, value); };
}

matrix::Difference known(const char* player, const std::vector<std::string>& sources,
                         const std::vector<std::function<void(E&)>>& allowed, const char* reason) {
  return {player, sources, allowed, reason};
}

}  // namespace

const std::vector<matrix::Difference>& matrix::differences() {
  const std::vector<std::string> all;
  static const std::vector<Difference> list = {
      // Sources.
      known("", {".mkv", ".webm"}, {allow(&E::soundStart, 0.001), allow(&E::soundLag, 48)},
            "the source's times are whole milliseconds: no sample's place is exact"),
      known(
          "", {"vorbis.mkv"}, {allow(&E::soundStart, 0.022)},
          "players hear nothing of a Vorbis packet in which an edit begins, so each cut begins with a whole one, up to "
          "21 ms late, and nothing sounds until then"),
      known("libav plain", {"mp3.mkv"}, {allow(&E::soundApart, 0.13)},
            "of small MP3 packets a decoder needs four before the first one that counts, and sounds them"),

      // libav and mpv.
      known("libav plain", all, {allow(&E::tolerant, true)}, "told to ignore edit lists"),
      known("libav plain", {"lateaudio.mp4"}, {allow(&E::soundAtOnce, true)},
            "so it ignores as well that the sound begins later than the picture, in the source as in the copy"),
      known("libav plain", {"edits.mp4"}, {allow(&E::seam, 3.2)},
            "so the sound's lead-in of each stretch of the source is sounded: 20 to 40 ms"),
      known("mpv", {"edits.mp4"}, {allow(&E::seam, 3.2)}, "so the lead-in of each stretch is sounded"),
      known("mpv", all, {allow(&E::tolerant, true)}, "ignores edit lists unless it is told to honour them"),
      known("our mpv", all,
            {allow(&E::onlyFirstSound, true), allow(&E::fromPicture, true), allow(&E::soundStart, 0.001),
             allow(&E::soundLag, 2)},
            "its recording holds one sound track, begins with the first picture and rounds the times of sound packets"),
      known("our mpv", {".mkv", ".webm"}, {allow(&E::soundLag, 50)}, "it adds its own rounding to the source's"),
      known("our mpv", {"opus.mp4", "vp9.mp4", "web.webm"}, {allow(&E::soundStart, 0.007)},
            "of some cuts it skips the delay of the Opus decoder once more"),
      known("our mpv", {"av1.mp4"}, {allow(&E::tolerant, true)},
            "libav's usual decoder for AV1 shows the pictures that an edit list hides"),

      // GStreamer.
      known("gstreamer", all,
            {allow(&E::soundStart, 0.002), allow(&E::soundLag, 48), allow(&E::soundMissing, 0.11),
             allow(&E::shortest, 2)},
            "ends each track early by what its edit list hides at the beginning: sound by its lead-in's length, and of "
            "two pictures or less nothing may be left"),
      known(
          "gstreamer", all, {allow(&E::soundFirst, 2)},
          "decodes sound from the packet on in which an edit begins, without the one before: the first 20 ms fade in"),
      known("gstreamer", {"av1.mp4", "vp9.mp4", "web.webm"}, {allow(&E::tolerant, true)},
            "its parser drops the pictures' lengths, so that its decoder can't tell which are hidden"),

      // Several stretches of an edit list stay several edits. One over all of them, with what is only decoded
      // squeezed between, would let Firefox play them all. But libav, mpv and GStreamer would show each of those
      // pictures, as only the ends of an edit hide any, and sound the lead-in of the second stretch, by whose length
      // the copy would be too long in every player.
      known("gstreamer", {"edits.mp4"}, {allow(&E::lastSeam, 3.2)},
            "shows the hidden lead-in of a second stretch, and ends the sound early by it"),

      // Browsers.
      known("chromium",
            {"hvc1.mp4", "hev1.mp4", "hevcopen.mp4", "hdr.mp4", "hevc.mkv", "hevc.ts", "hevcrefresh.mp4",
             "hevcrefresh.mkv", "hevcrefresh.ts"},
            {allow(&E::mayRefuse, true)}, "has no decoder for HEVC unless the machine's graphics do it"),
      known(
          "chromium", all, {allow(&E::fromFirst, true)},
          "of a file that begins with nothing at all it tells the length without some of that, of the source as well"),
      known("firefox", all, {allow(&E::fromFirst, true)},
            "leaves out the nothing that a file begins with, of the source as well: it plays from the first picture or "
            "sound"),
      known("chromium", {"opengop.mp4", "emptymoov.mp4"}, {allow(&E::mayRefuse, true)},
            "ends in a decoder's error where it seeks into an open group of pictures, in the source as well"),
      known("chromium", {"refreshb.mp4"},
            {allow(&E::mayRefuse, true), allow(&E::asSource, true), allow(&E::isStrict, true)},
            "ends in a decoder's error at a picture that refers to one before the beginning of a gradual refresh, "
            "where it seeks in the source as well"),
      known("chromium", {"refresh.mp4"}, {allow(&E::asSource, true)},
            "after a seek it shows nothing until a gradual refresh is complete, in the source as well"),
      known("firefox", {"refresh.mp4", "refreshb.mp4"}, {allow(&E::asSource, true)},
            "after a seek it shows nothing until a gradual refresh is complete, in the source as well"),
      known("firefox", {"edits.mp4"}, {allow(&E::lastSeam, 3.2)},
            "plays the first stretch of an edit list only, of the source as well"),
      known("firefox", {"vorbis.mkv"}, {allow(&E::duration, 0.022)},
            "so a cut that ends with its sound is the shorter by the nothing that this begins with"),
      known("firefox", all, {allow(&E::pictures, 2)},
            "ignores where an edit list begins: the squeezed lead-in is seen in the first two pictures"),
  };
  return list;
}

matrix::Exactness matrix::exactnessOf(const std::string& player, const std::string& source) {
  Exactness result;
  for (const Difference& each : differences()) {
    const bool here = each.sources.empty() || std::any_of(each.sources.begin(), each.sources.end(),
                                                          [&](const auto& name) { return source.ends_with(name); });
    if (!here || (!each.player.empty() && each.player != player)) continue;
    for (const auto& allow : each.allowed) allow(result);
  }
  return result;
}
