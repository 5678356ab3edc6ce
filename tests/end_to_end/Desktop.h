#pragma once

#include "BackgroundProgram.h"
#include "Session.h"

#include <memory>

/// A desktop for one session: a bus with nothing on it but a stand-in for the portal and the file manager, and folders
/// of a person's own. `Session::start` afterwards runs the program on it.
class Desktop {
 public:
  explicit Desktop(Session& session);

  /// Has a person do something, see zevanti-test-desktop.
  void tell(const std::string& file, const std::string& content) const;
  /// An application that opens addresses of a scheme; only its presence counts.
  void installHandler(const std::string& scheme) const;
  /// What was asked of the desktop, a line for each call.
  std::string calls() const { return contentOf(folder_ / "calls"); }
  /// The person's folder of this name: "config", "state", "data", "run".
  std::filesystem::path home(const std::string& name) const { return folder_ / name; }

 private:
  std::filesystem::path folder_;
  std::unique_ptr<BackgroundProgram> bus_, services_;
};
