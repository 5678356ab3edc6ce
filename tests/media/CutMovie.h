#pragma once

#include "platform/backends/ffmpeg/MovieExport.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <fcntl.h>

/// Makes a movie at `path` by the ffmpeg program, and returns that.
inline std::string makeMovie(const std::string& path, const std::string& arguments) {
  const std::string command = "ffmpeg -nostdin -v error -y " + arguments + " '" + path + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return path;
}

/// Cuts the movie at `path` in seconds, as the player counts, into `output`, which is made or emptied; its folder also
/// takes what is needed on the way. Returns what went wrong, for a person; empty when nothing did.
inline std::string cutMovie(const std::string& path, double from, double to, const std::string& output) {
  const FileDescriptor file(open(output.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  constexpr int kScale = 1'000'000'000;
  const CMTime start = CMTimeMakeWithSeconds(from, kScale);
  MovieExport job;
  job.sourcePath = path;
  job.sourceName = std::filesystem::path(path).filename();
  job.outputFolder = std::filesystem::path(output).parent_path();
  job.output = file.get();
  job.range = CMTimeRangeMake(start, CMTimeSubtract(CMTimeMakeWithSeconds(to, kScale), start));
  job.isCancelled = [] { return false; };
  job.progress = [](float) {};
  const NSErrorPtr error = job.run();
  return error ? error->localizedDescription() : "";
}
