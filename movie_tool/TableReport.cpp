#include "movie_tool/MovieTime.h"
#include "movie_tool/ReportPrinter.h"
#include "platform/Foundation/ShownText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

using movie_time::clock;

namespace {

constexpr std::size_t kColumns = 8;
using Row = std::array<std::string, kColumns>;

/// With so many decimals at most.
std::string decimal(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  std::string result = text;
  if (decimals > 0) {
    result.erase(result.find_last_not_of('0') + 1);
    if (result.ends_with('.')) result.pop_back();
  }
  return result;
}

std::string size(std::uint64_t bytes) {
  const char* const units[] = {"bytes", "kB", "MB", "GB", "TB"};
  double value = double(bytes);
  std::size_t unit = 0;
  for (; value >= 999.5 && unit + 1 < std::size(units); ++unit) value /= 1000;
  return decimal(value, value < 10 && unit > 0 ? 1 : 0) + " " + units[unit];
}

/// Columns that a text takes: characters, not bytes.
std::size_t width(const std::string& text) {
  return std::size_t(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string shape(const TrackReport& track) {
  if (track.width > 0) {
    return std::to_string(track.width) + "x" + std::to_string(track.height) +
           (track.rotation != 0 ? ", turned " + std::to_string(track.rotation) + "°" : "");
  }
  if (track.channels > 0) {
    const std::string channels = track.channels == 1   ? "mono"
                                 : track.channels == 2 ? "stereo"
                                                       : std::to_string(track.channels) + " channels";
    return channels + ", " + decimal(track.sampleRate / 1000, 3) + " kHz";
  }
  return "";
}

std::string keys(const TrackReport& track) {
  if (track.samples == 0) return "";
  if (track.keySpacing <= 0) return track.keySamples == track.samples ? "each" : "none";
  return decimal(track.keySpacing, 2) + " s, longest " + decimal(track.longestKeySpacing, 2) + " s";
}

Row row(const TrackReport& track) {
  return {std::to_string(track.identifier),
          printableText(track.kind),
          printableText(track.format),
          shape(track),
          clock(track.duration),
          std::to_string(track.samples) +
              (track.kind == "video" && track.rate > 0 ? " (" + decimal(track.rate, 3) + " a second)" : ""),
          keys(track),
          printableText(track.language + (track.language.empty() || track.name.empty() ? "" : " ") + track.name)};
}

std::string edits(const TrackReport& track) {
  std::string text;
  for (const EditReport& edit : track.edits) {
    text += text.empty() ? "" : ", then ";
    const std::string length = edit.duration > 0 ? clock(edit.duration) : "the rest";
    text += edit.mediaTime ? length + " from " + decimal(*edit.mediaTime, 6) + " s on" : "nothing for " + length;
  }
  return text;
}

}  // namespace

std::string reportAsTable(const MovieReport& report) {
  std::string text = printableText(report.file) + ": " + report.container + (report.fragmented ? " in fragments" : "") +
                     ", " + clock(report.duration) + ", " + size(report.bytes) + "\n\n";
  std::vector<Row> rows = {
      {"track", "kind", "format", "shape", "length", "samples", "key frames", "language and name"}};
  for (const TrackReport& track : report.tracks) rows.push_back(row(track));
  std::array<std::size_t, kColumns> widths{};
  for (const Row& cells : rows) {
    for (std::size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], width(cells[i]));
  }
  for (const Row& cells : rows) {
    std::string line;
    for (std::size_t i = 0; i < kColumns; ++i) line += cells[i] + std::string(widths[i] - width(cells[i]) + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  bool first = true;
  for (const TrackReport& track : report.tracks) {
    if (track.edits.empty()) continue;
    if (first) text += "\nedit lists\n";
    first = false;
    text += "  track " + std::to_string(track.identifier) + ": " + edits(track) + "\n";
  }
  return text;
}
