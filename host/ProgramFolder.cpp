#include "host/ProgramFolder.h"

#include <filesystem>

std::string programFolder() {
  std::error_code error;
  std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  std::filesystem::path installed = folder.parent_path() / "lib" / "zevanti";
  const char* part = "ZVVideoEditorExtension.appex";
  bool here = std::filesystem::exists(folder / part, error) || !std::filesystem::exists(installed / part, error);
  return (here ? folder : installed).string();
}
