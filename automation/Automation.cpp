#include "automation/Automation.h"

#include "automation/Script.h"
#include "automation/ScriptRunner.h"
#include "platform/UIAutomation/UIAutomation.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

namespace automation {

namespace {

void run(UIAutomation& automation, const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) {
    std::cerr << "can't read the script " << path << ": " << std::strerror(errno ? errno : EIO) << "\n";
    automation.finish(ScriptRunner::kFailureStatus);
    return;
  }
  Script script = Script::parse(text.str());
  if (script.error) {
    std::cerr << *script.error << "\n";
    automation.finish(ScriptRunner::kFailureStatus);
    return;
  }
  ScriptRunner::start(automation, std::move(script));
}

}  // namespace

void install() {
  UIAutomation::setDriver(run);
}

int exitStatus(int status) {
  return ScriptRunner::exitStatus(status);
}

}  // namespace automation
