#pragma once

#include "platform/Foundation/DynamicLibrary.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

/// Writes a file, and takes it away again with what it made for it.
class ScratchFile {
 public:
  ScratchFile(const std::filesystem::path& path, const std::string& text) : path_(path) {
    for (std::filesystem::path above = path.parent_path(); !std::filesystem::exists(above); above = above.parent_path())
      made_.push_back(above);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    for (const auto& folder : made_) std::filesystem::remove(folder, ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

 private:
  std::filesystem::path path_;
  std::vector<std::filesystem::path> made_;
};

/// The share extension that comes with the application of the video service.
inline constexpr const char* shareExtensionIdentifier = "com.youtube.ShareExtension";

/// Installs it, for as long as the result lives: the editor's own publishing is not offered then.
inline std::unique_ptr<ScratchFile> installShareExtension() {
  return std::make_unique<ScratchFile>(
      std::filesystem::path(systemPath("/System/Library/PlugIns")) / "Share.appex/Info.plist",
      std::string(R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
                  "<key>CFBundleIdentifier</key><string>") +
          shareExtensionIdentifier + "</string></dict></plist>");
}
