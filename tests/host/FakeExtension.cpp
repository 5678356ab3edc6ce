#include "tests/host/FakeExtension.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/ExtensionLaunch.h"
#include "platform/Foundation/ExtensionLink.h"
#include "platform/Foundation/SignalWatcher.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>

namespace {

constexpr double kLong = 60;

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

int runFakeExtension() {
  const std::string mode = variable("FAKE_MODE"), output = variable("FAKE_OUTPUT");
  ExtensionLaunch launch = ExtensionLaunch::takeFromEnvironment();
  if (mode == "early") std::abort();
  dispatch_main::attachToCurrentThread(nullptr);
  if (mode == "stubborn") {
    for (int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_IGN);
  }

  bool begun = false, dismissed = false, disconnected = false;
  int signal = 0;
  auto link = ExtensionClientLink::create(
      launch.connection,
      {[&](const std::string&) { begun = true; }, [&] { dismissed = true; }, [&] { disconnected = true; }}, nullptr);
  if (mode != "stubborn") SignalWatcher::watch({SIGINT, SIGTERM, SIGHUP}, [&](int number) { signal = number; });
  link->setRemoteObjectInterface(
      NSXPCInterface::interfaceWithProtocol("Host", {"extensionDidFinishWithActivityTypes:"}));

  std::mutex mutex;
  std::map<std::string, std::string> values;
  for (const auto& item : link->items()) {
    item->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(
        kUTTypeData, nullptr, [&, title = item->attributedTitle()](const std::string& value, const NSErrorPtr& error) {
          std::lock_guard lock(mutex);
          values[title] = error ? "error" : value;
        });
  }
  auto complete = [&] {
    std::lock_guard lock(mutex);
    return begun && values.size() == 3;
  };
  if (!dispatch_main::runUntil(complete, kLong)) return 70;
  const std::string movie = values["ZVVideoEditorExtensionMovieURLKey"];
  std::ofstream(output + ".part") << movie << '\n'
                                  << values["ZVVideoEditorExtensionAppNameKey"] << '\n'
                                  << values["ZVVideoEditorExtensionBundleIdentifierKey"] << '\n'
                                  << std::filesystem::file_size(movie) << '\n'
                                  << std::filesystem::hard_link_count(movie) << '\n';
  std::filesystem::rename(output + ".part", output);

  if (mode == "crash") {
    std::ofstream(temporaryDirectoryPath() + "/ZVZevanti_Trim1.m4v") << "trimmed";
    std::abort();
  }
  if (mode == "finish") {
    link->remoteObjectProxyWithErrorHandler([](const NSError&) {})
        ->send("extensionDidFinishWithActivityTypes:", {"UIActivityTypeSaveToCameraRoll", "UIActivityTypeMail"});
  }
  dispatch_main::runUntil(
      [&] {
        if (mode == "orphan") return disconnected && std::filesystem::exists(output + ".end");
        return dismissed || signal != 0;
      },
      kLong);
  if (mode == "finish" && !dismissed) return 71;
  std::filesystem::remove(movie);
  if (mode == "orphan") std::ofstream(output + ".ended") << "";
  return signal != 0 ? 128 + signal : 0;
}
