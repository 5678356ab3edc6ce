/// Any text as a script: it has steps or an error that names a line, and what the steps say can be done.

#include "automation/Script.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Script script = Script::parse(std::string(reinterpret_cast<const char*>(data), size));
  require(!script.error || script.steps.empty());
  require(!script.error || script.error->starts_with("script line "));
  int line = 0;
  for (const ScriptStep& step : script.steps) {
    require(step.line > line);
    line = step.line;
    require(std::isfinite(step.seconds) && step.seconds >= 0);
    require(step.kind != ScriptStep::Kind::Resize || (step.width > 0 && step.height > 0));
  }
  return 0;
}
