#include "host/Options.h"

#include "platform/Foundation/UTF8.h"

#include <getopt.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>

const char* const usageText =
    R"(Usage: zevanti [OPTION]... MOVIE
       zevanti info ... | zevanti trim ...
Play, trim, save and share a screen recording. MOVIE itself is never changed.

      --app-name TEXT     name of the recorded application, shown as the title
                          (default: the name of MOVIE without its extension)
      --bundle-id ID      identifier of the recorded application
      --idiom phone|pad   layout: one for the window's shape, or the wide one
                          (default: phone)
      --size WxH          size of the window in points (default: the whole screen)
      --scale N           pixels in a point (default: the screen's)
      --library DIR       folder for saved movies
                          (default: Zevanti in your folder of videos)
      --offscreen         no window and no sound
      --script FILE       carry out the steps in FILE
      --help              show this help
      --version           show the version

'zevanti info' tells what is in a movie and 'zevanti trim' cuts one, without a
window; each says more with --help. Open a movie of that name as ./info.

When the editor is closed, the name of each action that was completed is printed
on a line of its own.

Exit status: 0 when all is saved, 1 when something failed, 2 for wrong options,
3 when a step of the script could not be carried out, 128+N after signal N.
)";

namespace {

enum Option { AppName = 256, BundleId, Idiom, Size, Scale, Library, Offscreen, Script, Help, Version };

constexpr option kOptions[] = {{"app-name", required_argument, nullptr, AppName},
                               {"bundle-id", required_argument, nullptr, BundleId},
                               {"idiom", required_argument, nullptr, Idiom},
                               {"size", required_argument, nullptr, Size},
                               {"scale", required_argument, nullptr, Scale},
                               {"library", required_argument, nullptr, Library},
                               {"offscreen", no_argument, nullptr, Offscreen},
                               {"script", required_argument, nullptr, Script},
                               {"help", no_argument, nullptr, Help},
                               {"version", no_argument, nullptr, Version},
                               {nullptr, 0, nullptr, 0}};

bool setOption(int option, const std::string& value, Options& options, std::string& problem) {
  switch (option) {
    case AppName:
      options.appName = UTF8Valid(value);
      break;
    case BundleId:
      options.bundleIdentifier = UTF8Valid(value);
      break;
    case Idiom:
      options.launch.pad = value == "pad";
      if (value != "pad" && value != "phone") problem = "--idiom takes phone or pad, not '" + value + "'";
      break;
    case Size:
      options.launch.size = parseSize(value);
      if (!options.launch.size) problem = "--size takes WxH in points, such as 375x667, not '" + value + "'";
      break;
    case Scale:
      options.launch.scale = parseScale(value).value_or(0);
      if (options.launch.scale <= 0) problem = "--scale takes a number from 0.25 to 8, not '" + value + "'";
      break;
    case Library:
      if (value.empty()) problem = "--library takes a folder";
      options.launch.library = std::filesystem::absolute(value.empty() ? "." : value).string();
      break;
    case Offscreen:
      options.launch.offscreen = true;
      break;
    case Script:
      if (access(value.c_str(), R_OK) != 0) problem = "can't read the script '" + value + "': " + std::strerror(errno);
      options.launch.script = value;
      break;
    case Help:
      options.request = Options::Request::Help;
      break;
    case Version:
      options.request = Options::Request::Version;
      break;
    default:
      problem = "wrong option";
  }
  return problem.empty();
}

}  // namespace

bool parseOptions(int argc, char* const argv[], Options& options, std::string& problem) {
  bool appNameGiven = false;
  optind = 0;
  opterr = 0;
  int option;
  // The leading colon tells a missing value from an unknown option.
  while ((option = getopt_long(argc, argv, ":", kOptions, nullptr)) != -1) {
    const char* word = argv[optind - 1];
    if (option == ':') {
      problem = std::string("option '") + word + "' takes a value";
      return false;
    }
    if (option == '?') {
      problem = optopt > 0 && optopt < 256 ? std::string("unknown option '-") + static_cast<char>(optopt) + "'"
                : optopt >= 256            ? std::string("option '") + word + "' takes no value"
                                           : std::string("unknown option '") + word + "'";
      return false;
    }
    if (!setOption(option, optarg ? optarg : "", options, problem)) return false;
    appNameGiven = appNameGiven || option == AppName;
    if (options.request != Options::Request::Edit) return true;
  }
  if (optind >= argc) {
    problem = "no movie given";
    return false;
  }
  if (optind + 1 < argc) {
    problem = std::string("one movie at a time: '") + argv[optind + 1] + "' is too many";
    return false;
  }
  options.movie = argv[optind];
  if (!appNameGiven) options.appName = UTF8Valid(std::filesystem::path(options.movie).stem().string());
  options.launch.appName = options.appName;
  return true;
}
