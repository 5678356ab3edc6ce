#include "tests/plugin/PluginTest.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/UIKit/UIPasteboard.h"
#include "platform/UIKit/UITableView.h"
#include "tests/common/Requests.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constexpr const char* library = "/System/Library/PublishingBundles/PublishToYouTube.bundle/PublishToYouTube";

/// The status panel is the only view of its class.
Strong<UIView> panelIn(const Strong<UIView>& view) {
  if (view->class_()->name() == "PublishingStatusView") return view;
  for (const auto& subview : view->subviews()) {
    if (auto found = panelIn(subview)) return found;
  }
  return nullptr;
}

}  // namespace

void PluginTest::SetUp() {
  ASSERT_TRUE(server_.listen());
  UIPasteboard::generalPasteboard().setString("");
  setenv("ZEVANTI_PUBLISHING_SERVER", server_.base().c_str(), 1);
  std::filesystem::remove_all(std::getenv("XDG_STATE_HOME"));
  movie_ = folder_.path().toStdString() + "/movie.mp4";
  std::ofstream(movie_, std::ios::binary) << std::string(3'000'000, 'm');
  writeClientFile();

  ASSERT_NE(dlopen_now(library), nullptr) << dlerror_text();
  ASSERT_NO_FATAL_FAILURE(makeAgent());
  form_->performSelector("discardDraft");  // of another test
}

void PluginTest::makeAgent() {
  delegate_ = std::make_shared<AgentLog>();
  const Class cls = NSClassFromString("PublishToYouTubeAgent");
  ASSERT_NE(cls, nullptr);
  agentObject_ = cls->makeInstance();
  agent_ = dynamic_cast<ZVPublishingAgent*>(agentObject_.get());
  ASSERT_NE(agent_, nullptr);
  agent_->setDelegate(delegate_);
  agent_->setMediaPath(movie_);
  form_ = agent_->navigationController()->viewControllers().front();
  form_->view();

  root_ = std::make_shared<UIViewController>();
  theWindow().resize({375, 667});
  theWindow().present(root_);
  root_->view()->setBackgroundColor(UIColor::colorWithWhite_alpha(0.3F, 1));
  ASSERT_TRUE(waitUntil([] { return theWindow().quickWindow().isExposed(); }));
}

void PluginTest::closeWindow() {
  theWindow().dismiss();
  form_ = nullptr;
  agentObject_ = nullptr;
  root_ = nullptr;
}

void PluginTest::TearDown() {
  closeWindow();
  EXPECT_TRUE(endRequests(browser_));
  deleteWhatIsLeft();
}

void PluginTest::closeAndStartAgain() {
  closeWindow();
  ASSERT_NO_FATAL_FAILURE(makeAgent());
}

void PluginTest::present() {
  bool isThere = false;
  root_->presentViewController_animated_completion(agent_->navigationController(), false, [&] { isThere = true; });
  ASSERT_TRUE(waitUntil([&] { return isThere; }));
  theWindow().commit();
}

std::string PluginTest::clientFile() const {
  return std::string(std::getenv("XDG_CONFIG_HOME")) + "/zevanti/publishing.json";
}

void PluginTest::writeClientFile() {
  std::filesystem::create_directories(std::filesystem::path(clientFile()).parent_path());
  std::ofstream(clientFile()) << R"({"client_id": "a client", "client_secret": "of ours"})";
}

Strong<NSObject> PluginTest::part(const char* name) {
  return object_getIvar(form_.get(), class_getInstanceVariable(form_->class_(), name));
}

Strong<NSObject> PluginTest::cell(int row, int section) {
  const auto table = std::dynamic_pointer_cast<UITableView>(part("_table"));
  return table ? table->cellForRowAtIndexPath(NSIndexPath::indexPathForItem_inSection(row, section)) : nullptr;
}

void PluginTest::pressAt(CGPoint at) {
  theWindow().sendPointer(UIAutomation::Pointer::Press, at);
  theWindow().sendPointer(UIAutomation::Pointer::Release, at);
}

void PluginTest::press(const UIAccessibilityElement& element) {
  const CGRect& frame = element.frame;
  pressAt({frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2});
}

std::vector<UIAccessibilityElement> PluginTest::elements(const std::string& name) {
  std::vector<UIAccessibilityElement> named;
  for (const auto& found : theWindow().window()->reachableElements()) {
    if (found.element.label == name) named.push_back(found.element);
  }
  return named;
}

UIAccessibilityElement PluginTest::element(const std::string& name) {
  const auto named = elements(name);
  EXPECT_FALSE(named.empty()) << "there is no " << name;
  return named.empty() ? UIAccessibilityElement() : named.front();
}

bool PluginTest::isReachable(const std::string& name) {
  const auto named = elements(name);
  return !named.empty() && named.front().enabled;
}

std::string PluginTest::told() {
  const auto panel = panelIn(agent_->navigationController()->view());
  if (!panel || panel->isHidden()) return {};
  for (const auto& element : theWindow().window()->reachableElements()) {
    if (element.element.role == UIAccessibilityRole::StaticText && panel->containsView(element.view.get())) {
      return element.element.label;
    }
  }
  return {};
}

void PluginTest::signIn() {
  ASSERT_TRUE(waitUntil([&] { return told("Continue in your browser"); })) << told();
  std::string page;
  for (const auto& found : theWindow().window()->reachableElements()) {
    if (found.element.role == UIAccessibilityRole::TextField && found.element.value.starts_with("http")) {
      page = found.element.value;
    }
  }
  ASSERT_FALSE(page.empty());
  browser_.get(QNetworkRequest(QUrl::fromEncoded(QByteArray::fromStdString(page))));
}
