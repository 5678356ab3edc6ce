#include "EditorFixture.h"
#include "extension/ZVVideoEditorExtensionConstants.h"
#include "extension/ZVVideoEditorExtensionViewController.h"
#include "platform/Foundation/os_trace.h"
#include "support/NSFileManagerZVExtensions.h"

#include <algorithm>
#include <numeric>

namespace {

/// One input item whose value comes after a delay on a global queue; an empty type is one that does not conform.
Strong<NSExtensionItem> item(const std::string& title, const std::string& value, double delay,
                             const std::string& type = kUTTypeData, bool fails = false) {
  const auto made = std::make_shared<NSExtensionItem>();
  made->setAttributedTitle(title);
  made->setAttachments({std::make_shared<NSItemProvider>(
      std::vector<std::string>{type}, [=](const std::string&, NSItemProvider::CompletionHandler completion) {
        dispatch_after(delay, dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                       [=] { completion(fails ? "" : value, fails ? NSError::posix(EIO, "load") : nullptr); });
      })});
  return made;
}

/// A connection that notes what is sent, or that has gone.
class Connection : public NSXPCConnection {
 public:
  std::shared_ptr<NSXPCProxy> remoteObjectProxyWithErrorHandler(std::function<void(const NSError&)> handler) override {
    ++proxies;
    struct Proxy : NSXPCProxy {
      Connection* connection = nullptr;
      std::function<void(const NSError&)> handler;
      void send(const std::string& selector, const std::vector<std::string>& argument) override {
        if (connection->gone) {
          handler(NSError("test", 4099, "gone"));
        } else {
          connection->sent.emplace_back(selector, argument);
        }
      }
    };
    const auto proxy = std::make_shared<Proxy>();
    proxy->connection = this;
    proxy->handler = std::move(handler);
    return proxy;
  }
  bool gone = false;
  int proxies = 0;
  std::vector<std::pair<std::string, std::vector<std::string>>> sent;
};

}  // namespace

class ExtensionTest : public EditorTest {
 protected:
  void start(std::vector<Strong<NSExtensionItem>> items) {
    connection = std::make_shared<Connection>();
    context = std::static_pointer_cast<ZVVideoEditorExtensionContext>(
        NSClassFromString("ZVVideoEditorExtensionContext")->makeInstance());
    context->setInputItems(std::move(items));
    context->setAuxiliaryConnection(connection);
    controller = std::static_pointer_cast<ZVVideoEditorExtensionViewController>(
        NSClassFromString("ZVVideoEditorExtensionViewController")->makeInstance());
    controller->setExtensionContext(context);
    testWindow().present(controller);
  }
  void TearDown() override {
    testWindow().dismiss();
    controller = nullptr;
    pump(0.05);
    EditorTest::TearDown();
  }
  static constexpr const char* path = "/nonexistent/movie.mp4";
  std::shared_ptr<Connection> connection;
  Strong<ZVVideoEditorExtensionContext> context;
  Strong<ZVVideoEditorExtensionViewController> controller;
};

TEST_F(ExtensionTest, ThreeItemsInAnyOrderMakeOneEditor) {
  std::vector<int> order{0, 1, 2};
  do {
    const std::vector<Strong<NSExtensionItem>> items{
        item(ZVVideoEditorExtensionMoviePathKey, path, 0.004 * order[0]),
        item(ZVVideoEditorExtensionAppNameKey, "An App", 0.004 * order[1]),
        item(ZVVideoEditorExtensionBundleIdentifierKey, "org.example", 0.004 * order[2]),
        item("Something else", "ignored", 0),
        item(ZVVideoEditorExtensionAppNameKey, "not offered as data", 0, "public.text")};
    start(items);
    ASSERT_TRUE(pumpUntil([&] { return controller->videoEditorViewController() != nullptr; }));
    const auto editor = controller->videoEditorViewController();
    pump(0.02);
    EXPECT_EQ(controller->videoEditorViewController(), editor);
    EXPECT_EQ(controller->childViewControllers().size(), 1U);
    EXPECT_EQ(editor->videoURL(), NSURL::fileURLWithPath(path));
    EXPECT_EQ(editor->applicationName(), "An App");
    EXPECT_EQ(editor->bundleIdentifier(), "org.example");
    EXPECT_EQ(editor->view()->superview(), controller->view());
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(ExtensionTest, AMissingOrFailedValueShowsNothing) {
  start({item(ZVVideoEditorExtensionMoviePathKey, path, 0), item(ZVVideoEditorExtensionAppNameKey, "App", 0),
         item(ZVVideoEditorExtensionBundleIdentifierKey, "org.example", 0, kUTTypeData, true),
         std::make_shared<NSExtensionItem>()});
  pump(0.1);
  EXPECT_EQ(controller->videoEditorViewController(), nullptr);
  EXPECT_TRUE(connection->sent.empty());
  const auto messages = trace_log::messages();
  EXPECT_EQ(std::count_if(messages.begin(), messages.end(),
                          [](const TraceMessage& m) {
                            return m.text == "Error loading input item for type" && m.level == TraceLevel::Error;
                          }),
            1);
}

TEST_F(ExtensionTest, DoneReportsOneWayAndSurvivesAGoneHost) {
  start({item(ZVVideoEditorExtensionMoviePathKey, path, 0), item(ZVVideoEditorExtensionAppNameKey, "App", 0),
         item(ZVVideoEditorExtensionBundleIdentifierKey, "", 0)});
  ASSERT_TRUE(pumpUntil([&] { return controller->videoEditorViewController() != nullptr; }));
  const auto editor = controller->videoEditorViewController();
  editor->doneAction();
  editor->activityTypes()->assign({"b", "a"});
  editor->doneAction();
  ASSERT_EQ(connection->sent.size(), 2U);
  EXPECT_EQ(connection->sent[0].first, "extensionDidFinishWithActivityTypes:");
  EXPECT_TRUE(connection->sent[0].second.empty());
  EXPECT_EQ(connection->sent[1].second, (std::vector<std::string>{"b", "a"}));
  EXPECT_EQ(connection->proxies, 2) << "a new proxy at each call";
  connection->gone = true;
  editor->doneAction();
  EXPECT_EQ(trace_log::messages().back().text, "error calling extension - 4099");
  EXPECT_EQ(editor->view()->superview(), controller->view()) << "the editor stays up";
}
