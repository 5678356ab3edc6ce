#include "automation/JSON.h"
#include "movie_tool/ReportPrinter.h"

#include <cstdio>

namespace {

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
  members.add("kind", jsonString(track.kind));
  members.add("format", jsonString(track.format));
  if (track.width > 0) {
    members.add("width", std::to_string(track.width));
    members.add("height", std::to_string(track.height));
    members.add("rotation", std::to_string(track.rotation));
  }
  if (track.channels > 0) {
    members.add("channels", std::to_string(track.channels));
    members.add("sampleRate", decimal(track.sampleRate));
  }
  if (!track.language.empty()) members.add("language", jsonString(track.language));
  if (!track.name.empty()) members.add("name", jsonString(track.name));
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
  members.add("file", jsonString(report.file));
  members.add("container", jsonString(report.container));
  members.add("bytes", std::to_string(report.bytes));
  members.add("duration", decimal(report.duration));
  members.add("fragmented", report.fragmented ? "true" : "false");
  std::string tracks;
  for (const TrackReport& track : report.tracks) tracks += (tracks.empty() ? "" : ",\n") + describe(track);
  members.add("tracks", tracks.empty() ? "[]" : "[\n" + tracks + "\n  ]");
  return "{\n" + members.text() + "\n}\n";
}
