#include "platform/Foundation/ExtensionLaunch.h"

#include "platform/Foundation/Environment.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace {

constexpr const char* kSize = "ZEVANTI_SIZE";
constexpr const char* kScale = "ZEVANTI_SCALE";
constexpr const char* kOffscreen = "ZEVANTI_OFFSCREEN";
constexpr const char* kIdiom = "ZEVANTI_IDIOM";
constexpr const char* kLibrary = "ZEVANTI_LIBRARY";
constexpr const char* kAppName = "ZEVANTI_APP_NAME";
constexpr const char* kScript = "ZEVANTI_SCRIPT";
constexpr const char* kConnection = "ZEVANTI_CONNECTION";
constexpr const char* kQuality = "ZEVANTI_GRAPHICS_QUALITY";

/// The whole text as a number within the limits.
template <class Number>
std::optional<Number> parse(std::string_view text, Number least, Number most) {
  Number number{};
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(number >= least && number <= most)) return {};
  return number;
}

std::string decimal(float number) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

}  // namespace

std::optional<ExtensionLaunch::Size> parseSize(const std::string& text) {
  std::size_t cross = text.find('x');
  if (cross == std::string::npos) return {};
  std::string_view view = text;
  auto width = parse<int>(view.substr(0, cross), 1, 16384), height = parse<int>(view.substr(cross + 1), 1, 16384);
  if (!width || !height) return {};
  return ExtensionLaunch::Size{*width, *height};
}

std::optional<float> parseScale(const std::string& text) {
  return parse<float>(text, 0.25F, 8);
}

ExtensionLaunch ExtensionLaunch::takeFromEnvironment() {
  ExtensionLaunch launch;
  launch.size = parseSize(environmentVariable(kSize));
  launch.scale = parseScale(environmentVariable(kScale)).value_or(0);
  launch.offscreen = environmentVariable(kOffscreen) == "1";
  launch.pad = environmentVariable(kIdiom) == "pad";
  launch.library = environmentVariable(kLibrary);
  launch.appName = environmentVariable(kAppName);
  launch.script = environmentVariable(kScript);
  launch.connection = parse<int>(environmentVariable(kConnection), 3, 1 << 20).value_or(-1);
  launch.quality = parse<int>(environmentVariable(kQuality), 0, 1000);
  unsetenv(kConnection);
  return launch;
}

std::vector<std::string> ExtensionLaunch::environment() const {
  std::vector<std::string> variables;
  auto add = [&](const char* name, const std::string& value) { variables.push_back(std::string(name) + "=" + value); };
  // The defaults as well, so that nothing from outside takes their place.
  add(kSize, size ? std::to_string(size->width) + "x" + std::to_string(size->height) : "");
  add(kScale, scale > 0 ? decimal(scale) : "");
  add(kOffscreen, offscreen ? "1" : "");
  add(kIdiom, pad ? "pad" : "phone");
  add(kLibrary, library);
  add(kAppName, appName);
  add(kScript, script);
  add(kConnection, connection >= 0 ? std::to_string(connection) : "");
  if (quality) add(kQuality, std::to_string(*quality));
  return variables;
}
