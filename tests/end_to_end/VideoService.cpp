#include "VideoService.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <fstream>

namespace fs = std::filesystem;

VideoService::VideoService(Session& session, const Desktop& desktop, const std::vector<std::string>& faults)
    : folder_(session.folder() / "service") {
  fs::create_directories(folder_);
  std::vector<std::string> arguments = {ZEVANTI_BUILD_DIR "/publishing-server", "--folder", folder_.string()};
  for (const std::string& fault : faults) arguments.insert(arguments.end(), {"--fault", fault});
  program_ = std::make_unique<BackgroundProgram>(arguments, std::vector<std::string>{}, folder_ / "log");
  constexpr double patience = 60;  // seconds
  EXPECT_TRUE(waitUntil(patience, [this] { return log().find('\n') != std::string::npos; })) << log();
  const std::string line = log().substr(0, log().find('\n'));
  address_ = "http://127.0.0.1:" + line.substr(line.find(' ') + 1);
  session.environment.push_back("ZEVANTI_PUBLISHING_SERVER=" + address_);
  fs::create_directories(desktop.home("config") / "zevanti");
  std::ofstream(desktop.home("config") / "zevanti/publishing.json") << R"({"client_id": "ours"})";
}

std::vector<fs::path> VideoService::videos() const {
  std::vector<fs::path> found;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    // The details come last.
    if (entry.path().extension() == ".json") found.push_back(fs::path(entry.path()).replace_extension("mp4"));
  }
  std::sort(found.begin(), found.end());
  return found;
}
