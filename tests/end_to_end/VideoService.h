#pragma once

#include "BackgroundProgram.h"
#include "Desktop.h"

#include <memory>

/// The tests' own video service on this computer, which the program publishes to, and the person's client identifier
/// for it.
class VideoService {
 public:
  /// `faults`: what goes wrong, see Fault.h.
  VideoService(Session& session, const Desktop& desktop, const std::vector<std::string>& faults = {});

  const std::string& address() const { return address_; }
  /// What happened there, a line each.
  std::string log() const { return contentOf(folder_ / "log"); }
  /// The videos that have arrived whole, in order, and what was said about each.
  std::vector<std::filesystem::path> videos() const;
  static std::string details(std::filesystem::path video) { return contentOf(video.replace_extension("json")); }

 private:
  std::filesystem::path folder_;
  std::unique_ptr<BackgroundProgram> program_;
  std::string address_;
};
