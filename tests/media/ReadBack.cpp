#include "tests/media/ReadBack.h"

#include "tests/common/Files.h"
#include "tests/matrix/LibavReader.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cmath>
#include <complex>

using matrix::EditLists;
using matrix::readWithLibav;
using matrix::Tracks;

std::vector<read_back::Picture> read_back::pictures(const std::string& path) {
  return readWithLibav(path, EditLists::Honoured, Tracks::Pictures).pictures;
}

read_back::Tone read_back::tone(const std::string& path, double hertz, double from, double length, int track) {
  const matrix::Reading reading = readWithLibav(path, EditLists::Honoured, Tracks::Sounds);
  Tone tone;
  if (std::size_t(track) >= reading.sounds.size()) return tone;
  const matrix::Sound& sound = reading.sounds[std::size_t(track)];
  std::complex<double> sum;
  int count = 0;
  for (std::size_t i = 0; i < sound.samples.size(); ++i) {
    const double time = sound.start + double(i) / sound.rate, value = sound.samples[i];
    if (time < from || time >= from + length) continue;
    sum += value * std::polar(1.0, -2 * M_PI * hertz * time);
    tone.peak = std::max(tone.peak, std::abs(value));
    ++count;
  }
  if (count == 0) return tone;
  tone.level = 2 * std::abs(sum) / count;
  tone.delay = -std::arg(sum * std::complex<double>(0, 1)) / (2 * M_PI * hertz);
  return tone;
}

read_back::Facts read_back::facts(const std::string& path) {
  Facts facts;
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) return facts;
  avformat_find_stream_info(format, nullptr);
  facts.duration = double(format->duration) / AV_TIME_BASE;
  const AVDictionaryEntry* title = av_dict_get(format->metadata, "title", nullptr, 0);
  facts.title = title ? title->value : "";
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    facts.durations.push_back(double(format->streams[i]->duration) * av_q2d(format->streams[i]->time_base));
  }
  avformat_close_input(&format);
  const std::string bytes = contentOf(path);
  facts.indexFirst = bytes.find("moov") < bytes.find("mdat");
  return facts;
}
