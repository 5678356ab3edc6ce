#pragma once

#include "platform/UIKit/UIActivity.h"
#include "platform/UIKit/UIViewController.h"
#include "tests/common/EventLoop.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <QProcess>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A desktop of the test's own: a session bus, services on it, folders of applications, a photo library.
class ServicesTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void startBus();
  /// The services on that bus.
  void startServices();
  /// All of it, and has it asked.
  void startDesktop();
  /// An application that opens addresses of a scheme: its program notes its arguments in the file "opened".
  void installHandler(const std::string& scheme) const;
  /// A program of that name, first on the path, that notes its arguments in the file "opened" and ends with `status`.
  void installProgram(const std::string& name, int status) const;
  /// Has the desktop asked, on the bus that there is now; whether it has answered.
  bool learn();

  std::vector<UIActivityItem> items() const;
  /// The types that are offered for the items.
  std::vector<std::string> offered() const;
  /// Carries an activity out to its end, with this happening after its beginning: whether it was completed.
  bool perform(
      const std::string& type, const Strong<UIViewController>& presenter = nullptr,
      const std::function<void()>& meanwhile = [] {});
  void tell(const std::string& file, const std::string& content) const { desktop_.write(file, content); }
  std::string read(const std::string& file) const;

  ScratchFolder home_, desktop_;
  std::string library_, movie_, link_ = "https://rainfall.example.org/";
  std::unique_ptr<QProcess> bus_, services_;

 private:
  static void end(QProcess* process);
  /// Waits for all answers, and leaves the bus.
  static void leaveBus();
};
