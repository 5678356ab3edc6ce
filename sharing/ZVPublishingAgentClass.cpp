#include "sharing/ZVPublishingAgentClass.h"

#include "platform/Foundation/DynamicLibrary.h"

namespace {

constexpr const char* library = "/System/Library/PublishingBundles/PublishToYouTube.bundle/PublishToYouTube";
constexpr const char* className = "PublishToYouTubeAgent";

}  // namespace

Class ZVPublishingAgentClass() {
  static void* handle = nullptr;
  static Class agentClass = nullptr;
  if (agentClass) return agentClass;
  if (!handle) handle = dlopen_now(library);
  if (!handle) abort_report_np("%s", dlerror_text().c_str());
  agentClass = NSClassFromString(className);
  if (!agentClass) abort_report_np("Unable to find class %s", className);
  return agentClass;
}

Strong<ZVPublishingAgent> ZVMakePublishingAgent() {
  auto agent = std::dynamic_pointer_cast<ZVPublishingAgent>(ZVPublishingAgentClass()->makeInstance());
  if (!agent) abort_report_np("Unable to find class %s", className);  // there is one, but it is something else
  return agent;
}
