#pragma once

#include <functional>
#include <set>
#include <string>

/// What the person's desktop can do, found out in the background and known when it is needed. Main queue only.
class DesktopInventory {
 public:
  static DesktopInventory& shared();

  /// Asks again, in the background; what was known stays known meanwhile. `then` (may be null) is called later, when
  /// everything that answers has answered.
  void refresh(std::function<void()> then = nullptr);

  /// Whether the desktop's portal offers an interface, such as "Email".
  bool hasPortal(const std::string& interface) const { return portals_.contains(interface); }
  /// Whether a file manager shows files when it is asked to.
  bool hasFileManager() const { return fileManager_; }
  /// Whether an application opens addresses of a scheme, one of those that the activities use.
  bool opens(const std::string& scheme) const { return schemes_.contains(scheme); }
  /// Whether a program of that name is on the person's path.
  bool hasProgram(const std::string& name) const { return programs_.contains(name); }

 private:
  /// Asks for the `number`th time. What is answered after a later one is out of date.
  void askBus(int number, std::function<void()> then);
  void askFiles(int number, std::function<void()> then);
  void learnOfBus(int number, std::set<std::string> portals, bool hasFileManager);

  std::set<std::string> portals_, schemes_, programs_;
  bool fileManager_ = false;
  int asked_ = 0, busKnown_ = 0, filesKnown_ = 0;
};
