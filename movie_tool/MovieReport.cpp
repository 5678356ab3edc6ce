#include "movie_tool/MovieReport.h"

#include "movie_tool/BoxReport.h"
#include "movie_tool/SourceFile.h"
#include "movie_tool/StreamReport.h"
#include "platform/backends/isobmff/MovieReader.h"

std::unique_ptr<MovieReport> MovieReport::read(const std::string& path, NSErrorPtr* error) {
  const SourceFile file = SourceFile::open(path, error);
  if (!file) return nullptr;
  std::unique_ptr<MovieReport> report;
  NSErrorPtr ours;
  if (file.isBoxed()) {
    if (const auto movie = isobmff::readMovie(file.descriptor(), path, &ours)) report = reportOfBoxes(*movie);
  }
  if (!report) report = reportOfStreams(path, path, error);
  if (!report) {
    // Ours knows more about what is wrong.
    if (ours) *error = ours;
    return nullptr;
  }
  report->file = path;
  report->bytes = file.size();
  return report;
}
