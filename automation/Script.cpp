#include "automation/Script.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace {

/// Why a line makes no sense. Thrown and caught in this file only.
struct BadLine {
  std::string why;
};

std::vector<std::string> words(std::string_view line) {
  std::vector<std::string> found;
  std::size_t at = 0;
  while (true) {
    while (at < line.size() && (line[at] == ' ' || line[at] == '\t' || line[at] == '\r')) ++at;
    if (at == line.size() || line[at] == '#') return found;
    std::string word;
    if (line[at] == '"') {
      for (++at; at < line.size() && line[at] != '"'; ++at) {
        if (line[at] == '\\' && at + 1 < line.size()) ++at;
        word += line[at];
      }
      if (at == line.size()) throw BadLine{"a quote is not closed"};
      ++at;
      if (word.empty()) throw BadLine{"an empty name"};
    } else {
      while (at < line.size() && line[at] != ' ' && line[at] != '\t' && line[at] != '\r') word += line[at++];
    }
    found.push_back(word);
  }
}

double seconds(const std::string& word) {
  double value = 0;
  auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || !std::isfinite(value) || value < 0) {
    throw BadLine{"\"" + word + "\" is not a number of seconds"};
  }
  return value;
}

int points(const std::string& word) {
  int value = 0;
  auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || value < 1 || value > 16384) {
    throw BadLine{"\"" + word + "\" is not a length in points (1 to 16384)"};
  }
  return value;
}

void needWords(const std::vector<std::string>& words, std::size_t least, std::size_t most, const char* usage) {
  if (words.size() < least || words.size() > most) throw BadLine{std::string("this step goes: ") + usage};
}

void needOneOf(const std::string& word, std::initializer_list<const char*> choices) {
  std::string list;
  for (const char* choice : choices) {
    if (word == choice) return;
    list += (list.empty() ? "" : ", ") + std::string(choice);
  }
  throw BadLine{"\"" + word + "\" is none of: " + list};
}

ScriptStep parseStep(const std::vector<std::string>& words) {
  using Kind = ScriptStep::Kind;
  ScriptStep step;
  const std::string& verb = words[0];
  // A name may have blanks.
  const auto nameFrom = [&](std::size_t first) {
    std::string name = words[first];
    for (std::size_t i = first + 1; i < words.size(); ++i) name += " " + words[i];
    return name;
  };
  if (verb == "wait") {
    step.kind = Kind::Wait;
    if (words.size() > 1 && (words[1] == "text" || words[1] == "file")) {
      needWords(words, 3, 4, words[1] == "text" ? "wait text WORDS [SECONDS]" : "wait file PATH [SECONDS]");
      step.name = words[1];
      step.value = words[2];
      step.seconds = words.size() > 3 ? seconds(words[3]) : Script::kDefaultWait;
      return step;
    }
    needWords(words, 2, 3, "wait STATE [SECONDS]");
    step.name = words[1];
    needOneOf(step.name,
              {"ready", "playing", "paused", "editing", "saved", "settled", "shared", "alert", "failed", "finished"});
    step.seconds = words.size() > 2 ? seconds(words[2]) : Script::kDefaultWait;
  } else if (verb == "tap") {
    needWords(words, 2, words.size() + 2, "tap NAME");
    step.kind = Kind::Tap;
    step.name = nameFrom(1);
  } else if (verb == "drag") {
    needWords(words, 3, 3, "drag playhead|start|end SECONDS");
    step.kind = Kind::Drag;
    step.name = words[1];
    needOneOf(step.name, {"playhead", "start", "end"});
    step.seconds = seconds(words[2]);
  } else if (verb == "key") {
    needWords(words, 2, 2, "key NAME");
    step.kind = Kind::Key;
    step.name = words[1];
  } else if (verb == "resize") {
    needWords(words, 3, 3, "resize WIDTH HEIGHT");
    step.kind = Kind::Resize;
    step.width = points(words[1]);
    step.height = points(words[2]);
  } else if (verb == "screenshot") {
    needWords(words, 2, 2, "screenshot FILE.png");
    step.kind = Kind::Screenshot;
    step.name = words[1];
    if (!step.name.ends_with(".png")) throw BadLine{"a picture's name ends in .png"};
  } else if (verb == "activity" || verb == "alert" || verb == "answer") {
    needWords(words, 2, words.size() + 2, verb == "activity" ? "activity NAME" : (verb + " BUTTON").c_str());
    step.kind = verb == "activity" ? Kind::Activity : Kind::Alert;
    step.name = nameFrom(1);
    step.optional = verb == "answer";
  } else if (verb == "form") {
    needWords(words, 3, words.size() + 3, "form FIELD VALUE");
    step.kind = Kind::Form;
    step.name = words[1];
    step.value = nameFrom(2);
  } else if (verb == "share" || verb == "shake" || verb == "close" || verb == "time" || verb == "state" ||
             verb == "dump") {
    needWords(words, 1, 1, verb.c_str());
    step.kind = verb == "share"   ? Kind::Share
                : verb == "shake" ? Kind::Shake
                : verb == "close" ? Kind::Close
                : verb == "time"  ? Kind::Time
                : verb == "state" ? Kind::State
                                  : Kind::Dump;
  } else {
    throw BadLine{"\"" + verb + "\" is not a step"};
  }
  return step;
}

}  // namespace

Script Script::parse(const std::string& text) {
  Script script;
  int number = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    ++number;
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    const std::string_view line = std::string_view(text).substr(at, end - at);
    at = end + 1;
    try {
      const std::vector<std::string> found = words(line);
      if (found.empty()) continue;
      script.steps.push_back(parseStep(found));
      script.steps.back().line = number;
    } catch (const BadLine& bad) {
      script.steps.clear();
      script.error = scriptMessage(number, bad.why);
      return script;
    }
  }
  return script;
}

std::string scriptMessage(int line, const std::string& why) {
  return "script line " + std::to_string(line) + ": " + why;
}
