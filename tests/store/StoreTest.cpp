#include "platform/Dispatch/dispatch.h"
#include "platform/StoreServices/SSLookupRequest.h"
#include "sharing/ZVStoreManager.h"
#include "tests/foundation/ScratchFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace {

constexpr double kPatience = 60;

/// A catalogue as a distribution ships it, with a few applications of different completeness.
class Store : public testing::Test {
 protected:
  void SetUp() override {
    catalogue_.write("xml/test.xml", R"(<?xml version="1.0" encoding="UTF-8"?>
<components version="0.14" origin="test">
  <component type="desktop-application">
    <id>org.example.Rainfall</id>
    <name>Rainfall</name><name xml:lang="de">Regenfall</name>
    <summary>Drops</summary>
    <developer_name>Cloud Works</developer_name><developer_name xml:lang="de">Wolkenwerk</developer_name>
    <categories><category>Game</category><category>Simulation</category></categories>
    <url type="homepage">https://rainfall.example.org/</url>
    <launchable type="desktop-id">rainfall-game.desktop</launchable>
  </component>
  <component type="desktop-application">
    <id>old-style.desktop</id><name>Old Style</name><summary>Named as its file</summary>
  </component>
  <component type="addon">
    <id>org.example.Twice</id><name>An add-on</name><summary>Of the other</summary>
    <extends>org.example.Rainfall</extends>
  </component>
</components>)");
    setenv("ZEVANTI_STORE_CATALOGUE", catalogue_.path().c_str(), 1);
  }
  void TearDown() override {
    for (const char* name : {"ZEVANTI_STORE_CATALOGUE", "LC_ALL", "LANGUAGE", "XDG_DATA_HOME"}) unsetenv(name);
  }

  static Strong<ZVStoreInfo> load(const std::string& identifier) {
    Strong<ZVStoreInfo> info;
    bool onMainQueue = false;
    int calls = 0;
    ZVStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(
        identifier, [&](const Strong<ZVStoreInfo>& answer) {
          info = answer;
          onMainQueue = dispatch_is_current(dispatch_get_main_queue());
          ++calls;
        });
    EXPECT_EQ(calls, 0) << "called before the request returned";
    EXPECT_TRUE(dispatch_main::runUntil([&] { return calls > 0; }, kPatience));
    EXPECT_TRUE(dispatch_main::waitForBackgroundWork(kPatience));
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(onMainQueue);
    return info ? info : std::make_shared<ZVStoreInfo>();
  }

  ScratchFolder catalogue_;
};

TEST_F(Store, AnswersWithWhatTheCatalogueSays) {
  for (const char* identifier :
       {"org.example.Rainfall", "org.example.Rainfall.desktop", "rainfall-game", "rainfall-game.desktop"}) {
    const auto info = load(identifier);
    EXPECT_EQ(info->bundleID(), identifier);
    EXPECT_EQ(info->appName(), "Rainfall");
    EXPECT_EQ(info->author(), "Cloud Works");
    EXPECT_EQ(info->itemURL(), "https://rainfall.example.org/");
    EXPECT_EQ(info->categories(), (std::vector<std::string>{"Game", "Simulation"}));
  }
}

TEST_F(Store, SpeaksThePersonsLanguage) {
  setenv("LC_ALL", "de_AT.UTF-8", 1);
  const auto info = load("org.example.Rainfall");
  EXPECT_EQ(info->appName(), "Regenfall");
  EXPECT_EQ(info->author(), "Wolkenwerk");
  // The language that the program itself speaks. A catalogue is read in one language, so this is another.
  std::filesystem::create_directory_symlink(catalogue_.path(), catalogue_ / "again");
  setenv("ZEVANTI_STORE_CATALOGUE", (catalogue_ / "again").c_str(), 1);
  setenv("LC_ALL", "fr_FR.UTF-8", 1);
  setenv("LANGUAGE", "de:fr", 1);
  EXPECT_EQ(load("org.example.Rainfall")->appName(), "Regenfall");
}

TEST_F(Store, PutsPlaceholdersForWhatIsMissing) {
  constexpr const char* none = "[app store app name]";
  for (const auto& [identifier, name] :
       {std::pair("old-style", "Old Style"), std::pair("old-style.desktop", "Old Style"),
        std::pair("org.example.Unknown", none), std::pair("", none), std::pair("../../etc/passwd", none),
        std::pair(".desktop", none)}) {
    const auto info = load(identifier);
    EXPECT_EQ(info->bundleID(), identifier);
    EXPECT_EQ(info->appName(), name) << identifier;
    EXPECT_EQ(info->author(), "[developer]");
    EXPECT_EQ(info->itemURL(), ZVStoreDefaultItemURL);
    EXPECT_EQ(info->categories(), std::nullopt);
  }
}

TEST_F(Store, AnswersWithoutACatalogue) {
  catalogue_.write("damaged/xml/test.xml", "<components><component type=\"desktop-application\"><id>org.exam");
  for (const char* folder : {"missing", "damaged"}) {
    setenv("ZEVANTI_STORE_CATALOGUE", (catalogue_ / folder).c_str(), 1);
    EXPECT_EQ(load("org.example.Rainfall")->appName(), "[app store app name]") << folder;
  }
}

