#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/ExtensionLink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <mutex>
#include <thread>

namespace {

using Texts = std::vector<std::string>;

constexpr double kLong = 20;
constexpr const char* kFinish = "didFinish:";

/// Both ends of a connection, the host's on a thread of its own.
class ExtensionLink : public testing::Test {
 protected:
  void connect() {
    dispatch_main::attachToCurrentThread(nullptr);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    host_ = ExtensionHostLink::create(
        ends[0], {{"movie", {kUTTypeData, "public.movie"}}, {"name", {kUTTypeData}}, {"none", {}}}, {kFinish},
        {[this](std::size_t item, const std::string&, auto answer) {
           requests_.emplace_back(item, std::move(answer));
           if (requests_.size() == waitFor_) answerInReverse();
         },
         [this](const std::string& selector, const std::vector<std::string>& argument) {
           std::lock_guard lock(mutex_);
           messages_.emplace_back(selector, argument);
         }},
        nullptr);
    thread_ = std::thread([this] { serve(); });
    client_ = ExtensionClientLink::create(ends[1],
                                          {[this](const std::string& folder) {
                                             EXPECT_TRUE(dispatch_is_current(dispatch_get_main_queue()));
                                             begun_ = folder;
                                           },
                                           [this] { dismissed_ = true; }, [this] { ++disconnected_; }},
                                          nullptr);
    client_->setRemoteObjectInterface(NSXPCInterface::interfaceWithProtocol("Host", {kFinish, "unheardOf:"}));
  }
  void TearDown() override { stopHost(); }

  void serve() {
    bool open = true;
    while (open && !stop_) {
      pollfd ready{host_->descriptor(), host_->events(), 0};
      poll(&ready, 1, 10);
      open = host_->process();
      if (dismiss_.exchange(false)) host_->dismiss();
    }
    requests_.clear();
    host_ = nullptr;
  }
  void stopHost() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }

  void answerInReverse() {
    host_->begin("/run/folder", lock_);
    for (auto request = requests_.rbegin(); request != requests_.rend(); ++request)
      request->second(request->first == 0 ? std::optional<std::string>(path_) : std::nullopt);
  }

  void load(const Strong<NSExtensionItem>& item) {
    item->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(
        kUTTypeData, nullptr,
        [this, title = item->attributedTitle()](const std::string& value, const NSErrorPtr& error) {
          EXPECT_TRUE(dispatch_is_current(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT)));
          std::lock_guard lock(mutex_);
          arrived_.push_back(title + ": " + (error ? failure(error->code()) : value));
        });
  }
  static std::string failure(int code) { return "error " + std::to_string(code); }
  bool runUntil(const std::function<bool()>& condition) {
    return dispatch_main::runUntil(
        [&] {
          std::lock_guard lock(mutex_);
          return condition();
        },
        kLong);
  }
  const std::string path_ = "/movies/any\xFF\x01 bytes";
  int lock_ = STDIN_FILENO;
  std::size_t waitFor_ = 2;
  std::unique_ptr<ExtensionHostLink> host_;
  std::shared_ptr<ExtensionClientLink> client_;
  std::vector<std::pair<std::size_t, ExtensionHostLink::Answer>> requests_;
  std::thread thread_;
  std::atomic<bool> stop_ = false, dismiss_ = false;

  std::mutex mutex_;
  std::vector<std::string> arrived_;  ///< values, or why there are none
  std::vector<std::pair<std::string, std::vector<std::string>>> messages_;
  std::string begun_;
  bool dismissed_ = false;
  int disconnected_ = 0;
};

