#include "tests/matrix/Differences.h"

#include <algorithm>

const std::vector<matrix::Difference>& matrix::differences() {
  static const std::vector<Difference> all = {
      // Sources.
      {"",
       {".mkv", ".webm"},
       [](Exactness& e) { e.soundStart = 0.001, e.soundLag = 48; },
       "the source's times are whole milliseconds: no sample's place is exact"},

      {"",
       {"vorbis.mkv"},
       [](Exactness& e) { e.soundStart = 0.022; },
       "players hear nothing of a Vorbis packet in which an edit begins, so each cut begins with a whole one, up to "
       "21 ms late, and nothing sounds until then"},
      {"libav plain",
       {"mp3.mkv"},
       [](Exactness& e) { e.soundApart = 0.13; },
       "of small MP3 packets a decoder needs four before the first one that counts, and sounds them"},

      // libav and mpv.
      {"libav plain", {}, [](Exactness& e) { e.tolerant = true; }, "told to ignore edit lists"},
      {"libav plain",
       {"lateaudio.mp4"},
       [](Exactness& e) { e.soundAtOnce = true; },
       "so it ignores as well that the sound begins later than the picture, in the source as in the copy"},
      {"libav plain",
       {"edits.mp4"},
       [](Exactness& e) { e.seam = 3.2; },
       "so the sound's lead-in of each stretch of the source is sounded: 20 to 40 ms"},
      {"mpv", {"edits.mp4"}, [](Exactness& e) { e.seam = 3.2; }, "so the lead-in of each stretch is sounded"},
      {"mpv", {}, [](Exactness& e) { e.tolerant = true; }, "ignores edit lists unless it is told to honour them"},
      {"our mpv",
       {},
       [](Exactness& e) {
         e.allSounds = false, e.fromPicture = true;
         e.soundStart = std::max(e.soundStart, 0.001), e.soundLag += 2;
       },
       "its recording holds one sound track, begins with the first picture and rounds the times of sound packets"},
      {"our mpv",
       {"opus.mp4", "vp9.mp4", "web.webm"},
       [](Exactness& e) { e.soundStart = 0.007; },
       "of some cuts it skips the delay of the Opus decoder once more"},
      {"our mpv",
       {"av1.mp4"},
       [](Exactness& e) { e.tolerant = true; },
       "libav's usual decoder for AV1 shows the pictures that an edit list hides"},

      // GStreamer.
      {"gstreamer",
       {},
       [](Exactness& e) {
         e.soundStart = std::max(e.soundStart, 0.002), e.soundLag = 48, e.soundMissing = 0.11;
         e.shortest = 2;
       },
       "ends each track early by what its edit list hides at the beginning: sound by its lead-in's length, and of two "
       "pictures or less nothing may be left"},
      {"gstreamer",
       {},
       [](Exactness& e) { e.soundFirst = 2; },
       "decodes sound from the packet on in which an edit begins, without the one before: the first 20 ms fade in"},
      {"gstreamer",
       {"av1.mp4", "vp9.mp4", "web.webm"},
       [](Exactness& e) { e.tolerant = true; },
       "its parser drops the pictures' lengths, so that its decoder can't tell which are hidden"},

      // Several stretches of an edit list stay several edits. One over all of them, with what is only decoded
      // squeezed between, would let Firefox play them all. But libav, mpv and GStreamer would show each of those
      // pictures, as only the ends of an edit hide any, and sound the lead-in of the second stretch, by whose length
      // the copy would be too long in every player.
      {"gstreamer",
       {"edits.mp4"},
       [](Exactness& e) { e.lastSeam = 3.2; },
       "shows the hidden lead-in of a second stretch, and ends the sound early by it"},

      // Browsers.
      {"chromium",
       {"hvc1.mp4", "hev1.mp4", "hevcopen.mp4", "hdr.mp4", "hevc.mkv", "hevc.ts", "hevcrefresh.mp4", "hevcrefresh.mkv",
        "hevcrefresh.ts"},
       [](Exactness& e) { e.mayRefuse = true; },
       "has no decoder for HEVC unless the machine's graphics do it"},
      {"chromium",
       {},
       [](Exactness& e) { e.fromFirst = true; },
       "of a file that begins with nothing at all it tells the length without some of that, of the source as well"},
      {"firefox",
       {},
       [](Exactness& e) { e.fromFirst = true; },
       "leaves out the nothing that a file begins with, of the source as well: it plays from the first picture or "
       "sound"},
      {"chromium",
       {"opengop.mp4", "emptymoov.mp4"},
       [](Exactness& e) { e.mayRefuse = true; },
       "ends in a decoder's error where it seeks into an open group of pictures, in the source as well"},
      {"chromium",
       {"refreshb.mp4"},
       [](Exactness& e) { e.mayRefuse = e.asSource = e.isStrict = true; },
       "ends in a decoder's error at a picture that refers to one before the beginning of a gradual refresh, where it "
       "seeks in the source as well"},
      {"chromium",
       {"refresh.mp4"},
       [](Exactness& e) { e.asSource = true; },
       "after a seek it shows nothing until a gradual refresh is complete, in the source as well"},
      {"firefox",
       {"refresh.mp4", "refreshb.mp4"},
       [](Exactness& e) { e.asSource = true; },
       "after a seek it shows nothing until a gradual refresh is complete, in the source as well"},
      {"firefox",
       {"edits.mp4"},
       [](Exactness& e) { e.lastSeam = 3.2; },
       "plays the first stretch of an edit list only, of the source as well"},
      {"firefox",
       {"vorbis.mkv"},
       [](Exactness& e) { e.duration = 0.022; },
       "so a cut that ends with its sound is the shorter by the nothing that this begins with"},
      {"firefox",
       {},
       [](Exactness& e) { e.pictures = 2; },
       "ignores where an edit list begins: the squeezed lead-in is seen in the first two pictures"},
  };
  return all;
}

std::vector<const matrix::Difference*> matrix::differencesOf(const std::string& player, const std::string& source) {
  std::vector<const Difference*> result;
  for (const Difference& difference : differences()) {
    const auto& sources = difference.sources;
    const bool here = sources.empty() || std::any_of(sources.begin(), sources.end(),
                                                     [&](const std::string& name) { return source.ends_with(name); });
    if (here && (difference.player.empty() || difference.player == player)) result.push_back(&difference);
  }
  return result;
}

matrix::Exactness matrix::exactnessOf(const std::string& player, const std::string& source) {
  Exactness result;
  for (const Difference* difference : differencesOf(player, source)) difference->allow(result);
  return result;
}