/// As on a network file system that hangs: the opening of a file never returns.
TEST_F(Store, GivesUpOnACatalogueThatHangs) {
  const std::string folder = catalogue_ / "hanging";
  std::filesystem::create_directories(folder + "/xml");
  const std::string pipe = folder + "/xml/test.xml";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  setenv("ZEVANTI_STORE_CATALOGUE", folder.c_str(), 1);
  Strong<ZVStoreInfo> info;
  ZVStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(
      "org.example.Rainfall", [&](const Strong<ZVStoreInfo>& answer) { info = answer; });
  EXPECT_FALSE(dispatch_main::waitForBackgroundWork(0)) << "the catalogue is still being read";
  EXPECT_TRUE(dispatch_main::waitForEssentialWork(0)) << "nobody would miss it";
  ASSERT_TRUE(dispatch_main::runUntil([&] { return info != nullptr; }, kPatience));
  EXPECT_FALSE(dispatch_main::waitForBackgroundWork(0));
  EXPECT_EQ(info->appName(), "[app store app name]");
  EXPECT_EQ(info->bundleID(), "org.example.Rainfall");

  // The store answers again as soon as the file system does.
  int writer = -1;
  ASSERT_TRUE(
      dispatch_main::runUntil([&] { return (writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }, kPatience));
  std::filesystem::remove(pipe);
  close(writer);
  ASSERT_TRUE(dispatch_main::waitForBackgroundWork(kPatience));
  setenv("ZEVANTI_STORE_CATALOGUE", catalogue_.path().c_str(), 1);
  EXPECT_EQ(load("org.example.Rainfall")->appName(), "Rainfall");
}

TEST_F(Store, KeepsRequestsApart) {
  std::vector<std::string> names;
  for (const char* identifier : {"org.example.Rainfall", "org.example.Unknown", "old-style"}) {
    ZVStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(
        identifier,
        [&](const Strong<ZVStoreInfo>& info) { names.push_back(info->bundleID() + "=" + info->appName()); });
  }
  ASSERT_TRUE(dispatch_main::runUntil([&] { return names.size() == 3; }, kPatience));
  EXPECT_EQ(names, (std::vector<std::string>{"org.example.Rainfall=Rainfall",
                                             "org.example.Unknown=[app store app name]", "old-style=Old Style"}));
}

TEST_F(Store, AnswersSeveralIdentifiersOffTheMainQueue) {
  const auto request = SSLookupRequest::init();
  request->setKeyProfile(SSLookupKeyProfileProduct);
  request->setValue_forRequestParameter({"old-style", "org.example.Unknown", "org.example.Rainfall"},
                                        SSLookupParameterBundleIdentifiers);
  std::atomic<bool> answered = false;
  std::vector<std::string> names;
  std::thread([&, request] {  // from any thread
    request->startWithLookupBlock([&](const Strong<SSLookupResponse>& response, const NSErrorPtr& error) {
      EXPECT_FALSE(error);
      EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
      ASSERT_TRUE(response);
      const auto results = response->valueForProperty(SSLookupPropertyResults);
      for (const auto& item : std::get<std::vector<Strong<SSLookupItem>>>(results))
        names.push_back(std::get<std::string>(item->valueForKey(SSLookupPropertyDisplayName)));
      answered = true;
    });
  })
      .join();
  ASSERT_TRUE(dispatch_main::runUntil([&] { return answered.load(); }, kPatience));
  EXPECT_EQ(names, (std::vector<std::string>{"Old Style", "Rainfall"}));
}

/// Without a test's catalogue: what the machine has.
TEST_F(Store, KnowsWhatIsInstalled) {
  unsetenv("ZEVANTI_STORE_CATALOGUE");
  setenv("LC_ALL", "C", 1);
  setenv("XDG_DATA_HOME", catalogue_.path().c_str(), 1);
  catalogue_.write("applications/org.example.Uncatalogued.desktop",
                   "[Desktop Entry]\nType=Application\nName=Uncatalogued\nExec=true\nCategories=Game;\n");
  const auto uncatalogued = load("org.example.Uncatalogued");
  EXPECT_EQ(uncatalogued->appName(), "Uncatalogued");
  EXPECT_EQ(uncatalogued->author(), "[developer]");
  EXPECT_EQ(uncatalogued->categories(), std::vector<std::string>{"Game"});

  if (!std::filesystem::exists("/usr/share/metainfo/mpv.metainfo.xml")) GTEST_SKIP() << "mpv is not installed";
  for (const char* identifier : {"mpv", "io.mpv.mpv"}) {
    const auto player = load(identifier);
    EXPECT_EQ(player->appName(), "mpv");
    EXPECT_EQ(player->author(), "mpv.io");
    EXPECT_EQ(player->itemURL(), "https://mpv.io/");
  }
}

}  // namespace
