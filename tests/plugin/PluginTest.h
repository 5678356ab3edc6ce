#pragma once

#include "platform/Foundation/NSValueObjects.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/backends/qt/QtEditorWindow.h"
#include "sharing/ZVPublishingAgent.h"
#include "tests/common/EventLoop.h"
#include "tests/publishing/server/LoopbackServer.h"

#include <gtest/gtest.h>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

#include <string>
#include <vector>

/// The program's one window.
QtEditorWindow& theWindow();

/// What the agent tells, as it came.
class AgentLog : public NSObject, public ZVPublishingAgentDelegate {
 public:
  std::vector<std::string> log;
  NSErrorPtr error;

  void publishingAgentWillBeDisplayed(ZVPublishingAgent&) override { log.push_back("displayed"); }
  void publishingAgentDoneButtonClicked(ZVPublishingAgent& agent) override {
    log.push_back("done");
    agent.navigationController()->view()->endEditing(true);
  }
  void publishingAgentCancelButtonClicked(ZVPublishingAgent&) override { log.push_back("cancel"); }
  /// Lays an overlay over all of the form, as whoever publishes does.
  void publishingAgentDidBeginPublishing(ZVPublishingAgent& agent) override {
    log.push_back("begin");
    const auto overlay = std::make_shared<UIView>();
    overlay->setFrame(agent.navigationController()->view()->bounds());
    agent.navigationController()->view()->addSubview(overlay);
  }
  void publishingAgentDidEndPublishing_error(ZVPublishingAgent&, const NSErrorPtr& problem) override {
    log.push_back(problem ? "failed" : "published");
    error = problem;
  }
};

/// The plug-in as the program loads it, with its form in a real window, and a video service of our own to publish to.
class PluginTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void closeWindow();
  /// The window closes, and the person opens another: a new agent and its form.
  void closeAndStartAgain();
  /// Puts the form on screen, over an empty view.
  void present();
  void writeClientFile();
  void makeAgent();
  std::string clientFile() const;

  // The form's parts, by name.
  Strong<NSObject> part(const char* name);
  Strong<NSObject> cell(int row, int section);

  // A person.
  void pressAt(CGPoint at);
  void press(const UIAccessibilityElement& element);
  void press(const std::string& name) { press(element(name)); }
  void key(const std::string& name) { theWindow().sendKey(name); }
  void type(const std::string& text) { theWindow().sendText(text); }
  void pressKeys(const std::vector<std::string>& names) {
    for (const std::string& name : names) key(name);
  }
  /// All that can be reached under this name, and the first of it; fails the test when there is nothing.
  std::vector<UIAccessibilityElement> elements(const std::string& name);
  UIAccessibilityElement element(const std::string& name);
  bool isReachable(const std::string& name);
  /// What the panel at the bottom says; empty while it says nothing.
  std::string told();
  bool told(const std::string& what) { return told().find(what) != std::string::npos; }
  /// Opens the sign-in's page as a browser does.
  void signIn();

  QTemporaryDir folder_;
  publishing_test::LoopbackServer server_{publishing_test::LoopbackServer::Options{}};
  QNetworkAccessManager browser_;
  std::string movie_;
  Strong<UIViewController> root_;
  Strong<NSObject> agentObject_;
  ZVPublishingAgent* agent_ = nullptr;
  Strong<UIViewController> form_;
  Strong<AgentLog> delegate_ = std::make_shared<AgentLog>();
};
