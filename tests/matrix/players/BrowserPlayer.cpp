#include "tests/matrix/players/BrowserPlayer.h"

#include "tests/common/Files.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <utility>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string find(const std::vector<std::string>& names) {
  std::istringstream folders(std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    for (const std::string& name : names) {
      if (access((folder + "/" + name).c_str(), X_OK) == 0) return folder + "/" + name;
    }
  }
  return "";
}

/// A fresh profile that asks nothing, shows nothing of its own and calls nobody.
constexpr const char* kFirefoxPreferences = R"(
user_pref("browser.shell.checkDefaultBrowser", false);
user_pref("browser.aboutwelcome.enabled", false);
user_pref("browser.startup.homepage_override.mstone", "ignore");
user_pref("browser.startup.page", 0);
user_pref("browser.safebrowsing.malware.enabled", false);
user_pref("browser.safebrowsing.phishing.enabled", false);
user_pref("app.update.enabled", false);
user_pref("app.normandy.enabled", false);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("extensions.update.enabled", false);
user_pref("extensions.getAddons.cache.enabled", false);
user_pref("media.gmp-manager.updateEnabled", false);
user_pref("media.gmp-provider.enabled", false);
user_pref("network.captive-portal-service.enabled", false);
user_pref("network.connectivity-service.enabled", false);
user_pref("services.settings.server", "data:,");
user_pref("toolkit.telemetry.enabled", false);
user_pref("toolkit.telemetry.server", "data:,");
user_pref("media.autoplay.default", 0);
user_pref("media.block-autoplay-until-in-foreground", false);
user_pref("dom.min_background_timeout_value", 4);
user_pref("privacy.resistFingerprinting", false);
)";

}  // namespace

matrix::BrowserPlayer::BrowserPlayer(Kind kind) : kind_(kind) {
  const bool chromium = kind == Kind::Chromium;
  name_ = chromium ? "chromium" : "firefox";
  program_ = find(chromium ? std::vector<std::string>{"chromium", "chromium-browser", "google-chrome"}
                           : std::vector<std::string>{"firefox-esr", "firefox"});
}

matrix::BrowserPlayer::~BrowserPlayer() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    changed_.notify_all();
  }
  if (process_ > 0) {
    kill(-process_, SIGTERM);
    for (int i = 0; i < 50 && waitpid(process_, nullptr, WNOHANG) == 0; ++i) usleep(100'000);
    kill(-process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  server_.reset();
}

void matrix::BrowserPlayer::start() {
  profile_ = std::make_unique<ScratchFolder>();
  server_ = std::make_unique<HttpServer>(
      [this](const std::string& path, const std::string& body) { return answer(path, body); });
  const std::string page = "http://127.0.0.1:" + std::to_string(server_->port()) + "/";
  const std::string profile = "'" + *profile_ / "profile" + "' ";
  std::string options = "--headless --no-remote --profile " + profile;
  if (kind_ == Kind::Chromium) {
    options =
        "--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
        "--disable-component-update --disable-sync --disable-extensions --disable-dev-shm-usage --mute-audio "
        "--disable-background-timer-throttling --user-data-dir=" +
        profile;
  } else {
    profile_->write("profile/user.js", kFirefoxPreferences);
  }
  // What it keeps stays in the scratch folder; its own words are of interest only when it doesn't come up.
  const std::string folder = "='" + profile_->path() + "' ";
  std::string command = "exec env -u DISPLAY -u WAYLAND_DISPLAY -u LD_PRELOAD HOME" + folder + "XDG_CONFIG_HOME" +
                        folder + "XDG_CACHE_HOME" + folder + "'" + program_ + "' " + options + page + " </dev/null >" +
                        *profile_ / "output" + " 2>&1";
  char* arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), command.data(), nullptr};
  posix_spawnattr_t group;
  posix_spawnattr_init(&group);
  posix_spawnattr_setflags(&group, POSIX_SPAWN_SETPGROUP);
  if (posix_spawn(&process_, "/bin/sh", nullptr, &group, arguments, environ) != 0) process_ = -1;
  posix_spawnattr_destroy(&group);
}

matrix::HttpServer::Answer matrix::BrowserPlayer::answer(const std::string& path, const std::string& body) {
  if (path == "/") {
    return {contentOf(ZEVANTI_SOURCE_DIR "/tests/matrix/players/page.html"), "text/html", ""};
  }
  std::unique_lock lock(mutex_);
  if (path == "/next") {
    changed_.wait_for(lock, std::chrono::seconds(5), [this] { return job_ || ending_; });
    return {ending_ ? "end" : std::exchange(job_, std::nullopt).value_or("wait"), "text/plain", ""};
  }
  if (path == "/result") {
    result_ = body;
    changed_.notify_all();
    return {};
  }
  if (path.starts_with("/file/")) return {"", "", file_};
  return {};
}

matrix::Reading matrix::BrowserPlayer::play(const std::string& path, const std::vector<double>& moments) {
  Reading reading;
  if (gone_) {
    reading.error = name_ + " has stopped answering";
    return reading;
  }
  if (!server_) start();
  std::string told;
  {
    std::unique_lock lock(mutex_);
    file_ = path;
    std::ostringstream job;
    job.precision(9);
    job << "/file/" << ++number_ << "\n";
    for (double moment : moments) job << std::fixed << moment << "\n";
    result_.reset();
    job_ = job.str();
    changed_.notify_all();
    if (!changed_.wait_for(lock, std::chrono::seconds(90), [this] { return result_.has_value(); })) {
      gone_ = true;
      const std::string words = contentOf(*profile_ / "output");
      reading.error = name_ + " doesn't answer: " + words.substr(words.size() > 600 ? words.size() - 600 : 0);
      return reading;
    }
    told = *result_;
  }
  std::istringstream lines(told);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string what;
    words >> what;
    if (what == "duration") {
      words >> reading.duration;
    } else if (what == "picture") {
      Picture picture;
      words >> picture.time >> picture.number;
      reading.pictures.push_back(picture);
    } else if (what == "error") {
      reading.error = line.substr(6);
    }
  }
  return reading;
}
