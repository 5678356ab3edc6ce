#include "EditorFixture.h"
#include "extension/ZVVideoEditorExtensionConstants.h"
#include "extension/ZVVideoEditorExtensionViewController.h"
#include "platform/Foundation/os_trace.h"
#include "support/NSFileManagerZVExtensions.h"

#include <algorithm>

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

}  // namespace

class ExtensionTest : public EditorTest {
 protected:
  void start(std::vector<Strong<NSExtensionItem>> items) {
    const auto context = std::static_pointer_cast<ZVVideoEditorExtensionContext>(
        NSClassFromString("ZVVideoEditorExtensionContext")->makeInstance());
    context->setInputItems(std::move(items));
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
    ASSERT_TRUE(waitUntil([&] { return controller->videoEditorViewController() != nullptr; }));
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
  const auto messages = trace_log::messages();
  EXPECT_EQ(std::count_if(messages.begin(), messages.end(),
                          [](const TraceMessage& m) {
                            return m.text == "Error loading input item for type" && m.level == TraceLevel::Error;
                          }),
            1);
}
