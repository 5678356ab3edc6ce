#pragma once

#include "platform/backends/ffmpeg/MovieExport.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <filesystem>
#include <string>

#include <fcntl.h>

/// Cuts the movie at `path` in seconds, as the player counts, into `output`, which is made or emptied; its folder also
/// takes what is needed on the way. Returns what went wrong, for a person; empty when nothing did.
inline std::string cutMovie(const std::string& path, double from, double to, const std::string& output) {
  const FileDescriptor file(open(output.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  MovieExport job;
  job.sourcePath = path;
  job.sourceName = std::filesystem::path(path).filename();
  job.outputFolder = std::filesystem::path(output).parent_path();
  job.output = file.get();
  job.range = CMTimeRangeMake(CMTimeMakeWithSeconds(from, 1'000'000), CMTimeMakeWithSeconds(to - from, 1'000'000));
  job.isCancelled = [] { return false; };
  job.progress = [](float) {};
  const NSErrorPtr error = job.run();
  return error ? error->localizedDescription() : "";
}
