#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/PrivateFile.h"
#include "plugins/PublishToYouTube/upload/TokenStore.h"
#include "tests/publishing/FakeSecretService.h"
#include "tests/publishing/PublishingTest.h"

#include <QtCore/QElapsedTimer>
#include <QtNetwork/QLocalServer>

#include <cstdlib>
#include <filesystem>

#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace publishing;

namespace {

class TokenStoreTest : public PublishingTest {
 protected:
  TokenStore store(bool secretService, const std::string& client = "one") {
    return TokenStore({client, "http://a.example:80", tokenFile(), secretService});
  }
  /// Waits with an event loop: the fake store answers on this thread.
  std::optional<Tokens> load(TokenStore& from) {
    std::optional<std::optional<Tokens>> loaded;
    from.load([&](const std::optional<Tokens>& tokens) { loaded = tokens; });
    EXPECT_TRUE(waitUntil([&] { return loaded.has_value(); }));
    return loaded.value_or(std::nullopt);
  }
  static bool find(TokenStore& in) {
    std::optional<bool> found;
    in.find([&](bool isThere) { found = isThere; });
    EXPECT_TRUE(waitUntil([&] { return found.has_value(); }));
    return found.value_or(false);
  }
  static std::string accessOf(const std::optional<Tokens>& tokens) { return tokens ? tokens->access : "none"; }
};

TEST_F(TokenStoreTest, PrivateFilesAreNobodyElses) {
  const std::string file = path("deep/er/secret"), victim = path("victim");
  EXPECT_EQ(writePrivateFile(file, "one"), 0);
  EXPECT_EQ(modeOf(file), 0600u);
  EXPECT_EQ(modeOf(path("deep")), 0700u);
  // What others could read is put right.
  chmod(file.c_str(), 0644);
  EXPECT_EQ(readPrivateFile(file), "one");
  EXPECT_EQ(modeOf(file), 0600u);
  // A link is neither read nor written through.
  writeFile(victim, "victim");
  fs::remove(file);
  fs::create_symlink(victim, file);
  EXPECT_FALSE(readPrivateFile(file));
  EXPECT_EQ(writePrivateFile(file, "two"), 0);
  EXPECT_EQ(contentOf(victim), "victim");
  EXPECT_FALSE(fs::is_symlink(file));
  EXPECT_EQ(readPrivateFile(file), "two");
  // Nor is a folder that is a link.
  fs::create_directory(path("elsewhere"));
  fs::create_directory_symlink(path("elsewhere"), path("linked"));
  EXPECT_NE(writePrivateFile(path("linked/secret"), "three"), 0);
  EXPECT_TRUE(fs::is_empty(path("elsewhere")));
  // Things that would hang or hold no text.
  mkfifo(path("pipe").c_str(), 0600);
  EXPECT_FALSE(readPrivateFile(path("pipe")));
  EXPECT_FALSE(readPrivateFile(path("deep")));
}

TEST_F(TokenStoreTest, TheFileKeepsClientsApart) {
  TokenStore one = store(false), two = store(false, "two");
  one.save({"A1", "R1", 5});
  two.save({"A2", "", 0});
  EXPECT_EQ(accessOf(load(one)), "A1");
  EXPECT_EQ(load(one)->refresh, "R1");
  EXPECT_EQ(accessOf(load(two)), "A2");
  one.clear();
  EXPECT_EQ(accessOf(load(one)), "none");
  EXPECT_EQ(accessOf(load(two)), "A2");
  two.clear();
  EXPECT_EQ(accessOf(load(two)), "none");
  EXPECT_FALSE(fs::exists(tokenFile()));
  writeFile(tokenFile(), "{damaged");
  EXPECT_EQ(accessOf(load(one)), "none");
}

// Before all tests with a bus: a process keeps the first one that answers.
TEST_F(TokenStoreTest, ABusThatHangsIsNoBus) {
  QLocalServer silent;  // takes connections and never says a word
  ASSERT_TRUE(silent.listen(QString::fromStdString(path("silent"))));
  setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path("silent")).c_str(), 1);
  QElapsedTimer elapsed;
  elapsed.start();
  {
    TokenStore tokens = store(true);
    tokens.save({"A1", "R1", 5});
    EXPECT_EQ(accessOf(load(tokens)), "A1") << "kept in the file";
  }
  EXPECT_LT(elapsed.elapsed(), 40'000) << "twice five seconds";
  EXPECT_TRUE(fs::exists(tokenFile()));
  {
    TokenStore tokens = store(true);
    tokens.load([](const std::optional<Tokens>&) {});
    ASSERT_TRUE(waitUntil([&] { return silent.hasPendingConnections(); }));
    elapsed.start();
  }
  EXPECT_TRUE(dispatch_main::waitForBackgroundWork(20)) << "nobody wants the answer any more";
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST_F(TokenStoreTest, WithoutASecretServiceTheFileIsUsed) {
  {
    TokenStore nobody = store(true);  // no session bus at all
    nobody.save({"A1", "R1", 5});
    EXPECT_EQ(accessOf(load(nobody)), "A1");
    EXPECT_TRUE(find(nobody));
  }
  const FakeSecretService bus;
  TokenStore empty = store(true);
  EXPECT_EQ(accessOf(load(empty)), "A1");
  empty.save({"A2", "R2", 5});
  EXPECT_EQ(accessOf(load(empty)), "A2");
  EXPECT_EQ(modeOf(tokenFile()), 0600u);
}

TEST_F(TokenStoreTest, TheSecretServiceComesFirst) {
  store(false).save({"in a file", "R", 5});
  FakeSecretService service;
  service.become(FakeSecretService::Behaviour::Works);
  TokenStore tokens = store(true);
  EXPECT_EQ(accessOf(load(tokens)), "in a file");  // from before there was one
  tokens.save({"A1", "R1", 5});
  EXPECT_EQ(accessOf(load(tokens)), "A1");
  EXPECT_TRUE(find(tokens));
  EXPECT_EQ(Tokens::fromJson(service.secret().toStdString())->refresh, "R1");
  EXPECT_FALSE(fs::exists(tokenFile()));  // no copy is left behind
  tokens.clear();
  EXPECT_EQ(accessOf(load(tokens)), "none");
  EXPECT_TRUE(service.secret().isEmpty());
  EXPECT_FALSE(find(tokens));

  // From the browser into the store, and out of it the next time.
  options_.secretService = true;
  for (const size_t asked : {1u, 0u}) {
    ASSERT_NO_FATAL_FAILURE(publishAnew());
    EXPECT_TRUE(mediaURL_);
    EXPECT_EQ(pages_.size(), asked);
    ASSERT_TRUE(waitUntil([&] { return !service.secret().isEmpty(); }));
  }
  EXPECT_FALSE(fs::exists(tokenFile()));

  // One that stays locked gets no file beside it.
  service.become(FakeSecretService::Behaviour::Fails);
  tokens.save({"A2", "R2", 5});
  EXPECT_EQ(accessOf(load(tokens)), "none");
  EXPECT_FALSE(fs::exists(tokenFile()));
  // Nor does one that takes too long: it may have kept them all the same.
  service.become(FakeSecretService::Behaviour::TimesOut);
  tokens.save({"A2", "R2", 5});
  EXPECT_EQ(accessOf(load(tokens)), "none");
  EXPECT_FALSE(fs::exists(tokenFile()));
  // It has gone in the middle of the session.
  service.become(FakeSecretService::Behaviour::NotThere);
  tokens.save({"A3", "R3", 5});
  EXPECT_EQ(accessOf(load(tokens)), "A3");
  EXPECT_TRUE(fs::exists(tokenFile()));
}

}  // namespace