TEST_F(ExtensionLink, LoadsEachValueByItself) {
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC | O_NONBLOCK), 0);
  lock_ = pipe[1];
  connect();
  auto items = client_->items();
  ASSERT_EQ(items.size(), 3U);
  // Nothing is sent that way, so an offer to take something is refused.
  EXPECT_TRUE(client_->setExportedInterface(NSXPCInterface::interfaceWithProtocol("Extension", {})));
  EXPECT_FALSE(client_->setExportedInterface(NSXPCInterface::interfaceWithProtocol("Extension", {"do:"})));
  EXPECT_FALSE(client_->setExportedInterface(nullptr));
  EXPECT_EQ(items[0]->attributedTitle(), "movie");
  EXPECT_TRUE(items[0]->attachments().front()->hasItemConformingToTypeIdentifier("public.movie"));
  EXPECT_FALSE(items[1]->attachments().front()->hasItemConformingToTypeIdentifier("public.movie"));
  EXPECT_FALSE(items[2]->attachments().front()->hasItemConformingToTypeIdentifier(kUTTypeData));
  for (const auto& item : items) load(item);
  ASSERT_TRUE(runUntil([this] { return arrived_.size() == 3 && !begun_.empty(); }));
  EXPECT_EQ(begun_, "/run/folder");
  std::sort(arrived_.begin(), arrived_.end());
  EXPECT_EQ(arrived_, (Texts{"movie: " + path_, "name: " + failure(EIO), "none: " + failure(ENOENT)}));

  // The extension holds the lock as well: the pipe stays open when the host's end of it goes.
  close(pipe[1]);
  char byte;
  EXPECT_EQ(read(pipe[0], &byte, 1), -1);
  client_ = nullptr;
  EXPECT_EQ(read(pipe[0], &byte, 1), 0);
  close(pipe[0]);
}

TEST_F(ExtensionLink, SendsOneWayMessagesAndIsDismissed) {
  connect();
  std::vector<int> codes;
  auto proxy = client_->remoteObjectProxyWithErrorHandler([&](const NSError& error) {
    std::lock_guard lock(mutex_);
    codes.push_back(error.code());
  });
  proxy->send(kFinish, {});
  proxy->send("unheardOf:", {"x"});  // understood by nobody; it is a one-way message, so nobody says so
  proxy->send("other:", {});
  proxy->send(kFinish, {std::string(100000, 'x')});
  proxy->send(kFinish, std::vector<std::string>(5000, "x"));
  proxy->send(kFinish, {"one", "zwei ß", "one"});  // what was too large has changed nothing
  dismiss_ = true;
  ASSERT_TRUE(runUntil([this] { return dismissed_ && messages_.size() == 2; }));
  EXPECT_EQ(messages_[0].second, Texts());
  EXPECT_EQ(messages_[1].first, kFinish);
  EXPECT_EQ(messages_[1].second, (Texts{"one", "zwei ß", "one"}));
  EXPECT_EQ(codes, (std::vector<int>{EOPNOTSUPP, E2BIG, E2BIG}));
}

TEST_F(ExtensionLink, TheHostsEndIsTold) {
  waitFor_ = 99;  // never answered
  connect();
  auto items = client_->items();
  load(items[0]);
  load(items[1]);
  ASSERT_TRUE(dispatch_main::runUntil([] { return true; }, 0.05));
  stopHost();
  ASSERT_TRUE(runUntil([this] { return arrived_.size() == 2 && disconnected_ == 1; }));
  EXPECT_FALSE(client_->isConnected());

  std::atomic<int> code = 0;
  auto proxy = client_->remoteObjectProxyWithErrorHandler([&](const NSError& error) { code = error.code(); });
  proxy->send(kFinish, {"too late"});
  ASSERT_TRUE(runUntil([&] { return code != 0; }));
  EXPECT_EQ(code, ENOTCONN);
  load(items[0]);
  ASSERT_TRUE(runUntil([this] { return arrived_.size() == 3; }));
  EXPECT_EQ(arrived_[2], "movie: " + failure(ENOTCONN));
  EXPECT_EQ(disconnected_, 1);
  client_ = nullptr;
  load(items[1]);
  ASSERT_TRUE(runUntil([this] { return arrived_.size() == 4; }));
}

TEST_F(ExtensionLink, ASocketThatTalksNonsenseIsAHostThatHasGone) {
  dispatch_main::attachToCurrentThread(nullptr);
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  int gone = 0;
  client_ = ExtensionClientLink::create(ends[1], {nullptr, nullptr, [&] { ++gone; }}, nullptr);
  const std::string nonsense = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
  ASSERT_GT(write(ends[0], nonsense.data(), nonsense.size()), 0);
  EXPECT_TRUE(client_->items().empty());
  EXPECT_TRUE(runUntil([&] { return gone == 1; }));
  close(ends[0]);
}

}  // namespace
