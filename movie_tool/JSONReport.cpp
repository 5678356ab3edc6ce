#include "movie_tool/ReportPrinter.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>

namespace {

/// Bytes of the well-formed UTF-8 character at `at`; 0 for none.
std::size_t characterLength(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? unsigned(std::uint8_t(text[i])) : 0U; };
  const unsigned first = byte(at), second = byte(at + 1);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xC2 && first < 0xE0   ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
  }
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
  return wrong ? 0 : length;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = characterLength(text, at);
    const unsigned char c = static_cast<unsigned char>(text[at]);
    if (length == 0) {
      result += "\xEF\xBF\xBD";
    } else if (c == '"' || c == '\\') {
      result += std::string("\\") + char(c);
    } else if (c < 0x20 || c == 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      result += escaped;
    } else {
      result += text.substr(at, length);
    }
    at += length > 0 ? length : 1;
  }
  return result + "\"";
}

/// Seconds and rates: to the microsecond, without zeros at the end.
std::string decimal(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", value);
  std::string result = text;
  result.erase(result.find_last_not_of('0') + 1);
  if (result.ends_with('.')) result.pop_back();
  return result == "-0" ? "0" : result;
}

/// The members of an object, each on a line of its own.
class Members {
 public:
  explicit Members(int indent) : indent_(std::size_t(indent), ' ') {}
  void add(const char* name, const std::string& value) {
    text_ += (text_.empty() ? "" : ",\n") + indent_ + "\"" + name + "\": " + value;
  }
  const std::string& text() const { return text_; }

 private:
  std::string indent_, text_;
};

std::string describe(const TrackReport& track) {
  Members members(6);
  members.add("identifier", std::to_string(track.identifier));
  members.add("kind", quoted(track.kind));
  members.add("format", quoted(track.format));
  if (track.width > 0) {
    members.add("width", std::to_string(track.width));
    members.add("height", std::to_string(track.height));
    members.add("rotation", std::to_string(track.rotation));
  }
  if (track.channels > 0) {
    members.add("channels", std::to_string(track.channels));
    members.add("sampleRate", decimal(track.sampleRate));
  }
  if (!track.language.empty()) members.add("language", quoted(track.language));
  if (!track.name.empty()) members.add("name", quoted(track.name));
  members.add("duration", decimal(track.duration));
  members.add("samples", std::to_string(track.samples));
  members.add("bytes", std::to_string(track.bytes));
  members.add("rate", decimal(track.rate));
  members.add("keySamples", std::to_string(track.keySamples));
  if (track.keySpacing > 0) {
    members.add("keySpacing", decimal(track.keySpacing));
    members.add("longestKeySpacing", decimal(track.longestKeySpacing));
  }
  std::string edits;
  for (const EditReport& edit : track.edits) {
    edits += (edits.empty() ? "" : ", ") + ("{\"duration\": " + decimal(edit.duration)) +
             ", \"mediaTime\": " + (edit.mediaTime ? decimal(*edit.mediaTime) : "null") + "}";
  }
  members.add("edits", "[" + edits + "]");
  return "    {\n" + members.text() + "\n    }";
}

}  // namespace

std::string reportAsJSON(const MovieReport& report) {
  Members members(2);
  members.add("file", quoted(report.file));
  members.add("container", quoted(report.container));
  members.add("bytes", std::to_string(report.bytes));
  members.add("duration", decimal(report.duration));
  members.add("fragmented", report.fragmented ? "true" : "false");
  std::string tracks;
  for (const TrackReport& track : report.tracks) tracks += (tracks.empty() ? "" : ",\n") + describe(track);
  members.add("tracks", tracks.empty() ? "[]" : "[\n" + tracks + "\n  ]");
  return "{\n" + members.text() + "\n}\n";
}
